// The words for what reflection says of types and attributes; tables and references share them.
#pragma once

#include <string>

#include "Tovo/Module.h"

namespace stptool {

/// "value", "union", "entity" or "enum".
const char* kindName(Tovo::TypeKind kind);

/// As a description spells it: "field", "attr", "own", "map", ...
const char* kindName(Tovo::Attribute attribute);

/// "u16", "const Stp::Config"; without the key of a collection.
std::string typeText(Tovo::Attribute attribute);

/// The default, or a constant's value, as text. Empty where it only repeats what the type of a
/// record says of its own start.
std::string shownDefault(Tovo::Attribute attribute);

/// Calls visit(TovoTypeBase) for every type of a module, in the order of the indices.
template <class Visit>
void forEachType(const Tovo::TovoModule& module, const Visit& visit) {
  for (uint32_t i = 0; i < module.typeCount; ++i) visit(Tovo::TovoTypeBase{&module, i});
}

}  // namespace stptool
