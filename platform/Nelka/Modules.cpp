#include "Nelka/Modules.h"

#include "Nelka/EthAddr.h"
#include "Nelka/IntfId.h"
#include "Nelka/NetU8.h"
#include "Tovo/ForeignModule.h"
#include "Tovo/Print.h"

namespace {

using Tovo::TypeDescriptor;

constexpr uint8_t key = TypeDescriptor::hashable | TypeDescriptor::ordered;

constexpr TypeDescriptor ethAddrType =
    Tovo::foreignValue("Nelka::EthAddr", "An Ethernet address.", 6, key);
constexpr Tovo::GenericIfEntry ethAddrEntry = Tovo::valueEntry<Nelka::EthAddr>();

constexpr TypeDescriptor netU8Type = Tovo::foreignValue("Nelka::NetU8", "An octet.", 1, key);
constexpr Tovo::GenericIfEntry netU8Entry = Tovo::valueEntry<Nelka::NetU8>();

constexpr TypeDescriptor intfIdType =
    Tovo::foreignValue("Nelka::IntfId", "An interface, by its usual name.", 8, key);
constexpr Tovo::GenericIfEntry intfIdEntry = Tovo::valueEntry<Nelka::IntfId>();

}  // namespace

const Tovo::TovoModule _EthAddr_5ea519cab6df4342_tovoModule = Tovo::foreignModule(
    "_EthAddr_5ea519cab6df4342_tovoModule", {&ethAddrType, 1}, &ethAddrEntry, "Nelka::EthAddr\0");
const Tovo::TovoModule _NetU_4b711a431b8364f1_tovoModule = Tovo::foreignModule(
    "_NetU_4b711a431b8364f1_tovoModule", {&netU8Type, 1}, &netU8Entry, "Nelka::NetU8\0");
const Tovo::TovoModule _IntfId_638f3da9b062f5a9_tovoModule = Tovo::foreignModule(
    "_IntfId_638f3da9b062f5a9_tovoModule", {&intfIdType, 1}, &intfIdEntry, "Nelka::IntfId\0");

namespace Nelka {

Tovo::TovoTypeBase NetU8::tovoStaticType() noexcept {
  return {&_NetU_4b711a431b8364f1_tovoModule, 0};
}

std::ostream& operator<<(std::ostream& os, const NetU8& octet) {
  return Tovo::printText(os, octet);
}

namespace {
const Tovo::ModuleRegistration registration{&_EthAddr_5ea519cab6df4342_tovoModule,
                                            &_NetU_4b711a431b8364f1_tovoModule,
                                            &_IntfId_638f3da9b062f5a9_tovoModule};
}  // namespace

}  // namespace Nelka
