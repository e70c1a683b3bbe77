#include "stptool/text/Hex.h"

#include "Tovo/Printable.h"
#include "stptool/output/Failure.h"

namespace stptool {

namespace {

constexpr std::string_view digits = "0123456789abcdef";

bool isSeparator(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == ':'; }

int digitValue(char c) noexcept {
  if (c >= 'A' && c <= 'F') c = static_cast<char>(c - 'A' + 'a');
  const size_t at = digits.find(c);
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

}  // namespace

std::string hexText(std::span<const uint8_t> bytes, std::string_view separator) {
  std::string text;
  for (const uint8_t byte : bytes) {
    if (!text.empty()) text += separator;
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

std::vector<uint8_t> bytesOfHex(std::string_view text) {
  std::vector<uint8_t> bytes;
  const auto fail = [&](const std::string& reason) {
    throw Failure("byte " + std::to_string(bytes.size()) + ": " + reason);
  };
  for (size_t at = 0; at < text.size();) {
    if (isSeparator(text[at])) {
      ++at;
      continue;
    }
    int value = 0;
    for (const size_t end = at + 2; at < end; ++at) {
      if (at == text.size() || isSeparator(text[at])) fail("lacks its second hexadecimal digit");
      const int digit = digitValue(text[at]);
      if (digit < 0) {
        fail("'" + Tovo::printable(text.substr(at, 1)) +
             "' is no hexadecimal digit; allowed: pairs of 0 to 9 and a to f");
      }
      value = value * 16 + digit;
    }
    bytes.push_back(static_cast<uint8_t>(value));
  }
  return bytes;
}

}  // namespace stptool
