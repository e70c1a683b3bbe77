#include "agents/linux/Netlink.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <poll.h>

#include <cerrno>
#include <set>

#include "Lab.h"
#include "agents/linux/Messages.h"

namespace stplinux {

class NetlinkTest : public Lab {};

// Rooms that are too small for what comes, and messages of several to a datagram.
TEST_F(NetlinkTest, NothingIsTooLongForIt) {
  std::string lines = "link add br0 type bridge stp_state 1\nlink set br0 up\n";
  for (int i = 0; i < 30; ++i) {
    const std::string number = std::to_string(i);
    lines += "link add p" + number + " master br0 type veth peer name q" + number + "\n";
  }
  ip(lines);
  RequestSocket socket(1024);
  std::set<std::string> ports;
  uint32_t bridge = 0;
  const auto collect = [&](const nlmsghdr& message) {
    const auto link = readLink(message);
    if (link && link->bridge) bridge = link->index;
    if (link && link->port && link->port->bridge == bridge) ports.insert(link->name);
  };
  Request bridges = askBridges();
  EXPECT_EQ(socket.send(bridges, collect), RequestSocket::Outcome::complete);
  ASSERT_NE(bridge, 0u);
  Request all = askPorts(bridge);
  EXPECT_EQ(socket.send(all, collect), RequestSocket::Outcome::complete);
  EXPECT_EQ(ports.size(), 30u);

  EventSocket events(1024 * 1024, 1024);
  ip("link set p1 up\nlink set p1 type bridge_slave cost 7");
  EXPECT_FALSE(events.drain([](const nlmsghdr&) {})) << "one was longer than the room";
  ip("link set p1 type bridge_slave cost 8");
  int announced = 0;
  EXPECT_TRUE(events.drain([&](const nlmsghdr& message) {
    const auto announcement = readAnnouncement(message);
    announced += announcement && announcement->ofBridge;
  }));
  EXPECT_GT(announced, 0);
}

TEST_F(NetlinkTest, ErrorsHaveTheKernelsNumberAndWords) {
  RequestSocket socket;
  const auto number = [&](Request request) {
    try {
      socket.send(request);
      return 0;
    } catch (const NetlinkError& error) {
      EXPECT_NE(std::string(error.what()), "");
      return error.number();
    }
  };
  ip("link add br0 type bridge stp_state 1");
  EXPECT_EQ(number(askLink(4711)), ENODEV);
  EXPECT_EQ(number(setPort(4711, IFLA_BRPORT_COST, 7)), ENODEV);
  Request none(RTM_GETLINK, 0);
  none.header<ifinfomsg>();
  EXPECT_NE(number(none), 0);
  uint32_t bridge = 0;
  Request bridges = askBridges();
  socket.send(bridges, [&](const nlmsghdr& message) { bridge = readLink(message)->index; });
  EXPECT_EQ(number(setBridge(bridge, IFLA_BR_FORWARD_DELAY, 3001)), ERANGE);
  EXPECT_EQ(number(setBridge(bridge, IFLA_BR_FORWARD_DELAY, 3000)), 0);
  EXPECT_EQ(number(askLink(bridge)), 0) << "an error is no part of the next answer";
}

// Whatever stands in a message: what is missing or too short is not read.
TEST(Messages, AreReadWithinTheirBounds) {
  alignas(nlmsghdr) char bytes[1024];
  nlmsghdr* const message = mnl_nlmsg_put_header(bytes);
  message->nlmsg_type = RTM_NEWLINK;
  EXPECT_FALSE(readLink(*message)) << "no room for an interface";
  EXPECT_FALSE(readAnnouncement(*message));
  auto& header = *static_cast<ifinfomsg*>(mnl_nlmsg_put_extra_header(message, sizeof(ifinfomsg)));
  header.ifi_index = 7;
  mnl_attr_put_u32(message, IFLA_MASTER, 3);
  mnl_attr_put_str(message, IFLA_IFNAME, "p0");  // without its zero
  nlattr* const info = mnl_attr_nest_start(message, IFLA_LINKINFO);
  mnl_attr_put_strz(message, IFLA_INFO_SLAVE_KIND, "bridge");
  nlattr* const data = mnl_attr_nest_start(message, IFLA_INFO_SLAVE_DATA);
  mnl_attr_put_u8(message, IFLA_BRPORT_STATE, 3);
  mnl_attr_put_u8(message, IFLA_BRPORT_COST, 9);  // too short
  mnl_attr_put_u32(message, IFLA_BRPORT_ROOT_ID, 9);
  mnl_attr_nest_end(message, data);
  mnl_attr_nest_end(message, info);
  const auto link = readLink(*message);
  ASSERT_TRUE(link && link->port);
  EXPECT_EQ(link->name, "p0");
  EXPECT_EQ(link->port->bridge, 3u);
  EXPECT_EQ(link->port->state, 3);
  EXPECT_EQ(link->port->cost, 0u);
  EXPECT_EQ(link->port->designatedRoot, Stp::BridgeId());
  // Cut anywhere: the sanitizer would say if it were read beyond its end.
  const uint32_t whole = message->nlmsg_len;
  for (uint32_t length = sizeof(nlmsghdr); length < whole; ++length) {
    const std::unique_ptr<char[]> copy(new char[length]);
    std::copy_n(bytes, length, copy.get());
    reinterpret_cast<nlmsghdr*>(copy.get())->nlmsg_len = length;
    readLink(*reinterpret_cast<nlmsghdr*>(copy.get()));
    readAnnouncement(*reinterpret_cast<nlmsghdr*>(copy.get()));
  }
  message->nlmsg_type = RTM_NEWSTATS;
  EXPECT_FALSE(readStatistics(*message));
}

}  // namespace stplinux
