// What the protocol's value types compute, and the text form of a union.
#include <fmt/format.h>

#include <limits>

#include "Stp/StpTypes.h"
#include "Tovo/Assert.h"
#include "Tovo/Exceptions.h"

namespace Stp {

namespace {

using DigestOctet = uint8_t (MstpConfigDigest::*)() const noexcept;
using DigestOctetIs = void (MstpConfigDigest::*)(uint8_t);

constexpr DigestOctet digestOctets[] = {
    &MstpConfigDigest::configDigest0,  &MstpConfigDigest::configDigest1,
    &MstpConfigDigest::configDigest2,  &MstpConfigDigest::configDigest3,
    &MstpConfigDigest::configDigest4,  &MstpConfigDigest::configDigest5,
    &MstpConfigDigest::configDigest6,  &MstpConfigDigest::configDigest7,
    &MstpConfigDigest::configDigest8,  &MstpConfigDigest::configDigest9,
    &MstpConfigDigest::configDigest10, &MstpConfigDigest::configDigest11,
    &MstpConfigDigest::configDigest12, &MstpConfigDigest::configDigest13,
    &MstpConfigDigest::configDigest14, &MstpConfigDigest::configDigest15,
};

constexpr DigestOctetIs digestOctetSetters[] = {
    &MstpConfigDigest::configDigest0Is,  &MstpConfigDigest::configDigest1Is,
    &MstpConfigDigest::configDigest2Is,  &MstpConfigDigest::configDigest3Is,
    &MstpConfigDigest::configDigest4Is,  &MstpConfigDigest::configDigest5Is,
    &MstpConfigDigest::configDigest6Is,  &MstpConfigDigest::configDigest7Is,
    &MstpConfigDigest::configDigest8Is,  &MstpConfigDigest::configDigest9Is,
    &MstpConfigDigest::configDigest10Is, &MstpConfigDigest::configDigest11Is,
    &MstpConfigDigest::configDigest12Is, &MstpConfigDigest::configDigest13Is,
    &MstpConfigDigest::configDigest14Is, &MstpConfigDigest::configDigest15Is,
};

constexpr char badAlternative[] = "Invalid string rep for VlanIdOrRange:  unknown alternative {}";

[[noreturn]] void throwBadAlternative(std::string_view name) {
  throw Tovo::RangeException(fmt::vformat(badAlternative, fmt::make_format_args(name)));
}

// The range exceptions of the held value say which alternative it was read for.
template <class T>
T parseAlternative(Tovo::CharRange& text, std::string_view name) {
  try {
    return T(text);
  } catch (const Tovo::RangeException& error) {
    Tovo::rethrowFromDeserializeAttr(error, name);
  }
}

}  // namespace

static_assert(sizeof(MstpConfigDigest) == 16);

// The text of the assertion is part of the interface, blanks included.
// clang-format off
uint8_t MstpConfigDigest::rawByte(uint8_t index) const {
  TOVO_ASSERT_AT("Stp/StpTypes", index < sizeof( MstpConfigDigest ));
  return (this->*digestOctets[index])();
}

void MstpConfigDigest::rawByteIs(uint8_t index, uint8_t value) {
  TOVO_ASSERT_AT("Stp/StpTypes", index < sizeof( MstpConfigDigest ));
  (this->*digestOctetSetters[index])(value);
}
// clang-format on

void MstpConfigDigest::rawByteDel(uint8_t) { TOVO_ASSERT_AT("Stp/StpTypes", 0); }

uint32_t InstanceId::hash() const noexcept { return value_; }

bool VlanIdOrRange::containsSingle() const noexcept { return heldIndex() == 0; }
bool VlanIdOrRange::containsRange() const noexcept { return heldIndex() == 1; }

// Stricter about the start than about the end: the bare prefix is VLAN 1, whatever follows it but a
// comma, because writers of the shortest form end there.
VlanIdOrRange::VlanIdOrRange(Tovo::CharRange& text) {
  text.expect("Value('Stp::VlanIdOrRange'");
  if (text.front() != ',') return;
  text.expect(", ");
  const std::string_view rest = text.rest();
  if (rest.size() > std::numeric_limits<uint32_t>::max()) {
    Tovo::throwRangeException("Invalid string rep for VlanIdOrRange");
  }
  const size_t end = rest.find('=');
  if (end == std::string_view::npos) throwBadAlternative(rest);
  const std::string_view name = rest.substr(0, end);
  const size_t start = text.position();
  text.skip(end + 1);
  if (name == "single") {
    held_ = parseAlternative<Bridging::VlanId>(text, name);
  } else if (name == "range") {
    held_ = parseAlternative<Bridging::VlanIdRange>(text, name);
  } else {
    text.positionIs(start);
    throwBadAlternative(name);
  }
  text.expect(")");
}

}  // namespace Stp
