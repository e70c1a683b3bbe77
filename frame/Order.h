// The order of values.
#pragma once

#include <compare>

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

}  // namespace Frame
