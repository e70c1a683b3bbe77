// Ranges of VLAN identifiers.
#pragma once

#include <compare>
#include <cstdint>
#include <iosfwd>
#include <string>

#include "Bridging/VlanId.h"

namespace Bridging {

/// The VLANs from first to last. As text "first-last", first not above last; the attribute log and
/// the constructor from two numbers keep any pair. A wider range orders before a narrower one, and
/// of equally wide ones the lower: whoever walks an ordered list meets the broad entries first.
class VlanIdRange {
 public:
  static constexpr size_t attrLogBytes = 4;

  constexpr VlanIdRange() noexcept = default;
  constexpr VlanIdRange(VlanId first, VlanId last) noexcept : first_(first), last_(last) {}
  /// Throws Tovo::RangeException.
  explicit VlanIdRange(Tovo::CharRange& text);
  VlanIdRange(Tovo::NboAttrLog::In* in, Tovo::StreamBogon) : VlanIdRange(in->next<VlanIdRange>()) {}

  constexpr VlanId first() const noexcept { return first_; }
  constexpr VlanId last() const noexcept { return last_; }
  /// Last minus first; negative for a pair that the log delivered upside down.
  constexpr int32_t span() const noexcept { return last_.value() - first_.value(); }

  void appendText(std::string& out) const;
  void encode(uint8_t* to) const noexcept {
    first_.encode(to);
    last_.encode(to + VlanId::attrLogBytes);
  }
  static VlanIdRange decode(const uint8_t* from) noexcept {
    return {VlanId::decode(from), VlanId::decode(from + VlanId::attrLogBytes)};
  }
  static Tovo::TovoTypeBase tovoStaticType() noexcept;

  friend constexpr bool operator==(const VlanIdRange&, const VlanIdRange&) = default;
  friend constexpr std::strong_ordering operator<=>(const VlanIdRange& a,
                                                    const VlanIdRange& b) noexcept {
    if (const auto wider = b.span() <=> a.span(); wider != 0) return wider;
    return a.first_ <=> b.first_;
  }

 private:
  VlanId first_;
  VlanId last_;
};

std::ostream& operator<<(std::ostream& os, const VlanIdRange& range);

}  // namespace Bridging
