// Interface identifiers.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/CharRange.h"
#include "Tovo/HashHelper.h"
#include "Tovo/Types.h"

namespace Nelka {

/// An interface's usual name in 64 bits: Ethernet1, Ethernet3/1/2, Ethernet3/1.100,
/// Port-Channel10, Vlan100, Loopback0, Management1. Default: no interface, number and text empty.
/// Ordered by kind, then by how many numbers stand between slashes, then by the numbers.
///
///   bits 60..63   kind: 0 none, 1 Ethernet, 2 Management, 3 Port-Channel, 4 Vlan, 5 Loopback
///        58..59   how many numbers stand between slashes, minus 1
///        44..57   first number, 0 to 16383
///        32..43   second one, 0 to 4095
///        20..31   third one, 0 to 4095
///        13..19   zero
///         0..12   subinterface plus 1, 0 for none
class IntfId {
 public:
  static constexpr size_t attrLogBytes = 8;

  constexpr IntfId() noexcept = default;
  /// Takes any number as it is.
  explicit constexpr IntfId(uint64_t number) noexcept : number_(number) {}
  /// Throws Tovo::ParseException for anything but a whole name.
  explicit IntfId(std::string_view name);
  explicit IntfId(const char* name) : IntfId(std::string_view(name)) {}
  /// The longest name at the read position; nothing there is the empty id.
  explicit IntfId(Tovo::CharRange& text);
  IntfId(Tovo::NboAttrLog::In* in, Tovo::StreamBogon) : IntfId(in->next<IntfId>()) {}

  constexpr uint64_t number() const noexcept { return number_; }
  constexpr bool empty() const noexcept { return number_ == 0; }

  /// A number that is no name prints as "0x" and hexadecimal digits, and reads back.
  void appendText(std::string& out) const;
  uint32_t hash() const noexcept { return Tovo::hashOfNumber(number_); }
  void encode(uint8_t* to) const noexcept { Tovo::NboAttrLog::store(to, number_); }
  static IntfId decode(const uint8_t* from) noexcept {
    return IntfId(Tovo::NboAttrLog::load<uint64_t>(from));
  }
  static Tovo::TovoTypeBase tovoStaticType() noexcept;

  friend constexpr bool operator==(const IntfId&, const IntfId&) = default;
  friend constexpr auto operator<=>(const IntfId&, const IntfId&) = default;

 private:
  uint64_t number_ = 0;
};

std::ostream& operator<<(std::ostream& os, const IntfId& id);

}  // namespace Nelka
