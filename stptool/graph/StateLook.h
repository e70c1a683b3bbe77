// Which attribute of an entity is its state, and how a state looks.
#pragma once

#include <string>

#include "Tovo/Module.h"

namespace stptool {

/// The first enumeration called state, or ending in State; none for most types.
Tovo::Attribute stateAttribute(Tovo::TovoTypeBase type);

/// 0 for the first literal, 2 for the last one, 1 for those between; -1 for a number without one.
int stateRank(Tovo::Attribute state, const std::string& literal);

/// A fill that black text can be read on: red, yellow, green, or grey for no state.
const char* stateColour(int rank) noexcept;

}  // namespace stptool
