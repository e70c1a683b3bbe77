// The kernel's units and the model's. The kernel's times are 1/100 s everywhere in its user
// interface.
#pragma once

#include <linux/if_bridge.h>

#include <cstdint>
#include <optional>

#include "Stp/StpStatus.h"
#include "Stp/StpTypes.h"
#include "agents/linux/Picture.h"

namespace stplinux {

/// Identifiers of bridges: the upper 4 bits are the priority, the 12 below them the system id.
/// Nothing is lost.
Stp::BridgeId bridgeId(const uint8_t priority[2], const uint8_t address[6]);

/// Identifiers of ports: 6 bits of priority and 10 of number in the kernel, 8 and 12 in the model,
/// where the priority's lowest two bits are then zero. Nothing is lost.
Stp::PortId portId(uint16_t id);
/// The priority alone, of which the kernel keeps the upper 6 bits.
Stp::PortPriority portPriority(uint16_t priority);
/// None for one that is no multiple of 4.
std::optional<uint16_t> kernelPortPriority(Stp::PortPriority priority);

/// The upper 4 bits of what the kernel calls a bridge's priority.
Stp::BridgePriority bridgePriority(uint16_t priority);
/// With the lower 12 bits of the one that is in force. None for one that is no multiple of 4096.
std::optional<uint16_t> kernelBridgePriority(Stp::BridgePriority priority, uint16_t inForce);

/// To the nearest 1/256 s; the longest that the model holds for anything longer.
Stp::TimerVal timer(uint64_t hundredths);
/// In seconds, where they are whole and within bounds; none otherwise.
std::optional<uint32_t> secondsWithin(uint32_t hundredths, uint32_t low, uint32_t high);
/// In milliseconds, where they are within bounds; none otherwise.
std::optional<uint32_t> millisecondsWithin(uint32_t hundredths, uint32_t low, uint32_t high);

/// Learning and forwarding are themselves, all else discards.
Stp::PortState portState(uint8_t state);

/// The kernel keeps no roles; this is what its protocol acts by.
Stp::MstiPortStatus::Role role(const Bridge& bridge, const Port& port);

}  // namespace stplinux
