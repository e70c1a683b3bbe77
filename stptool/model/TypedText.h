// Values as a person types them.
#pragma once

#include <string>

#include "Tovo/ValueOps.h"

namespace stptool {

/// A key or value as a person types it: whole strings without quotes, unless they start with one or
/// hold what cannot be shown; those in quotes with \xHH. Reads back equal either way.
std::string typedText(const Tovo::ValueOps& ops, const void* value);

}  // namespace stptool
