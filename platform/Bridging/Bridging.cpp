#include "Bridging/Modules.h"
#include "Bridging/VlanId.h"
#include "Bridging/VlanIdOrNone.h"
#include "Bridging/VlanIdRange.h"
#include "Tovo/Exceptions.h"
#include "Tovo/ForeignModule.h"
#include "Tovo/Print.h"

namespace {

using Tovo::TypeDescriptor;

constexpr TypeDescriptor types[] = {
    Tovo::foreignValue("Bridging::VlanId", "A VLAN number, 0 to 4095.", 2,
                       TypeDescriptor::hashable | TypeDescriptor::ordered),
    Tovo::foreignValue("Bridging::VlanIdRange", "The VLANs from first to last: first-last.", 4,
                       TypeDescriptor::ordered),
    Tovo::foreignValue("Bridging::VlanIdOrNone", "A VLAN number, or 0 for none.", 2,
                       TypeDescriptor::ordered),
};
constexpr Tovo::GenericIfEntry entries[] = {
    Tovo::valueEntry<Bridging::VlanId>(),
    Tovo::valueEntry<Bridging::VlanIdRange>(),
    Tovo::valueEntry<Bridging::VlanIdOrNone>(),
};

}  // namespace

const Tovo::TovoModule _VlanId_e770293df0b4c7dc_tovoModule =
    Tovo::foreignModule("_VlanId_e770293df0b4c7dc_tovoModule", types, entries,
                        "Bridging::VlanId\0Bridging::VlanIdOrNone\0Bridging::VlanIdRange\0");

namespace Bridging {

namespace {

const Tovo::ModuleRegistration registration{&_VlanId_e770293df0b4c7dc_tovoModule};

}  // namespace

VlanId::VlanId(Tovo::CharRange& text) {
  value_ = Tovo::deserializeAttr<uint16_t>(text, "value");
  if (value_ > highest && text.checksRanges()) {
    throw Tovo::RangeException("the VLAN " + std::to_string(value_) + " is above " +
                               std::to_string(highest));
  }
}

VlanIdRange::VlanIdRange(Tovo::CharRange& text) : first_(text) {
  text.expect("-");
  last_ = VlanId(text);
  if (first_ > last_ && text.checksRanges()) {
    throw Tovo::RangeException("the VLAN range " + std::to_string(first_.value()) + "-" +
                               std::to_string(last_.value()) + " ends before it starts");
  }
}

void VlanIdRange::appendText(std::string& out) const {
  first_.appendText(out);
  out += '-';
  last_.appendText(out);
}

Tovo::TovoTypeBase VlanId::tovoStaticType() noexcept {
  return {&_VlanId_e770293df0b4c7dc_tovoModule, 0};
}
Tovo::TovoTypeBase VlanIdRange::tovoStaticType() noexcept {
  return {&_VlanId_e770293df0b4c7dc_tovoModule, 1};
}
Tovo::TovoTypeBase VlanIdOrNone::tovoStaticType() noexcept {
  return {&_VlanId_e770293df0b4c7dc_tovoModule, 2};
}

std::ostream& operator<<(std::ostream& os, const VlanId& vlan) { return Tovo::printText(os, vlan); }
std::ostream& operator<<(std::ostream& os, const VlanIdRange& range) {
  return Tovo::printText(os, range);
}
std::ostream& operator<<(std::ostream& os, const VlanIdOrNone& vlan) {
  return Tovo::printText(os, vlan);
}

}  // namespace Bridging
