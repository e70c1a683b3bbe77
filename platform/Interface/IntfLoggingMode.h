// Whether an interface's events are logged.
#pragma once

#include <cstdint>
#include <iosfwd>

#include "Pelmo/String.h"
#include "Tovo/CharRange.h"
#include "Tovo/Types.h"

namespace Interface {

enum class IntfLoggingMode : uint8_t {
  off = 0,
  on = 1,
  useGlobal = 2,  ///< as the bridge's own setting says
};

/// By number and by name; both throw Tovo::RangeException.
IntfLoggingMode IntfLoggingModeInstance(unsigned number);
IntfLoggingMode IntfLoggingModeInstance(const Pelmo::String& name);
/// Throws Tovo::RangeException for a number without a literal.
Pelmo::String stringValue(IntfLoggingMode mode);
/// Throws Tovo::ParseException.
void sequenceToValue(Tovo::CharRange& text, IntfLoggingMode* mode);
std::ostream& operator<<(std::ostream& os, const IntfLoggingMode& mode);

}  // namespace Interface

template <>
struct Tovo::TypeOf<Interface::IntfLoggingMode> {
  static TovoTypeBase type() noexcept;
};
