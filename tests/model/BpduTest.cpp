// BPDUs as they stand on the wire, put through the value types into the status of a port.
#include "Stp/StpStatus.h"
#include "Stp/StpTypes.h"
#include "Support.h"

namespace {

using namespace Stp;

// Reads fields in the order of the octets (IEEE 802.1D-2004 figures 9-1 to 9-3, IEEE 802.1Q-2018
// figures 14-1 and 14-2).
class Octets {
 public:
  explicit Octets(std::string_view digits) : octets_(bytesOfHex(digits)) {}

  size_t left() const { return octets_.size() - at_; }
  uint8_t u8() { return octets_.at(at_++); }
  uint16_t u16() {
    const auto high = u8();
    return static_cast<uint16_t>(high << 8 | u8());
  }
  uint32_t u32() {
    const auto high = static_cast<uint32_t>(u16());
    return high << 16 | u16();
  }
  Nelka::EthAddr address() {
    Nelka::EthAddr::Octets octets;
    for (uint8_t& octet : octets) octet = u8();
    return Nelka::EthAddr(octets);
  }
  /// Four bits of priority, twelve of system id, the address.
  BridgeId bridgeId() {
    const uint16_t first = u16();
    return {BridgePriority(first & 0xf000), BridgeSystemId(first & 0x0fff), address()};
  }
  /// Four bits of priority, twelve of number.
  PortId portId() {
    const uint16_t both = u16();
    return {PortPriority(static_cast<uint8_t>(both >> 8 & 0xf0)), PortNumber(both & 0x0fff)};
  }
  TimerVal timer() {
    const uint8_t seconds = u8();
    return {seconds, u8()};
  }
  std::string text(size_t size) {
    std::string out;
    for (; size > 0; --size) {
      if (const uint8_t c = u8()) out += static_cast<char>(c);
    }
    return out;
  }

 private:
  std::vector<uint8_t> octets_;
  size_t at_ = 0;
};

struct Message {
  StpBpduVersion version;
  StpBpduType type;
  uint8_t flags = 0;
  PriorityVector priority;
  TimesVector times;
};

// What all BPDUs but the shortest one begin with.
Message header(Octets& octets) {
  Message message;
  EXPECT_EQ(octets.u16(), 0);  // protocol identifier
  message.version = StpBpduVersion(octets.u8());
  message.type = StpBpduType(octets.u8());
  message.flags = octets.u8();
  message.priority.cistRootBridgeIdIs(octets.bridgeId());
  message.priority.extRootPathCostIs(PathCost(octets.u32()));
  message.priority.regionalRootBridgeIdIs(octets.bridgeId());
  message.priority.portIdIs(octets.portId());
  message.times.messageAgeIs(octets.timer());
  message.times.maxAgeIs(octets.timer());
  message.times.helloTimeIs(octets.timer());
  message.times.fwdDelayIs(octets.timer());
  return message;
}

BridgeId bridge(uint16_t priority, uint16_t systemId, Nelka::EthAddr address) {
  return {BridgePriority(priority), BridgeSystemId(systemId), address};
}

constexpr Nelka::EthAddr root("00:00:5e:00:53:01");
constexpr Nelka::EthAddr sender("00:00:5e:00:53:02");
constexpr Nelka::EthAddr regional("00:00:5e:00:53:03");

class BpduTest : public ModelTest {};

TEST_F(BpduTest, Configuration) {
  Octets octets(
      "0000 00 00 81"           // protocol, version, type, flags: TC and its acknowledgment
      "8001 00005e005301"       // root
      "00004e20"                // cost 20000: one link of 1 Gb/s
      "9001 00005e005302 8005"  // bridge, port
      "0100 1400 0200 0f80");   // message age 1, max age 20, hello 2, forward delay 15.5
  const Message message = header(octets);
  EXPECT_EQ(octets.left(), 0u);
  EXPECT_FALSE(StpBpduVersion(message.version) != StpBpduVersion(0));
  EXPECT_EQ(message.type, StpBpduType(0));
  const StpBpduFlags flags(message.flags);
  EXPECT_TRUE(flags.tc());
  EXPECT_TRUE(flags.tcAck());
  EXPECT_EQ(flags.unused(), 0);
  EXPECT_EQ(message.priority.cistRootBridgeId(), bridge(0x8000, 1, root));
  EXPECT_EQ(message.priority.extRootPathCost(), PathCost(PathCost::linkPathCost1Gbps));
  EXPECT_EQ(message.priority.regionalRootBridgeId(), bridge(0x9000, 1, sender));
  EXPECT_EQ(message.priority.portId(), PortId(PortPriority(128), PortNumber(5)));
  EXPECT_LT(message.priority.cistRootBridgeId(), message.priority.regionalRootBridgeId());
  EXPECT_EQ(message.times.fwdDelay(), TimerVal(15, 128));
  EXPECT_EQ(hexOf(message.times),
            "0100"
            "1400"
            "0f80"
            "0200"
            "00");
}

TEST_F(BpduTest, Rapid) {
  Octets octets(
      "0000 02 02 3e"  // proposal, designated, learning, forwarding
      "1000 00005e005301"
      "000007d0"                // 10 Gb/s
      "8000 00005e005302 2fff"  // the highest port number
      "0040 1400 0200 0f00"     // message age 1/4 s
      "00");                    // version 1 length
  const Message message = header(octets);
  EXPECT_EQ(octets.u8(), 0);
  EXPECT_EQ(octets.left(), 0u);
  EXPECT_EQ(message.version, StpBpduVersion(2));
  EXPECT_EQ(message.type, StpBpduType(2));
  const RstpBpduFlags flags(message.flags);
  EXPECT_TRUE(flags.proposal() && flags.learning() && flags.forwarding());
  EXPECT_FALSE(flags.agreement() || flags.masterFlag());
  EXPECT_EQ(flags.portRole(), RstpBpduFlags::PortRole::designated);
  EXPECT_EQ(message.priority.portId(), PortId(PortPriority(32), PortNumber(4095)));
  EXPECT_EQ(message.times.messageAge(), TimerVal(0, 64));
  EXPECT_EQ(message.priority.extRootPathCost(), PathCost(PathCost::linkPathCost10Gbps));
}

TEST_F(BpduTest, MultipleWithTwoInstances) {
  Octets octets(
      "0000 03 02 7c"           // designated, learning, forwarding, agreement
      "1000 00005e005301"       // CIST root
      "000186a0"                // CIST external path cost 100000
      "2000 00005e005303 8007"  // CIST regional root, CIST port
      "0100 1400 0200 0f00"
      "00"    // version 1 length
      "0060"  // version 3 length: 64 and twice 16
      "00"    // format selector
      "6d73742d726567696f6e 00000000000000000000000000000000000000000000"  // "mst-region"
      "0007"                                                               // revision
      "ac36177f50283cd4b83821d8ab26de62"  // the digest of a table that maps all VLANs to the CIST
      "00000fa0"                          // CIST internal root path cost 4000
      "8000 00005e005302"                 // CIST bridge
      "13"                                // 19 hops left
      // Instance 1: role root, forwarding, agreement; its regional root, cost, priorities, hops.
      "78 1001 00005e005303 000007d0 80 80 12"
      // Instance 4094: alternate, master flag and topology change.
      "85 fffe 00005e005302 00000000 f0 10 14");
  Message message = header(octets);
  EXPECT_EQ(octets.u8(), 0);
  EXPECT_EQ(octets.u16(), 64 + 2 * 16);
  EXPECT_EQ(octets.u8(), 0);
  EXPECT_EQ(message.version, StpBpduVersion(3));

  const auto status = statusFactory("s");
  status->mstpConfigNameIs(octets.text(32));
  status->mstpConfigRevisionLevelIs(octets.u16());
  MstpConfigDigest digest;
  for (uint8_t i = 0; i < 16; ++i) digest.rawByteIs(i, octets.u8());
  status->mstpConfigDigestIs(digest);
  message.priority.intRootPathCostIs(PathCost(octets.u32()));
  message.priority.bridgeIdIs(octets.bridgeId());
  message.times.remainingHopsIs(octets.u8());

  const auto stpi = status->stpiStatusIs("mstp");
  const auto into = [&](const char* instance, uint16_t id, uint8_t flags,
                        const PriorityVector& priority, const TimesVector& times) {
    auto port = stpi->mstiStatusIs(instance, InstanceId(id))->mstiPortStatusIs("Ethernet7", 1);
    const RstpBpduFlags octet(flags);
    port->msgPriorityIs(priority);
    port->msgTimesIs(times);
    port->agreedIs(octet.agreement());
    port->masteredIs(octet.masterFlag());
    port->proposedIs(octet.proposal());
    port->rcvdTcIs((octet.value() & 1) != 0);
    port->infoIsIs(MstiPortStatus::InfoStatus::infoReceived);
    return port;
  };
  const auto cist = into("Mst0", 0, message.flags, message.priority, message.times);
  std::vector<Pelmo::Ptr<MstiPortStatus>> ports;
  std::vector<RstpBpduFlags> flags;
  while (octets.left() > 0) {
    flags.emplace_back(octets.u8());
    PriorityVector priority = message.priority;
    priority.regionalRootBridgeIdIs(octets.bridgeId());
    priority.intRootPathCostIs(PathCost(octets.u32()));
    // Only the priorities travel: the rest is the CIST's.
    const uint16_t instance = priority.regionalRootBridgeId().systemId().value();
    priority.bridgeIdIs(bridge(static_cast<uint16_t>((octets.u8() & 0xf0) << 8), instance,
                               message.priority.bridgeId().address()));
    priority.portIdIs({PortPriority(octets.u8() & 0xf0), message.priority.portId().portNumber()});
    TimesVector times = message.times;
    times.remainingHopsIs(octets.u8());
    const std::string name = "Mst" + std::to_string(instance);
    ports.push_back(into(name.c_str(), instance, flags.back().value(), priority, times));
  }
  ASSERT_EQ(ports.size(), 2u);

  EXPECT_EQ(status->mstpConfigName(), "mst-region");
  EXPECT_EQ(status->mstpConfigRevisionLevel(), 7);
  EXPECT_EQ(status->mstpConfigDigest().configDigest0(), 0xac);
  EXPECT_EQ(status->mstpConfigDigest().configDigest15(), 0x62);
  EXPECT_EQ(hexOf(status->mstpConfigDigest()), "ac36177f50283cd4b83821d8ab26de62");

  const std::string cistRoot =
      "1000000000005e005301"
      "000186a0";
  EXPECT_EQ(hexOf(cist->msgPriority()), cistRoot +
                                            "2000000000005e005303"
                                            "00000fa0"
                                            "8000000000005e005302"
                                            "800007");
  EXPECT_EQ(hexOf(cist->msgTimes()), "010014000f00020013");
  EXPECT_TRUE(cist->agreed());
  EXPECT_FALSE(cist->proposed() || cist->mastered() || cist->rcvdTc());

  EXPECT_EQ(hexOf(ports[0]->msgPriority()), cistRoot +
                                                "1000000100005e005303"
                                                "000007d0"
                                                "8000000100005e005302"
                                                "800007");
  EXPECT_EQ(hexOf(ports[0]->msgTimes()), "010014000f00020012");
  EXPECT_EQ(flags[0].portRole(), RstpBpduFlags::PortRole::root);
  EXPECT_TRUE(ports[0]->agreed());

  EXPECT_EQ(hexOf(ports[1]->msgPriority()), cistRoot +
                                                "f0000ffe00005e005302"
                                                "00000000"
                                                "f0000ffe00005e005302"
                                                "100007");
  EXPECT_EQ(ports[1]->msgTimes().remainingHops(), 20);
  EXPECT_EQ(flags[1].portRole(), RstpBpduFlags::PortRole::alternateOrBackup);
  EXPECT_TRUE(ports[1]->mastered() && ports[1]->rcvdTc());
  EXPECT_FALSE(ports[1]->agreed());
  EXPECT_EQ(stpi->mstiStatus("Mst4094")->instanceId(), InstanceId(InstanceId::maxInstanceId));
  EXPECT_LT(ports[0]->msgPriority().regionalRootBridgeId(),
            ports[1]->msgPriority().regionalRootBridgeId());
  EXPECT_EQ(cist->msgPriority().regionalRootBridgeId(), bridge(0x2000, 0, regional));
}

}  // namespace
