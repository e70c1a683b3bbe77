// What a value of one number is made from.
#pragma once

#include <concepts>
#include <utility>

#include "Tovo/Exceptions.h"

namespace Tovo {

/// An integer. bool and the character types are none, and what converts to an integer, such as an
/// enumeration, a floating-point number or another value, is none either.
template <class N>
concept Integer = std::integral<N> &&
    !(std::same_as<N, bool> || std::same_as<N, char> || std::same_as<N, wchar_t> ||
      std::same_as<N, char8_t> || std::same_as<N, char16_t> || std::same_as<N, char32_t>);

/// The same number in the width of the field that keeps it. A number that the field does not hold
/// throws RangeException with the message, and in a constant expression does not compile.
template <std::unsigned_integral Field, Integer N>
constexpr Field fieldNumber(N number, const char* message) {
  if constexpr (std::signed_integral<N> || sizeof(N) > sizeof(Field)) {
    if (!std::in_range<Field>(number)) [[unlikely]]
      throwRangeException(message);
  }
  return static_cast<Field>(number);
}

}  // namespace Tovo
