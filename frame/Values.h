// What value types do, beyond what their headers need.
#pragma once

#include <iosfwd>

#include "Tovo/Print.h"
#include "TovoPelmo/Render.h"

namespace Frame {

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
