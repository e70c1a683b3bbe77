// What value types do.
#pragma once

#include <compare>

#include "Tovo/HashHelper.h"
#include "Tovo/Number.h"
#include "Tovo/Print.h"
#include "Tovo/ValueOps.h"
#include "TovoPelmo/Render.h"

namespace Frame {

/// The order of one field: by operator<=>, or by the order that a type has for reflection only.
template <class T>
constexpr std::strong_ordering order(const T& a, const T& b) {
  if constexpr (requires { T::reflectedLess(a, b); }) {
    if (T::reflectedLess(a, b)) return std::strong_ordering::less;
    return T::reflectedLess(b, a) ? std::strong_ordering::greater : std::strong_ordering::equal;
  } else {
    return a <=> b;
  }
}

/// True at once for the same object.
template <class T>
bool isEq(const void* a, const void* b) {
  return a == b || *static_cast<const T*>(a) == *static_cast<const T*>(b);
}

/// See Tovo::printText.
template <class T>
std::ostream& print(std::ostream& os, const T& value) {
  return Tovo::printText(os, value);
}

}  // namespace Frame
