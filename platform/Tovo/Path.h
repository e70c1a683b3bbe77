// Paths to entities, attributes and collection elements, as text.
#pragma once

#include <string>
#include <string_view>

#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "Tovo/Module.h"

namespace Tovo {

/// What a path names: an entity, or an attribute of it, or one entry of a collection of values or
/// references.
struct PathTarget {
  Pelmo::Ptr<Entity> entity;
  Attribute attribute;  ///< none when the path names the entity itself
  std::string keyText;  ///< of the entry, where hasKey
  bool hasKey = false;
};

/// A mounted path, then pairs of an owning collection and a key, then perhaps an attribute and a
/// key: "/stp/hw/mstiHw/Mst1/mstiPortHw[Ethernet3/1]/active". A key stands behind a slash, or in
/// brackets when it holds a slash, a bracket or a blank end; in brackets a backslash takes the next
/// character as it is. Throws PathException with the first part that is wrong and what there is.
PathTarget resolvePath(const Directory& directory, std::string_view path);

/// For a path whose last key need not exist yet: the owner, the collection and the key's text.
PathTarget resolveNewElement(const Directory& directory, std::string_view path);

/// The path of an entity: the mounted path of its root, or "(Type name)" for a root that is not
/// mounted, then collections and keys. A mounted entity is found again by it.
std::string pathOf(const Entity& entity);
std::string pathOf(const Entity& entity, std::string_view attribute);
/// "/key" or "[key]".
void appendKey(std::string& path, std::string_view key);

}  // namespace Tovo
