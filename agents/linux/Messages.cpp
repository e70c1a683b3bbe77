#include "agents/linux/Messages.h"

#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <string_view>

#include "agents/linux/Conversions.h"

namespace stplinux {

namespace {

constexpr std::string_view bridgeKind = "bridge";

// What an attribute holds, of the width that it has in the kernel; unchanged if it is too short.
template <class Wide, class Value>
void read(const nlattr& attribute, Value& value) {
  Wide wide;
  if (attributeValue(attribute, wide)) value = static_cast<Value>(wide);
}

void readFlag(const nlattr& attribute, bool& value) {
  uint8_t octet;
  if (attributeValue(attribute, octet)) value = octet != 0;
}

void readId(const nlattr& attribute, Stp::BridgeId& value) {
  ifla_bridge_id id;
  if (attributeValue(attribute, id)) value = bridgeId(id.prio, id.addr);
}

void readBridge(const nlattr& nest, Bridge& bridge) {
  forEachAttribute(nest, [&](const nlattr& attribute) {
    switch (mnl_attr_get_type(&attribute)) {
      case IFLA_BR_STP_STATE:
        return read<uint32_t>(attribute, bridge.owner);
      case IFLA_BR_PRIORITY:
        return read<uint16_t>(attribute, bridge.priority);
      case IFLA_BR_BRIDGE_ID:
        return readId(attribute, bridge.id);
      case IFLA_BR_ROOT_ID:
        return readId(attribute, bridge.root);
      case IFLA_BR_ROOT_PORT:
        return read<uint16_t>(attribute, bridge.rootPort);
      case IFLA_BR_ROOT_PATH_COST:
        return read<uint32_t>(attribute, bridge.rootPathCost);
      case IFLA_BR_TOPOLOGY_CHANGE:
        return readFlag(attribute, bridge.topologyChange);
      case IFLA_BR_FORWARD_DELAY:
        return read<uint32_t>(attribute, bridge.forwardDelay);
      case IFLA_BR_HELLO_TIME:
        return read<uint32_t>(attribute, bridge.helloTime);
      case IFLA_BR_MAX_AGE:
        return read<uint32_t>(attribute, bridge.maxAge);
      default:
        return;
    }
  });
}

void readPort(const nlattr& nest, Port& port) {
  forEachAttribute(nest, [&](const nlattr& attribute) {
    switch (mnl_attr_get_type(&attribute)) {
      case IFLA_BRPORT_STATE:
        return read<uint8_t>(attribute, port.state);
      case IFLA_BRPORT_PRIORITY:
        return read<uint16_t>(attribute, port.priority);
      case IFLA_BRPORT_ID:
        return read<uint16_t>(attribute, port.id);
      case IFLA_BRPORT_NO:
        return read<uint16_t>(attribute, port.number);
      case IFLA_BRPORT_COST:
        return read<uint32_t>(attribute, port.cost);
      case IFLA_BRPORT_ROOT_ID:
        return readId(attribute, port.designatedRoot);
      case IFLA_BRPORT_BRIDGE_ID:
        return readId(attribute, port.designatedBridge);
      case IFLA_BRPORT_DESIGNATED_PORT:
        return read<uint16_t>(attribute, port.designatedPort);
      case IFLA_BRPORT_DESIGNATED_COST:
        return read<uint16_t>(attribute, port.designatedCost);
      case IFLA_BRPORT_GUARD:
        return readFlag(attribute, port.bpduGuard);
      case IFLA_BRPORT_PROTECT:
        return readFlag(attribute, port.rootBlock);
      case IFLA_BRPORT_TOPOLOGY_CHANGE_ACK:
        return readFlag(attribute, port.topologyChangeAck);
      case IFLA_BRPORT_MESSAGE_AGE_TIMER:
        return read<uint64_t>(attribute, port.messageAgeTimer);
      default:
        return;
    }
  });
}

// What IFLA_LINKINFO says of kinds, and the attributes of each.
struct LinkInfo {
  std::string_view kind;
  std::string_view slaveKind;
  const nlattr* data = nullptr;
  const nlattr* slaveData = nullptr;

  explicit LinkInfo(const nlattr& nest) {
    forEachAttribute(nest, [&](const nlattr& attribute) {
      switch (mnl_attr_get_type(&attribute)) {
        case IFLA_INFO_KIND:
          kind = attributeText(attribute);
          return;
        case IFLA_INFO_SLAVE_KIND:
          slaveKind = attributeText(attribute);
          return;
        case IFLA_INFO_DATA:
          data = &attribute;
          return;
        case IFLA_INFO_SLAVE_DATA:
          slaveData = &attribute;
          return;
        default:
          return;
      }
    });
  }
};

const ifinfomsg* interfaceOf(const nlmsghdr& message) {
  if (message.nlmsg_type != RTM_NEWLINK && message.nlmsg_type != RTM_DELLINK) return nullptr;
  if (mnl_nlmsg_get_payload_len(&message) < sizeof(ifinfomsg)) return nullptr;
  return static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&message));
}

}  // namespace

std::optional<Link> readLink(const nlmsghdr& message) {
  const ifinfomsg* const header = interfaceOf(message);
  if (!header) return std::nullopt;
  Link link;
  link.index = static_cast<uint32_t>(header->ifi_index);
  uint32_t master = 0;
  const nlattr* info = nullptr;
  forEachAttribute(message, sizeof *header, [&](const nlattr& attribute) {
    switch (mnl_attr_get_type(&attribute)) {
      case IFLA_IFNAME:
        link.name = attributeText(attribute);
        return;
      case IFLA_MASTER:
        attributeValue(attribute, master);
        return;
      case IFLA_LINKINFO:
        info = &attribute;
        return;
      default:
        return;
    }
  });
  if (!info) return link;
  const LinkInfo kinds(*info);
  if (kinds.kind == bridgeKind && kinds.data) {
    link.bridge.emplace();
    link.bridge->index = link.index;
    link.bridge->name = link.name;
    readBridge(*kinds.data, *link.bridge);
  } else if (kinds.slaveKind == bridgeKind && kinds.slaveData && master != 0) {
    link.port.emplace();
    link.port->index = link.index;
    link.port->bridge = master;
    link.port->name = link.name;
    readPort(*kinds.slaveData, *link.port);
  }
  return link;
}

std::optional<Announcement> readAnnouncement(const nlmsghdr& message) {
  const ifinfomsg* const header = interfaceOf(message);
  if (!header) return std::nullopt;
  Announcement announcement;
  announcement.index = static_cast<uint32_t>(header->ifi_index);
  announcement.ofBridge = header->ifi_family == AF_BRIDGE;
  forEachAttribute(message, sizeof *header, [&](const nlattr& attribute) {
    const uint16_t type = mnl_attr_get_type(&attribute);
    if (type != IFLA_LINKINFO) return;
    const LinkInfo kinds(attribute);
    if (kinds.kind == bridgeKind || kinds.slaveKind == bridgeKind) announcement.ofBridge = true;
  });
  return announcement;
}

std::optional<StatisticsOf> readStatistics(const nlmsghdr& message) {
  if (message.nlmsg_type != RTM_NEWSTATS ||
      mnl_nlmsg_get_payload_len(&message) < sizeof(if_stats_msg)) {
    return std::nullopt;
  }
  const auto* header = static_cast<const if_stats_msg*>(mnl_nlmsg_get_payload(&message));
  std::optional<StatisticsOf> found;
  forEachAttribute(message, sizeof *header, [&](const nlattr& slaves) {
    if (mnl_attr_get_type(&slaves) != IFLA_STATS_LINK_XSTATS_SLAVE) return;
    forEachAttribute(slaves, [&](const nlattr& kind) {
      if (mnl_attr_get_type(&kind) != LINK_XSTATS_TYPE_BRIDGE) return;
      forEachAttribute(kind, [&](const nlattr& counters) {
        bridge_stp_xstats stp;
        if (mnl_attr_get_type(&counters) != BRIDGE_XSTATS_STP || !attributeValue(counters, stp)) {
          return;
        }
        found =
            StatisticsOf{header->ifindex,
                         {stp.transition_fwd, stp.rx_bpdu, stp.tx_bpdu, stp.rx_tcn, stp.tx_tcn}};
      });
    });
  });
  return found;
}

// --------------------------------------------------------------------------------------- requests

namespace {

Request linkRequest(uint16_t flags) {
  Request request(RTM_GETLINK, flags);
  request.header<ifinfomsg>().ifi_family = AF_UNSPEC;
  mnl_attr_put_u32(request.message(), IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
  return request;
}

Request statisticsRequest(uint32_t port, uint16_t flags) {
  Request request(RTM_GETSTATS, flags);
  auto& header = request.header<if_stats_msg>();
  header.ifindex = port;
  header.filter_mask = IFLA_STATS_FILTER_BIT(IFLA_STATS_LINK_XSTATS_SLAVE);
  return request;
}

void putKind(nlmsghdr* message, uint16_t kind) {
  mnl_attr_put_strz(message, kind, bridgeKind.data());
}

// IFLA_LINKINFO with a kind and one attribute of it.
template <class Put>
Request change(uint32_t index, uint16_t kind, uint16_t data, const Put& put) {
  Request request(RTM_NEWLINK, 0);
  auto& header = request.header<ifinfomsg>();
  header.ifi_family = AF_UNSPEC;
  header.ifi_index = static_cast<int>(index);
  nlmsghdr* const message = request.message();
  nlattr* const info = mnl_attr_nest_start(message, IFLA_LINKINFO);
  putKind(message, kind);
  nlattr* const attributes = mnl_attr_nest_start(message, data);
  put(message);
  mnl_attr_nest_end(message, attributes);
  mnl_attr_nest_end(message, info);
  return request;
}

}  // namespace

Request askLink(uint32_t index) {
  Request request(RTM_GETLINK, 0);
  auto& header = request.header<ifinfomsg>();
  header.ifi_family = AF_UNSPEC;
  header.ifi_index = static_cast<int>(index);
  mnl_attr_put_u32(request.message(), IFLA_EXT_MASK, RTEXT_FILTER_SKIP_STATS);
  return request;
}

Request askBridges() {
  Request request = linkRequest(NLM_F_DUMP);
  nlattr* const info = mnl_attr_nest_start(request.message(), IFLA_LINKINFO);
  putKind(request.message(), IFLA_INFO_KIND);
  mnl_attr_nest_end(request.message(), info);
  return request;
}

Request askPorts(uint32_t bridge) {
  Request request = linkRequest(NLM_F_DUMP);
  mnl_attr_put_u32(request.message(), IFLA_MASTER, bridge);
  return request;
}

Request askStatistics(uint32_t port) { return statisticsRequest(port, 0); }
Request askAllStatistics() { return statisticsRequest(0, NLM_F_DUMP); }

Request setBridge(uint32_t index, uint16_t attribute, uint32_t value) {
  return change(index, IFLA_INFO_KIND, IFLA_INFO_DATA, [&](nlmsghdr* message) {
    if (attribute == IFLA_BR_PRIORITY) {
      mnl_attr_put_u16(message, attribute, static_cast<uint16_t>(value));
    } else {
      mnl_attr_put_u32(message, attribute, value);
    }
  });
}

Request setPort(uint32_t index, uint16_t attribute, uint32_t value) {
  return change(index, IFLA_INFO_SLAVE_KIND, IFLA_INFO_SLAVE_DATA, [&](nlmsghdr* message) {
    if (attribute == IFLA_BRPORT_COST) {
      mnl_attr_put_u32(message, attribute, value);
    } else if (attribute == IFLA_BRPORT_PRIORITY) {
      mnl_attr_put_u16(message, attribute, static_cast<uint16_t>(value));
    } else {
      mnl_attr_put_u8(message, attribute, static_cast<uint8_t>(value));
    }
  });
}

}  // namespace stplinux
