// Ethernet addresses.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>
#include <type_traits>

#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/CharRange.h"
#include "Tovo/HashHelper.h"
#include "Tovo/Types.h"

namespace Nelka {

/// Six octets, the first transmitted first; ordered as the 48-bit number that they form. Default:
/// all zero.
class EthAddr {
 public:
  using Octets = std::array<uint8_t, 6>;
  static constexpr size_t attrLogBytes = 6;
  static constexpr uint32_t textMost = 17;

  constexpr EthAddr() noexcept = default;
  explicit constexpr EthAddr(const Octets& octets) noexcept : octets_(octets) {}
  /// A literal such as "00:00:5e:00:53:01"; anything else does not compile.
  explicit consteval EthAddr(const char* literal) : octets_(parseLiteral(literal)) {}
  /// Two hexadecimal digits an octet, colons between them. Throws Tovo::ParseException.
  explicit EthAddr(Tovo::CharRange& text);
  EthAddr(Tovo::NboAttrLog::In* in, Tovo::StreamBogon) : EthAddr(in->next<EthAddr>()) {}

  constexpr const Octets& octets() const noexcept { return octets_; }
  constexpr bool isZero() const noexcept { return *this == EthAddr(); }

  /// Lower case, colons.
  void appendText(std::string& out) const;
  /// The same into room for textMost characters; returns its end.
  char* putText(char* to) const noexcept;
  uint32_t hash() const noexcept {
    uint64_t number = 0;
    for (const uint8_t octet : octets_) number = number << 8 | octet;
    return Tovo::hashOfNumber(number);
  }
  void encode(uint8_t* to) const noexcept { std::memcpy(to, octets_.data(), octets_.size()); }
  static EthAddr decode(const uint8_t* from) noexcept {
    EthAddr address;
    address.decodeFrom(from);
    return address;
  }
  void decodeFrom(const uint8_t* from) noexcept {
    std::memcpy(octets_.data(), from, octets_.size());
  }
  static Tovo::TovoTypeBase tovoStaticType() noexcept;

  friend constexpr bool operator==(const EthAddr& a, const EthAddr& b) noexcept {
    if (std::is_constant_evaluated()) return a.octets_ == b.octets_;
    // Two words instead of a call of memcmp.
    return a.word<uint32_t, 0>() == b.word<uint32_t, 0>() &&
           a.word<uint16_t, 4>() == b.word<uint16_t, 4>();
  }
  friend constexpr auto operator<=>(const EthAddr&, const EthAddr&) = default;

 private:
  template <class Word, size_t offset>
  Word word() const noexcept {
    Word value;
    std::memcpy(&value, octets_.data() + offset, sizeof value);
    return value;
  }
  static consteval uint8_t literalDigit(char c) {
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<uint8_t>(c - 'a' + 10);
    throw "an Ethernet address has lower-case hexadecimal digits";
  }
  static consteval Octets parseLiteral(const char* literal) {
    Octets octets{};
    for (size_t i = 0; i < octets.size(); ++i) {
      octets[i] = static_cast<uint8_t>(literalDigit(literal[3 * i]) << 4 |
                                       literalDigit(literal[3 * i + 1]));
      if (literal[3 * i + 2] != (i + 1 < octets.size() ? ':' : '\0')) {
        throw "an Ethernet address is six octets with colons between them";
      }
    }
    return octets;
  }

  Octets octets_{};
};

std::ostream& operator<<(std::ostream& os, const EthAddr& address);

}  // namespace Nelka
