#include "agents/linux/Conversions.h"

#include <algorithm>
#include <limits>

namespace stplinux {

namespace {

constexpr uint16_t priorityBits = 0xF000;  // of a bridge
constexpr unsigned numberBits = 10;        // of a port
constexpr unsigned priorityShift = 2;      // 6 bits to 8
constexpr uint64_t perSecond = 100;        // USER_HZ

}  // namespace

Stp::BridgeId bridgeId(const uint8_t priority[2], const uint8_t address[6]) {
  const auto both = static_cast<uint16_t>(priority[0] << 8 | priority[1]);
  Nelka::EthAddr::Octets octets;
  std::copy_n(address, octets.size(), octets.begin());
  return {bridgePriority(both), Stp::BridgeSystemId(static_cast<uint16_t>(both & ~priorityBits)),
          Nelka::EthAddr(octets)};
}

Stp::PortId portId(uint16_t id) {
  return {portPriority(id >> numberBits),
          Stp::PortNumber(static_cast<uint16_t>(id & ((1U << numberBits) - 1)))};
}

Stp::PortPriority portPriority(uint16_t priority) {
  return Stp::PortPriority(static_cast<uint8_t>(priority << priorityShift));
}

std::optional<uint16_t> kernelPortPriority(Stp::PortPriority priority) {
  if (priority.value() % (1U << priorityShift) != 0) return std::nullopt;
  return static_cast<uint16_t>(priority.value() >> priorityShift);
}

Stp::BridgePriority bridgePriority(uint16_t priority) {
  return Stp::BridgePriority(static_cast<uint16_t>(priority & priorityBits));
}

std::optional<uint16_t> kernelBridgePriority(Stp::BridgePriority priority, uint16_t inForce) {
  if ((priority.value() & ~priorityBits) != 0) return std::nullopt;
  return static_cast<uint16_t>(priority.value() | (inForce & ~priorityBits));
}

Stp::TimerVal timer(uint64_t hundredths) {
  constexpr uint64_t longest = std::numeric_limits<uint16_t>::max();
  const uint64_t most = longest * perSecond / 256;  // before it is multiplied
  const uint64_t value =
      hundredths > most ? longest : (hundredths * 256 + perSecond / 2) / perSecond;
  return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value & 255)};
}

std::optional<uint32_t> secondsWithin(uint32_t hundredths, uint32_t low, uint32_t high) {
  const uint32_t seconds = hundredths / perSecond;
  if (hundredths % perSecond != 0 || seconds < low || seconds > high) return std::nullopt;
  return seconds;
}

std::optional<uint32_t> millisecondsWithin(uint32_t hundredths, uint32_t low, uint32_t high) {
  const uint64_t milliseconds = uint64_t{hundredths} * 1000 / perSecond;
  if (milliseconds < low || milliseconds > high) return std::nullopt;
  return static_cast<uint32_t>(milliseconds);
}

Stp::PortState portState(uint8_t state) {
  switch (state) {
    case BR_STATE_LEARNING:
      return Stp::PortState::learning;
    case BR_STATE_FORWARDING:
      return Stp::PortState::forwarding;
    default:
      return Stp::PortState::discarding;
  }
}

Stp::MstiPortStatus::Role role(const Bridge& bridge, const Port& port) {
  using Role = Stp::MstiPortStatus::Role;
  if (bridge.owner != Owner::kernel || port.state == BR_STATE_DISABLED) return Role::disabled;
  if (port.number == bridge.rootPort) return Role::root;
  if (port.designatedBridge != bridge.id) return Role::alternate;
  return port.designatedPort == port.id ? Role::designated : Role::backup;
}

}  // namespace stplinux
