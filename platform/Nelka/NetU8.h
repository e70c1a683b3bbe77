// An octet as the network types library counts it.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/CharRange.h"
#include "Tovo/HashHelper.h"
#include "Tovo/Number.h"
#include "Tovo/Types.h"

namespace Nelka {

class NetU8 {
 public:
  static constexpr size_t attrLogBytes = 1;

  constexpr NetU8() noexcept = default;
  /// From its number, of any integer type; throws Tovo::RangeException beyond 8 bits.
  constexpr NetU8(Tovo::Integer auto value)
      : value_(Tovo::fieldNumber<uint8_t>(value, "Nelka::NetU8 < 0 or > 255 not allowed")) {}
  /// Throws Tovo::ParseException.
  explicit NetU8(Tovo::CharRange& text) : value_(Tovo::deserializeAttr<uint8_t>(text, "value")) {}
  NetU8(Tovo::NboAttrLog::In* in, Tovo::StreamBogon) : NetU8(in->next<NetU8>()) {}

  constexpr uint8_t value() const noexcept { return value_; }

  void appendText(std::string& out) const { Tovo::appendText(out, value_); }
  uint32_t hash() const noexcept { return Tovo::hashOfNumber(value_); }
  void encode(uint8_t* to) const noexcept { *to = value_; }
  static NetU8 decode(const uint8_t* from) noexcept { return NetU8(*from); }
  static Tovo::TovoTypeBase tovoStaticType() noexcept;

  friend constexpr bool operator==(const NetU8&, const NetU8&) = default;
  friend constexpr auto operator<=>(const NetU8&, const NetU8&) = default;

 private:
  uint8_t value_ = 0;
};

std::ostream& operator<<(std::ostream& os, const NetU8& octet);

}  // namespace Nelka
