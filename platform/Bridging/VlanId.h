// VLAN identifiers.
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

namespace Bridging {

/// A VLAN number, 0 to 4095 as text (IEEE 802.1Q 9.6: 12 bits); the constructor from a number and
/// the attribute log keep any 16 bits. Default 0. A bare number stands for it: vidsIs(10, true).
class VlanId {
 public:
  static constexpr size_t attrLogBytes = 2;
  static constexpr uint16_t highest = 4095;

  constexpr VlanId() noexcept = default;
  /// From its number, of any integer type; throws Tovo::RangeException beyond 16 bits.
  constexpr VlanId(Tovo::Integer auto value)
      : value_(Tovo::fieldNumber<uint16_t>(value, "Bridging::VlanId < 0 or > 65535 not allowed")) {}
  /// Throws Tovo::RangeException.
  explicit VlanId(Tovo::CharRange& text);
  VlanId(Tovo::NboAttrLog::In* in, Tovo::StreamBogon) : VlanId(in->next<VlanId>()) {}

  constexpr uint16_t value() const noexcept { return value_; }

  void appendText(std::string& out) const { Tovo::appendText(out, value_); }
  uint32_t hash() const noexcept { return Tovo::hashOfNumber(value_); }
  void encode(uint8_t* to) const noexcept { Tovo::NboAttrLog::store(to, value_); }
  static VlanId decode(const uint8_t* from) noexcept {
    return VlanId(Tovo::NboAttrLog::load<uint16_t>(from));
  }
  static Tovo::TovoTypeBase tovoStaticType() noexcept;

  friend constexpr bool operator==(const VlanId&, const VlanId&) = default;
  friend constexpr auto operator<=>(const VlanId&, const VlanId&) = default;

 private:
  uint16_t value_ = 0;
};

std::ostream& operator<<(std::ostream& os, const VlanId& vlan);

}  // namespace Bridging
