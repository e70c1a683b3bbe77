#include "stptool/text/Printable.h"

#include "Tovo/Inspect.h"

namespace stptool {

namespace {

// The length of the printable character at the start of the text, 0 when there is none.
size_t printableLength(std::string_view text) noexcept {
  const auto byte = [&](size_t at) { return static_cast<unsigned char>(text[at]); };
  const unsigned first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7f ? 1 : 0;
  size_t length = 0;
  unsigned code = 0;
  if (first >= 0xc2 && first <= 0xdf) {
    length = 2;
    code = first & 0x1f;
  } else if (first >= 0xe0 && first <= 0xef) {
    length = 3;
    code = first & 0x0f;
  } else if (first >= 0xf0 && first <= 0xf4) {
    length = 4;
    code = first & 0x07;
  } else {
    return 0;
  }
  if (text.size() < length) return 0;
  for (size_t at = 1; at < length; ++at) {
    if ((byte(at) & 0xc0) != 0x80) return 0;
    code = code << 6 | (byte(at) & 0x3f);
  }
  constexpr unsigned shortest[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool overlong = code < shortest[length];
  const bool surrogate = code >= 0xd800 && code <= 0xdfff;
  const bool control = code < 0xa0;  // C1
  return overlong || surrogate || control || code > 0x10ffff ? 0 : length;
}

}  // namespace

bool isPrintable(std::string_view text) noexcept {
  while (!text.empty()) {
    const size_t length = printableLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

std::string printable(std::string_view text) {
  static constexpr char hex[] = "0123456789abcdef";
  std::string out;
  while (!text.empty()) {
    const size_t length = printableLength(text);
    if (length == 0) {
      const auto byte = static_cast<unsigned char>(text.front());
      out += "\\x";
      out += hex[byte >> 4];
      out += hex[byte & 15];
      text.remove_prefix(1);
    } else {
      out += text.substr(0, length);
      text.remove_prefix(length);
    }
  }
  return out;
}

std::string typedText(const Tovo::ValueOps& ops, const void* value) {
  std::string text = Tovo::plainText(ops, value);
  if (!text.starts_with('\'') && isPrintable(text)) return text;
  return Tovo::valueText(ops, value);
}

}  // namespace stptool
