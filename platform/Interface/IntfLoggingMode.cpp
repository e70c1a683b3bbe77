#include "Interface/IntfLoggingMode.h"

#include "Interface/Modules.h"
#include "Tovo/EnumType.h"
#include "Tovo/ForeignModule.h"

namespace {

constexpr Tovo::EnumLiteral literals[] = {
    {0, "off", "Not logged."},
    {1, "on", "Logged."},
    {2, "useGlobal", "As the bridge's own setting says."},
};
constexpr Tovo::TypeDescriptor loggingModeType = Tovo::foreignEnum(
    "Interface::IntfLoggingMode", "Whether an interface's events are logged.", literals, 1);
constexpr Tovo::GenericIfEntry loggingModeEntry = Tovo::enumEntry<Interface::IntfLoggingMode>();

}  // namespace

const Tovo::TovoModule _Intf_9f670657c72a539c_tovoModule =
    Tovo::foreignModule("_Intf_9f670657c72a539c_tovoModule", {&loggingModeType, 1},
                        &loggingModeEntry, "Interface::IntfLoggingMode\0");

Tovo::TovoTypeBase Tovo::TypeOf<Interface::IntfLoggingMode>::type() noexcept {
  return {&_Intf_9f670657c72a539c_tovoModule, 0};
}

namespace Interface {

namespace {
const Tovo::ModuleRegistration registration{&_Intf_9f670657c72a539c_tovoModule};
const Tovo::TovoTypeBase type{&_Intf_9f670657c72a539c_tovoModule, 0};
}  // namespace

IntfLoggingMode IntfLoggingModeInstance(unsigned number) {
  return static_cast<IntfLoggingMode>(Tovo::EnumType::instance(number, type));
}

IntfLoggingMode IntfLoggingModeInstance(const Pelmo::String& name) {
  return static_cast<IntfLoggingMode>(Tovo::EnumType::instance(name, type));
}

Pelmo::String stringValue(IntfLoggingMode mode) {
  return Tovo::EnumType::stringValue(static_cast<int64_t>(mode), type);
}

void sequenceToValue(Tovo::CharRange& text, IntfLoggingMode* mode) {
  *mode = static_cast<IntfLoggingMode>(Tovo::EnumType::sequenceToValue(text, type));
}

std::ostream& operator<<(std::ostream& os, const IntfLoggingMode& mode) {
  return Tovo::EnumType::operatorLessLess(os, static_cast<int64_t>(mode), type);
}

}  // namespace Interface
