// What a tree holds, as bytes that are equal when trees are.
#pragma once

#include <map>
#include <string>

#include "Tovo/AttrLog/Out.h"
#include "Tovo/Collection.h"
#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "Tovo/Path.h"
#include "Tovo/ValueOps.h"

namespace fuzz {

inline std::string encoded(const Tovo::ValueOps& ops, const void* value) {
  std::string bytes(ops.attrLogSize(value), '\0');
  Tovo::NboAttrLog::Out out({reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
  ops.write(out, value);
  return bytes;
}

/// A target's path; empty for null, and for a target that is in no mounted tree: such a reference
/// is null at the other end of a connection.
inline std::string targetOf(const Tovo::Entity* target) {
  const std::string path = target ? Tovo::pathOf(*target) : std::string();
  return path.starts_with('/') ? path : std::string();
}

inline void appendState(std::string& state, const Tovo::Entity& entity) {
  using Tovo::AttributeKind;
  state.append(Tovo::typeName(entity.tovoType())).append(entity.nameString().view());
  Tovo::forEachAttribute(entity.tovoType(), [&](Tovo::Attribute attribute) {
    state.append("\n").append(attribute.name()).append("=");
    if (attribute.isCollection()) {
      std::map<std::string, std::string> items;  // in the order of keys
      Tovo::forEachElement(entity, attribute, [&](const void* key, const void* item) {
        std::string text;
        if (attribute.kind() == AttributeKind::ownCollection) {
          appendState(text, *Tovo::elementEntity(item));
        } else if (attribute.kind() == AttributeKind::refCollection) {
          text = targetOf(Tovo::elementEntity(item));
          if (text.empty()) return;
        } else {
          text = encoded(attribute.ops(), item);
        }
        items[encoded(attribute.keyOps(), key)] = text;
      });
      for (const auto& [key, item] : items) state.append("[").append(key).append("]").append(item);
    } else if (attribute.kind() == AttributeKind::pointer) {
      state += targetOf(*static_cast<const Tovo::Entity* const*>(storage(entity, attribute)));
    } else if (attribute.kind() == AttributeKind::attribute ||
               attribute.kind() == AttributeKind::parameter) {
      state += encoded(attribute.ops(), storage(entity, attribute));
    }
  });
}

/// Root entities by their paths.
using State = std::map<std::string, std::string>;

inline State stateOf(const Tovo::Directory& directory) {
  State state;
  for (const auto& [path, root] : directory.mounts()) appendState(state[path], *root);
  return state;
}

}  // namespace fuzz
