// Values as short as people want to read them.
#pragma once

#include <string>

#include "stptool/model/ValueShape.h"

namespace stptool {

enum class ValueStyle {
  brief,  ///< for people; does not read back
  full,   ///< the generic text
};

/// "128.5", "32768.1.00:00:5e:00:53:01": one to three simple fields are joined by dots; a record of
/// more is "field=value" pairs joined by blanks, in parentheses inside another one; one of many
/// octets is their hex. The rest is the generic text, strings without quotes where that is safe.
std::string shortText(const ValueShape& shape, const void* value);

std::string valueText(const ValueShape& shape, const void* value, ValueStyle style);

}  // namespace stptool
