#include "agents/linux/Messages.h"

#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <string_view>
#include <type_traits>

#include "agents/linux/Conversions.h"

namespace stplinux {

namespace {

constexpr std::string_view bridgeKind = "bridge";

// How an attribute of a nest becomes a member of what the nest describes.
template <class Into>
struct Reader {
  uint16_t type;
  void (*read)(const nlattr& attribute, Into& into);
};

// What visits the attributes of a nest and reads those that have a reader. What is too short leaves
// its member as it is.
template <class Into, size_t count>
auto reading(const Reader<Into> (&readers)[count], Into& into) {
  return [&readers, &into](const nlattr& attribute) {
    for (const Reader<Into>& reader : readers) {
      if (reader.type == mnl_attr_get_type(&attribute)) return reader.read(attribute, into);
    }
  };
}

// A number of the width that it has in the kernel.
template <class Wide, auto member, class Into>
void number(const nlattr& attribute, Into& into) {
  Wide wide;
  if (!attributeValue(attribute, wide)) return;
  auto& value = into.*member;
  value = static_cast<std::remove_reference_t<decltype(value)>>(wide);
}

template <auto member, class Into>
void flag(const nlattr& attribute, Into& into) {
  uint8_t octet;
  if (attributeValue(attribute, octet)) into.*member = octet != 0;
}

template <auto member, class Into>
void identifier(const nlattr& attribute, Into& into) {
  ifla_bridge_id id;
  if (attributeValue(attribute, id)) into.*member = bridgeId(id.prio, id.addr);
}

template <auto member, class Into>
void text(const nlattr& attribute, Into& into) {
  into.*member = attributeText(attribute);
}

// An attribute that is a nest itself, to be read when it is known what it holds.
template <auto member, class Into>
void place(const nlattr& attribute, Into& into) {
  into.*member = &attribute;
}

constexpr Reader<Bridge> bridgeReaders[] = {
    {IFLA_BR_STP_STATE, number<uint32_t, &Bridge::owner>},
    {IFLA_BR_PRIORITY, number<uint16_t, &Bridge::priority>},
    {IFLA_BR_BRIDGE_ID, identifier<&Bridge::id>},
    {IFLA_BR_ROOT_ID, identifier<&Bridge::root>},
    {IFLA_BR_ROOT_PORT, number<uint16_t, &Bridge::rootPort>},
    {IFLA_BR_ROOT_PATH_COST, number<uint32_t, &Bridge::rootPathCost>},
    {IFLA_BR_TOPOLOGY_CHANGE, flag<&Bridge::topologyChange>},
    {IFLA_BR_FORWARD_DELAY, number<uint32_t, &Bridge::forwardDelay>},
    {IFLA_BR_HELLO_TIME, number<uint32_t, &Bridge::helloTime>},
    {IFLA_BR_MAX_AGE, number<uint32_t, &Bridge::maxAge>},
};

constexpr Reader<Port> portReaders[] = {
    {IFLA_BRPORT_STATE, number<uint8_t, &Port::state>},
    {IFLA_BRPORT_PRIORITY, number<uint16_t, &Port::priority>},
    {IFLA_BRPORT_ID, number<uint16_t, &Port::id>},
    {IFLA_BRPORT_NO, number<uint16_t, &Port::number>},
    {IFLA_BRPORT_COST, number<uint32_t, &Port::cost>},
    {IFLA_BRPORT_ROOT_ID, identifier<&Port::designatedRoot>},
    {IFLA_BRPORT_BRIDGE_ID, identifier<&Port::designatedBridge>},
    {IFLA_BRPORT_DESIGNATED_PORT, number<uint16_t, &Port::designatedPort>},
    {IFLA_BRPORT_DESIGNATED_COST, number<uint16_t, &Port::designatedCost>},
    {IFLA_BRPORT_GUARD, flag<&Port::bpduGuard>},
    {IFLA_BRPORT_PROTECT, flag<&Port::rootBlock>},
    {IFLA_BRPORT_TOPOLOGY_CHANGE_ACK, flag<&Port::topologyChangeAck>},
    {IFLA_BRPORT_MESSAGE_AGE_TIMER, number<uint64_t, &Port::messageAgeTimer>},
};

// What IFLA_LINKINFO says of kinds, and the attributes of each.
struct LinkInfo {
  std::string_view kind;
  std::string_view slaveKind;
  const nlattr* data = nullptr;
  const nlattr* slaveData = nullptr;

  bool isBridge() const noexcept { return kind == bridgeKind; }
  bool isPort() const noexcept { return slaveKind == bridgeKind; }
};

constexpr Reader<LinkInfo> linkInfoReaders[] = {
    {IFLA_INFO_KIND, text<&LinkInfo::kind>},
    {IFLA_INFO_SLAVE_KIND, text<&LinkInfo::slaveKind>},
    {IFLA_INFO_DATA, place<&LinkInfo::data>},
    {IFLA_INFO_SLAVE_DATA, place<&LinkInfo::slaveData>},
};

// What a message says of any interface.
struct Interface {
  std::string_view name;
  uint32_t master = 0;
  const nlattr* info = nullptr;

  LinkInfo linkInfo() const {
    LinkInfo found;
    if (info) forEachAttribute(*info, reading(linkInfoReaders, found));
    return found;
  }
};

constexpr Reader<Interface> interfaceReaders[] = {
    {IFLA_IFNAME, text<&Interface::name>},
    {IFLA_MASTER, number<uint32_t, &Interface::master>},
    {IFLA_LINKINFO, place<&Interface::info>},
};

Interface interfaceIn(const nlmsghdr& message) {
  Interface found;
  forEachAttribute(message, sizeof(ifinfomsg), reading(interfaceReaders, found));
  return found;
}

// The counters in a message of statistics lie in a nest of a nest.
struct Statistics {
  const nlattr* slaves = nullptr;
  const nlattr* bridge = nullptr;
  std::optional<PortStatistics> port;
};

void counters(const nlattr& attribute, Statistics& into) {
  bridge_stp_xstats stp;
  if (!attributeValue(attribute, stp)) return;
  into.port = {stp.transition_fwd, stp.rx_bpdu, stp.tx_bpdu, stp.rx_tcn, stp.tx_tcn};
}

const ifinfomsg* headerOf(const nlmsghdr& message) {
  if (message.nlmsg_type != RTM_NEWLINK && message.nlmsg_type != RTM_DELLINK) return nullptr;
  if (mnl_nlmsg_get_payload_len(&message) < sizeof(ifinfomsg)) return nullptr;
  return static_cast<const ifinfomsg*>(mnl_nlmsg_get_payload(&message));
}

}  // namespace

std::optional<Link> readLink(const nlmsghdr& message) {
  const ifinfomsg* const header = headerOf(message);
  if (!header) return std::nullopt;
  const Interface interface = interfaceIn(message);
  const LinkInfo info = interface.linkInfo();
  Link link;
  link.index = static_cast<uint32_t>(header->ifi_index);
  link.name = interface.name;
  if (info.isBridge() && info.data) {
    Bridge& bridge = link.bridge.emplace();
    bridge.index = link.index;
    bridge.name = link.name;
    forEachAttribute(*info.data, reading(bridgeReaders, bridge));
  } else if (info.isPort() && info.slaveData && interface.master != 0) {
    Port& port = link.port.emplace();
    port.index = link.index;
    port.bridge = interface.master;
    port.name = link.name;
    forEachAttribute(*info.slaveData, reading(portReaders, port));
  }
  return link;
}

std::optional<Announcement> readAnnouncement(const nlmsghdr& message) {
  const ifinfomsg* const header = headerOf(message);
  if (!header) return std::nullopt;
  const LinkInfo info = interfaceIn(message).linkInfo();
  return Announcement{static_cast<uint32_t>(header->ifi_index),
                      header->ifi_family == AF_BRIDGE || info.isBridge() || info.isPort()};
}

std::optional<StatisticsOf> readStatistics(const nlmsghdr& message) {
  if (message.nlmsg_type != RTM_NEWSTATS ||
      mnl_nlmsg_get_payload_len(&message) < sizeof(if_stats_msg)) {
    return std::nullopt;
  }
  static constexpr Reader<Statistics> outer[] = {
      {IFLA_STATS_LINK_XSTATS_SLAVE, place<&Statistics::slaves>}};
  static constexpr Reader<Statistics> inner[] = {
      {LINK_XSTATS_TYPE_BRIDGE, place<&Statistics::bridge>}};
  static constexpr Reader<Statistics> innermost[] = {{BRIDGE_XSTATS_STP, counters}};
  const auto* header = static_cast<const if_stats_msg*>(mnl_nlmsg_get_payload(&message));
  Statistics found;
  forEachAttribute(message, sizeof *header, reading(outer, found));
  if (found.slaves) forEachAttribute(*found.slaves, reading(inner, found));
  if (found.bridge) forEachAttribute(*found.bridge, reading(innermost, found));
  if (!found.port) return std::nullopt;
  return StatisticsOf{header->ifindex, *found.port};
}

// --------------------------------------------------------------------------------------- requests

namespace {

// About one interface, or about all that are asked for.
Request linkRequest(uint16_t flags, uint32_t index = 0) {
  Request request(RTM_GETLINK, flags);
  auto& header = request.header<ifinfomsg>();
  header.ifi_family = AF_UNSPEC;
  header.ifi_index = static_cast<int>(index);
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

Request askLink(uint32_t index) { return linkRequest(0, index); }

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
