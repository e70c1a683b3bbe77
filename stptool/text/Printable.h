// Text from a model, made safe to show and to type.
#pragma once

#include <string>

#include "Tovo/Printable.h"
#include "Tovo/ValueOps.h"

namespace stptool {

using Tovo::isPrintable;
using Tovo::printable;

/// A key or value as a person types it: whole strings without quotes, unless they start with one or
/// hold what cannot be shown; those in quotes with \xHH. Reads back equal either way.
std::string typedText(const Tovo::ValueOps& ops, const void* value);

}  // namespace stptool
