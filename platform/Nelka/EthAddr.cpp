#include "Nelka/EthAddr.h"

#include "Nelka/Modules.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Print.h"

namespace Nelka {

namespace {

constexpr uint8_t noDigit = 0x80;

// What each character is worth, so that a digit is a load and no comparisons.
constexpr auto hexValues = [] {
  std::array<uint8_t, 256> values{};
  values.fill(noDigit);
  for (uint8_t i = 0; i < 10; ++i) values['0' + i] = i;
  for (uint8_t i = 0; i < 6; ++i) {
    const auto value = static_cast<uint8_t>(10 + i);
    values['a' + i] = value;
    values['A' + i] = value;
  }
  return values;
}();

uint8_t hexValue(char c) { return hexValues[static_cast<uint8_t>(c)]; }

}  // namespace

EthAddr::EthAddr(Tovo::CharRange& text) {
  const std::string_view rest = text.rest();
  constexpr size_t length = 17;
  bool good = rest.size() >= length;
  if (good) {
    unsigned seen = 0;
    for (size_t i = 0; i < octets_.size(); ++i) {
      const uint8_t high = hexValue(rest[3 * i]);
      const uint8_t low = hexValue(rest[3 * i + 1]);
      seen |= high | low;
      octets_[i] = static_cast<uint8_t>(high << 4 | low);
      good = good && (i + 1 == octets_.size() || rest[3 * i + 2] == ':');
    }
    good = good && (seen & noDigit) == 0;
  }
  if (!good) {
    std::string found;
    Tovo::appendQuoted(found, rest.substr(0, length));
    throw Tovo::ParseException(
        "expected an Ethernet address such as 00:00:5e:00:53:01 at character " +
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
  return Tovo::printText(os, address);
}

}  // namespace Nelka
