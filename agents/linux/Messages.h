// The messages of rtnetlink that are about bridges and their ports: read and built.
#pragma once

#include <linux/netlink.h>

#include <cstdint>
#include <optional>
#include <string>

#include "agents/linux/Netlink.h"
#include "agents/linux/Picture.h"

namespace stplinux {

/// What a message about an interface says.
struct Link {
  uint32_t index = 0;
  std::string name;
  /// At most one of the two; neither for any other interface.
  std::optional<Bridge> bridge;
  std::optional<Port> port;  ///< without its statistics, which come in messages of their own
};

/// None for a message that is not about an interface. What is missing or too short stays zero.
std::optional<Link> readLink(const nlmsghdr& message);

/// Which interface an announcement is about, and whether it is or has to do with a bridge as far as
/// the message tells.
struct Announcement {
  uint32_t index = 0;
  bool ofBridge = false;
};
std::optional<Announcement> readAnnouncement(const nlmsghdr& message);

struct StatisticsOf {
  uint32_t index = 0;
  PortStatistics statistics;
};
/// None for a message without the counters of a bridge's port.
std::optional<StatisticsOf> readStatistics(const nlmsghdr& message);

// --- requests

Request askLink(uint32_t index);
Request askBridges();
Request askPorts(uint32_t bridge);
Request askStatistics(uint32_t port);
Request askAllStatistics();

/// One attribute of a bridge, IFLA_BR_..., or of a port, IFLA_BRPORT_...; the value has the width
/// that the kernel gives the attribute.
Request setBridge(uint32_t index, uint16_t attribute, uint32_t value);
Request setPort(uint32_t index, uint16_t attribute, uint32_t value);

}  // namespace stplinux
