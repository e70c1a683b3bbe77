// What no kernel of a test can be brought to.
#include <gtest/gtest.h>
#include <linux/if_bridge.h>

#include "agents/linux/BridgeTrees.h"

namespace stplinux {

class TreesTest : public ::testing::Test {
 protected:
  TreesTest() {
    bridge_.bridge.owner = Owner::kernel;
    bridge_.bridge.rootPort = 1;
    bridge_.bridge.rootPathCost = 100000;
    bridge_.bridge.maxAge = 2000;
    port_.index = 5;
    port_.name = "Ethernet1";
    port_.number = 1;
    port_.id = 0x8001;
    port_.state = BR_STATE_FORWARDING;
    port_.cost = 1000;
    port_.designatedCost = static_cast<uint16_t>(99000);
    port_.designatedBridge.priorityIs(Stp::BridgePriority(4096));
    port_.messageAgeTimer = 1900;
  }

  void publish() {
    trees_.bridgeIs(bridge_, nullptr);
    bridge_.ports[port_.index] = port_;
    trees_.portIs(bridge_, port_, nullptr);
  }
  Stp::MstiPortStatus& port() {
    return *trees_.status()
                .stpiStatus(treeName)
                ->mstiStatus(instanceName)
                ->mstiPortStatus(port_.name);
  }

  BridgeTrees trees_;
  BridgeWithPorts bridge_;
  Port port_;
};

TEST_F(TreesTest, OfAProgramInUserSpaceHoldWhatTheKernelKnows) {
  bridge_.bridge.owner = Owner::userSpace;
  publish();
  EXPECT_EQ(trees_.status().version(), Stp::Version::none);
  EXPECT_EQ(port().state(), Stp::PortState::forwarding);
  EXPECT_EQ(port().portId().portNumber().value(), 1);
  EXPECT_EQ(port().role(), Stp::MstiPortStatus::Role::disabled);
  EXPECT_EQ(port().portPriority(), Stp::PriorityVector());
  EXPECT_EQ(trees_.hw().mstiHw(instanceName)->mstiPortHw(port_.name)->portState(),
            Stp::PortState::forwarding);
}

TEST_F(TreesTest, CostsOfMoreThanSixteenBitsFollowFromTheRootPort) {
  publish();
  EXPECT_EQ(port().portPriority().extRootPathCost().value(), 99000u);
  EXPECT_EQ(port().portTimes().messageAge(), Stp::TimerVal(1, 0));
}

TEST_F(TreesTest, OpenConfigHasTheInterfacesThatItCanName) {
  port_.statistics.bpduRx = (1ULL << 32) + 5;
  publish();
  ASSERT_EQ(trees_.openConfigInterfaces().state().size(), 1u);
  EXPECT_EQ(trees_.status().stpiStatus(treeName)->stpiPortStatus("Ethernet1")->counters().bpduRx(),
            5u);
  Port other = port_;
  other.index = 6;
  other.name = "eth0";
  trees_.portIs(bridge_, other, nullptr);
  EXPECT_EQ(trees_.openConfigInterfaces().state().size(), 1u);
  trees_.portDel(port_);
  EXPECT_EQ(trees_.openConfigInterfaces().state().size(), 0u);
}

}  // namespace stplinux
