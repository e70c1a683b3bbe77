// Enumerations by number and by name.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "Pelmo/String.h"
#include "Tovo/CharRange.h"
#include "Tovo/Types.h"

namespace Tovo {

/// The literals of a registered enumeration. Failures are range exceptions that list what is
/// allowed.
class EnumType {
 public:
  /// The number itself, when a literal has it.
  static int64_t instance(int64_t number, TovoTypeBase type);
  static int64_t instance(const Pelmo::String& name, TovoTypeBase type);
  static Pelmo::String stringValue(int64_t number, TovoTypeBase type);
  /// The literal's name, or null.
  static const char* literalName(int64_t number, TovoTypeBase type) noexcept;
  /// The longest identifier at the read position must be a literal. Throws ParseException, then
  /// the position is unchanged.
  static int64_t sequenceToValue(CharRange& text, TovoTypeBase type);
  /// The name; a number without a literal, which the log may deliver, as the number.
  static void appendText(std::string& out, int64_t number, TovoTypeBase type);
  static std::ostream& operatorLessLess(std::ostream& os, int64_t number, TovoTypeBase type);
};

}  // namespace Tovo
