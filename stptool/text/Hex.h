// Bytes as people write them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace stptool {

/// "80 05", or "8005" without a separator.
std::string hexText(std::span<const uint8_t> bytes, std::string_view separator = " ");

/// Pairs of hexadecimal digits, with blanks or colons between bytes where one likes. Throws Failure
/// "byte 3: ...".
std::vector<uint8_t> bytesOfHex(std::string_view text);

}  // namespace stptool
