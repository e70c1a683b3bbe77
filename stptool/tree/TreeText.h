// Trees as text for people.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "Tovo/Entity.h"
#include "Tovo/Module.h"
#include "stptool/model/ShortText.h"

namespace stptool {

struct TreeStyle {
  int levels = -1;   ///< of elements; -1 for all
  bool all = false;  ///< what is at its default, and what is empty, too
  ValueStyle values = ValueStyle::brief;
  size_t width = 120;  ///< columns of the terminal
};

/// An entity under its path, and everything below it. Elements that own nothing are rows of a
/// table; what does not fit into the width stands as attribute=value below its row.
/// The text goes to the sink in parts.
void writeTree(const Tovo::Entity& entity, const std::string& path, const TreeStyle& style,
               const std::function<void(std::string_view part)>& sink);

/// One attribute on one line; a collection as the number of its elements.
std::string attributeLine(const Tovo::Entity& entity, Tovo::Attribute attribute);

/// One entry of a collection of values or references.
std::string itemText(Tovo::Attribute collection, const void* item);

}  // namespace stptool
