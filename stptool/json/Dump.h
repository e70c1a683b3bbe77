// Trees as JSON.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "Tovo/Module.h"
#include "stptool/json/Json.h"

namespace stptool {

/// How many levels of elements a dump goes down.
constexpr int allLevels = -1;

/// Takes a long text in parts, in order.
using Sink = std::function<void(std::string_view part)>;

/// {"mounts": {"/stp/hw": {"type": "Stp::Hw", "name": "hw", ...}}} as text with one line for each
/// innermost object: a tree of ports has a port a line. Two directories with equal trees give equal
/// documents, in whatever order their elements were made: keys are in natural order. Holds one
/// entity without its elements at a time.
void dumpDirectory(const Tovo::Directory& directory, int levels, const Sink& sink);

/// The same document with only what lies at or below a path, an entity's or a collection entry's;
/// the elements on the way have nothing but their constructor parameters. Throws Failure and
/// Tovo::PathException.
Json dumpPath(const Tovo::Directory& directory, std::string_view path, int levels = allLevels);

/// The members of an entity, without "type" and "name".
Json dumpEntity(const Tovo::Entity& entity, int levels = allLevels);

/// One attribute of any kind, constants and computed ones included.
Json dumpAttribute(const Tovo::Entity& entity, Tovo::Attribute attribute, int levels = allLevels);

/// A document as text, in the same form.
std::string dumpText(const Json& document);

}  // namespace stptool
