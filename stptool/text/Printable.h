// Text from a model, made safe to show and to type.
#pragma once

#include <string>
#include <string_view>

#include "Tovo/ValueOps.h"

namespace stptool {

/// True for UTF-8 without control characters.
bool isPrintable(std::string_view text) noexcept;

/// The text with everything else as \xHH, so that a name cannot command a terminal.
std::string printable(std::string_view text);

/// A key or value as a person types it: whole strings without quotes, unless they start with one or
/// hold what cannot be shown; those in quotes with \xHH. Reads back equal either way.
std::string typedText(const Tovo::ValueOps& ops, const void* value);

}  // namespace stptool
