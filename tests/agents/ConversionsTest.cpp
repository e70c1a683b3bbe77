#include "agents/linux/Conversions.h"

#include <gtest/gtest.h>

namespace stplinux {

using Role = Stp::MstiPortStatus::Role;

TEST(Conversions, OfPortIdentifiersLoseNothing) {
  for (uint32_t id = 0; id <= 0xFFFF; ++id) {
    const Stp::PortId model = portId(static_cast<uint16_t>(id));
    ASSERT_EQ(model.portPriority().value(), id >> 10 << 2);
    ASSERT_EQ(model.portNumber().value(), id & 1023);
    ASSERT_EQ(kernelPortPriority(model.portPriority()), id >> 10);
  }
  for (const int between : {1, 2, 3, 127, 129, 255}) {
    EXPECT_FALSE(kernelPortPriority(Stp::PortPriority(static_cast<uint8_t>(between)))) << between;
  }
}

TEST(Conversions, OfBridgeIdentifiersKeepTheLowerTwelveBits) {
  const uint8_t address[] = {0x00, 0x00, 0x5e, 0x00, 0x53, 0x01};
  for (const uint16_t priority : {0x0000, 0x0001, 0x0FFF, 0x1000, 0x8000, 0x8FFF, 0xF000, 0xFFFF}) {
    const uint8_t octets[] = {static_cast<uint8_t>(priority >> 8), static_cast<uint8_t>(priority)};
    const Stp::BridgeId id = bridgeId(octets, address);
    EXPECT_EQ(id.priority().value(), priority & 0xF000);
    EXPECT_EQ(id.systemId().value(), priority & 0x0FFF);
    EXPECT_EQ(id.address(), Nelka::EthAddr("00:00:5e:00:53:01"));
    EXPECT_EQ(kernelBridgePriority(id.priority(), priority), priority);
  }
  EXPECT_EQ(kernelBridgePriority(Stp::BridgePriority(4096), 0x8ABC), 0x1ABC);
  EXPECT_FALSE(kernelBridgePriority(Stp::BridgePriority(4097), 0x8000));
}

TEST(Conversions, OfTimes) {
  struct Case {
    uint64_t hundredths;
    int seconds;
    int fraction;
  };
  for (const Case& time : std::initializer_list<Case>{{0, 0, 0},
                                                      {1, 0, 3},
                                                      {50, 0, 128},
                                                      {99, 0, 253},
                                                      {200, 2, 0},
                                                      {4000, 40, 0},
                                                      {25599, 255, 253},
                                                      {25600, 255, 255},
                                                      {1ULL << 32, 255, 255},
                                                      {~0ULL, 255, 255}}) {
    EXPECT_EQ(timer(time.hundredths), Stp::TimerVal(static_cast<uint8_t>(time.seconds),
                                                    static_cast<uint8_t>(time.fraction)))
        << time.hundredths;
  }
  EXPECT_EQ(secondsWithin(400, 4, 30), 4);
  EXPECT_EQ(secondsWithin(3000, 4, 30), 30);
  for (const uint32_t outside : {0U, 399U, 401U, 3001U, 3100U, ~0U}) {
    EXPECT_FALSE(secondsWithin(outside, 4, 30)) << outside;
  }
  EXPECT_EQ(millisecondsWithin(20, 200, 10000), 200);
  EXPECT_EQ(millisecondsWithin(1000, 200, 10000), 10000);
  EXPECT_FALSE(millisecondsWithin(19, 200, 10000));
  EXPECT_FALSE(millisecondsWithin(1001, 200, 10000));
  EXPECT_FALSE(millisecondsWithin(429496930, 200, 10000));  // 2^32 in milliseconds and some
}

TEST(Conversions, OfStatesAndRoles) {
  using State = Stp::PortState;
  const State states[] = {State::discarding, State::discarding, State::learning,
                          State::forwarding, State::discarding, State::discarding};
  for (size_t state = 0; state < std::size(states); ++state) {
    EXPECT_EQ(portState(static_cast<uint8_t>(state)), states[state]) << state;
  }
  Bridge bridge;
  bridge.owner = Owner::kernel;
  bridge.rootPort = 2;
  bridge.id.priorityIs(Stp::BridgePriority(32768));
  Stp::BridgeId other = bridge.id;
  other.priorityIs(Stp::BridgePriority(4096));
  const auto roleOf = [&](uint8_t state, uint16_t number, const Stp::BridgeId& designated,
                          uint16_t designatedPort) {
    Port port;
    port.state = state;
    port.number = number;
    port.id = static_cast<uint16_t>(0x8000 | number);
    port.designatedBridge = designated;
    port.designatedPort = designatedPort;
    return role(bridge, port);
  };
  EXPECT_EQ(roleOf(BR_STATE_DISABLED, 2, other, 0x8001), Role::disabled);
  EXPECT_EQ(roleOf(BR_STATE_FORWARDING, 2, other, 0x8001), Role::root);
  EXPECT_EQ(roleOf(BR_STATE_BLOCKING, 3, other, 0x8002), Role::alternate);
  EXPECT_EQ(roleOf(BR_STATE_LISTENING, 3, bridge.id, 0x8003), Role::designated);
  EXPECT_EQ(roleOf(BR_STATE_BLOCKING, 3, bridge.id, 0x8001), Role::backup);
  bridge.owner = Owner::userSpace;
  EXPECT_EQ(roleOf(BR_STATE_FORWARDING, 2, other, 0x8001), Role::disabled) << "nobody knows";
}

}  // namespace stplinux
