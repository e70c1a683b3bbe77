// A VLAN identifier that may be absent.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "Bridging/VlanId.h"

namespace Bridging {

/// A VLAN number, or 0 for none; as text 0 to 4095. The constructor from a number and the attribute
/// log keep any 16 bits. A bare number stands for it, as for a VlanId; one of the two becomes the
/// other only where that is written.
class VlanIdOrNone {
 public:
  static constexpr size_t attrLogBytes = 2;

  constexpr VlanIdOrNone() noexcept = default;
  /// From its number, of any integer type; throws Tovo::RangeException beyond 16 bits.
  constexpr VlanIdOrNone(Tovo::Integer auto value)
      : value_(Tovo::fieldNumber<uint16_t>(value,
                                           "Bridging::VlanIdOrNone < 0 or > 65535 not allowed")) {}
  explicit constexpr VlanIdOrNone(VlanId vlan) noexcept : value_(vlan.value()) {}
  /// Throws Tovo::RangeException.
  explicit VlanIdOrNone(Tovo::CharRange& text) : value_(VlanId(text).value()) {}
  VlanIdOrNone(Tovo::NboAttrLog::In* in, Tovo::StreamBogon)
      : VlanIdOrNone(in->next<VlanIdOrNone>()) {}

  constexpr uint16_t value() const noexcept { return value_; }
  constexpr bool isNone() const noexcept { return value_ == 0; }

  void appendText(std::string& out) const { Tovo::appendText(out, value_); }
  void encode(uint8_t* to) const noexcept { Tovo::NboAttrLog::store(to, value_); }
  static VlanIdOrNone decode(const uint8_t* from) noexcept {
    return VlanIdOrNone(Tovo::NboAttrLog::load<uint16_t>(from));
  }
  static Tovo::TovoTypeBase tovoStaticType() noexcept;

  friend constexpr bool operator==(const VlanIdOrNone&, const VlanIdOrNone&) = default;
  friend constexpr auto operator<=>(const VlanIdOrNone&, const VlanIdOrNone&) = default;

 private:
  uint16_t value_ = 0;
};

std::ostream& operator<<(std::ostream& os, const VlanIdOrNone& vlan);

}  // namespace Bridging
