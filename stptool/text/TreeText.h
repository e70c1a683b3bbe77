// Trees as text for people.
#pragma once

#include <string>
#include <string_view>

#include "Tovo/Entity.h"
#include "Tovo/Module.h"

namespace stptool {

/// An entity under its path, and everything below it: one element a line where an element owns
/// nothing, its attributes aligned with those of its neighbours. `levels` of elements, -1 for all.
std::string treeText(const Tovo::Entity& entity, const std::string& path, int levels);

/// One attribute on one line; a collection as the number of its elements.
std::string attributeLine(const Tovo::Entity& entity, Tovo::Attribute attribute);

/// One entry of a collection of values or references.
std::string itemText(Tovo::Attribute collection, const void* item);

}  // namespace stptool
