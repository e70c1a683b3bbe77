// What the kernel knows of a bridge and its ports, in the kernel's own units.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "Stp/StpTypes.h"

namespace stplinux {

/// Who runs a bridge's spanning tree, as the kernel numbers it.
enum class Owner : uint32_t {
  nobody = 0,     ///< none runs: every port that is up forwards
  kernel = 1,     ///< the protocol of IEEE 802.1D-1998
  userSpace = 2,  ///< a program, which only tells the kernel what each port does
};

/// What the kernel counts for a port since it joined its bridge.
struct PortStatistics {
  uint64_t toForwarding = 0;
  uint64_t bpduRx = 0;  ///< configuration messages only
  uint64_t bpduTx = 0;
  uint64_t tcnRx = 0;  ///< topology change notifications
  uint64_t tcnTx = 0;

  bool operator==(const PortStatistics&) const = default;
};

struct Port {
  uint32_t index = 0;   ///< of the interface
  uint32_t bridge = 0;  ///< index of the bridge's interface
  std::string name;
  uint8_t state = 0;      ///< BR_STATE_...
  uint16_t priority = 0;  ///< 6 bits
  uint16_t id = 0;        ///< 6 bits of priority, 10 of number
  uint16_t number = 0;
  uint32_t cost = 0;
  // The best message that was heard on the port's LAN, or would be sent there.
  Stp::BridgeId designatedRoot;
  Stp::BridgeId designatedBridge;
  uint16_t designatedPort = 0;
  uint16_t designatedCost = 0;
  bool bpduGuard = false;
  bool rootBlock = false;
  bool topologyChangeAck = false;
  uint64_t messageAgeTimer = 0;  ///< 1/100 s until what was heard is dropped; 0: nothing is
  PortStatistics statistics;

  bool operator==(const Port&) const = default;
};

struct Bridge {
  uint32_t index = 0;  ///< of the interface
  std::string name;
  Owner owner = Owner::nobody;
  uint16_t priority = 0;  ///< the upper 16 bits of its identifier
  Stp::BridgeId id;
  Stp::BridgeId root;
  uint16_t rootPort = 0;  ///< number of the port; 0 on the root itself
  uint32_t rootPathCost = 0;
  bool topologyChange = false;
  // In force, in 1/100 s: the root's, unless the bridge is the root.
  uint32_t forwardDelay = 0;
  uint32_t helloTime = 0;
  uint32_t maxAge = 0;

  bool operator==(const Bridge&) const = default;
  /// Whether what is computed for ports would be another for the other bridge.
  bool sameTree(const Bridge& other) const noexcept {
    return owner == other.owner && id == other.id && root == other.root &&
           rootPort == other.rootPort && rootPathCost == other.rootPathCost &&
           forwardDelay == other.forwardDelay && helloTime == other.helloTime &&
           maxAge == other.maxAge;
  }
  bool isRoot() const noexcept { return id == root; }
};

/// A bridge and its ports by interface index.
struct BridgeWithPorts {
  Bridge bridge;
  std::map<uint32_t, Port> ports;
};

/// By the index of the bridge's interface.
using Picture = std::map<uint32_t, BridgeWithPorts>;

}  // namespace stplinux
