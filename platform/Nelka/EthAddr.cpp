#include "Nelka/EthAddr.h"

#include <ostream>

#include "Nelka/Modules.h"
#include "Tovo/Exceptions.h"

namespace Nelka {

namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

EthAddr::EthAddr(Tovo::CharRange& text) {
  const std::string_view rest = text.rest();
  constexpr size_t length = 17;
  bool good = rest.size() >= length;
  for (size_t i = 0; good && i < octets_.size(); ++i) {
    const int high = hexDigit(rest[3 * i]);
    const int low = hexDigit(rest[3 * i + 1]);
    good = high >= 0 && low >= 0 && (i + 1 == octets_.size() || rest[3 * i + 2] == ':');
    if (good) octets_[i] = static_cast<uint8_t>(high << 4 | low);
  }
  if (!good) {
    std::string found;
    Tovo::appendQuoted(found, rest.substr(0, length));
    throw Tovo::ParseException(
        "expected an Ethernet address such as 00:1c:73:0a:00:01 at character " +
            std::to_string(text.position()) + ", found " + found,
        text.position());
  }
  text.skip(length);
}

void EthAddr::appendText(std::string& out) const {
  char text[textMost];
  out.append(text, putText(text));
}

char* EthAddr::putText(char* to) const noexcept {
  static constexpr char hex[] = "0123456789abcdef";
  for (size_t i = 0; i < octets_.size(); ++i) {
    if (i > 0) *to++ = ':';
    *to++ = hex[octets_[i] >> 4];
    *to++ = hex[octets_[i] & 15];
  }
  return to;
}

Tovo::TovoTypeBase EthAddr::tovoStaticType() noexcept {
  return {&_EthAddr_5ea519cab6df4342_tovoModule, 0};
}

std::ostream& operator<<(std::ostream& os, const EthAddr& address) {
  std::string text;
  address.appendText(text);
  return os.write(text.data(), static_cast<std::streamsize>(text.size()));
}

}  // namespace Nelka
