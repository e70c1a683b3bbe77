// Text of values: exact forms, errors that name the field, ranges, streams with a mind of their
// own.
#include <iomanip>
#include <locale>
#include <sstream>

#include "Stp/StpConfig.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpStatus.h"
#include "Stp/StpTypes.h"
#include "Support.h"

namespace {

using namespace Stp;

class Grouping : public std::numpunct<char> {
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
  char do_decimal_point() const override { return ','; }
};

template <class T>
std::string printed(const T& value) {
  std::ostringstream plain;
  plain << value;
  // The stream's base, precision and locale change nothing; its width is for the whole, once.
  std::ostringstream odd;
  odd.imbue(std::locale(std::locale::classic(), new Grouping));
  odd << std::hex << std::showbase << std::showpos << std::uppercase << std::setfill('*')
      << std::setprecision(1) << std::fixed << std::setw(static_cast<int>(plain.str().size()) + 3)
      << value << '|';
  EXPECT_EQ(odd.str(), "***" + plain.str() + "|");
  EXPECT_EQ(text(Tovo::ValueOpsOf<T>::table, &value), plain.str());
  return plain.str();
}

TEST(Text, ExactForms) {
  EXPECT_EQ(printed(BridgePriority(32768)), "32768");
  EXPECT_EQ(printed(PortPriority(255)), "255");
  EXPECT_EQ(printed(PathCost(4294967295)), "4294967295");
  EXPECT_EQ(printed(StpBpduVersion(65)), "65");
  EXPECT_EQ(printed(RstpBpduFlags(0x7e)), "126");
  EXPECT_EQ(printed(PortId(PortPriority(128), PortNumber(5))),
            "Value('Stp::PortId', portPriority=128, portNumber=5)");
  const BridgeId bridge(BridgePriority(4096), BridgeSystemId(10),
                        Nelka::EthAddr("00:00:5e:00:53:aa"));
  EXPECT_EQ(printed(bridge),
            "Value('Stp::BridgeId', priority=4096, systemId=10, address=00:00:5e:00:53:aa)");
  EXPECT_EQ(printed(TimesVector()),
            "Value('Stp::TimesVector', messageAge=Value('Stp::TimerVal', seconds=0, fraction=0), "
            "maxAge=Value('Stp::TimerVal', seconds=0, fraction=0), "
            "fwdDelay=Value('Stp::TimerVal', seconds=0, fraction=0), "
            "helloTime=Value('Stp::TimerVal', seconds=0, fraction=0), remainingHops=0)");
  EXPECT_EQ(printed(Constants()), "Value('Stp::Constants')");
  EXPECT_EQ(printed(VlanIdOrRange()), "Value('Stp::VlanIdOrRange', single=1)");
  MstConfigSpec spec;
  spec.regionIdIs("it's \\ a\nregion");
  spec.vidToMstiMapIs(std::string("\0\xff", 2));
  EXPECT_EQ(printed(spec),
            "Value('Stp::MstConfigSpec', regionId='it\\'s \\\\ a\\x0aregion', configRevision=0, "
            "vidToMstiMap='\\x00\\xff')");
  PortCounters counters;
  counters.bpduTxIs(1234567);
  counters.timestampIs(0.1);
  EXPECT_EQ(printed(counters),
            "Value('Stp::PortCounters', bpduTx=1234567, bpduRx=0, bpduTaggedError=0, "
            "bpduOtherError=0, timestamp=0.1)");
  EXPECT_EQ(printed(InterfaceConfig()),
            "Value('Stp::InterfaceConfig', name=, linkType=None, edgePort=EDGE_AUTO, "
            "bpduGuard=None)");
  OCMstiConfig msti;
  msti.vlanPush({});
  msti.vlanPush({});
  EXPECT_EQ(printed(msti),
            "Value('Stp::OCMstiConfig', mstId=0, bridgePriority=32768, "
            "vlan=[Value('Stp::VlanIdOrRange', single=1), Value('Stp::VlanIdOrRange', single=1)])");
  EXPECT_EQ(printed(OCGlobalConfigContainer()),
            "Value('Stp::OCGlobalConfigContainer', enabledProtocol=[], bpduGuard=false, "
            "disabledVlan=[])");
}

TEST(Text, ErrorsNameTheField) {
  const std::string zeros = "00:00:00:00:00:00";
  const std::string bridge =
      "Value('Stp::BridgeId', priority=0, systemId=0, address=" + zeros + ")";
  const std::string portNumber =
      "Stp::PortNumber::value < Stp::PortNumber::min or > "
      "Stp::PortNumber::max not allowed";
  struct Row {
    const char* type;
    std::string text;
    std::string field;
    std::string message;  // how it begins; empty: not looked at
  };
  const Row rows[] = {
      {"Stp::PathCost", "x", "value", "expected a decimal number at character 0, found 'x'"},
      {"Stp::PathCost", "", "value", ""},
      {"Stp::PathCost", "-1", "value", ""},
      {"Stp::PathCost", " 1", "value", ""},
      {"Stp::PathCost", "0x10", "", "expected the end of the text"},
      {"Stp::PathCost", "4294967296", "value",
       "the number 4294967296 at character 0 is above 4294967295"},
      {"Stp::PortPriority", "256", "value", "the number 256 at character 0 is above 255"},
      {"Stp::PortId", "Value('Stp::PortId', portPriority=1, portNumber=4096)", "portNumber",
       portNumber},
      {"Stp::PortId", "Value('Stp::PortId', portPriority=300, portNumber=1)", "portPriority.value",
       "the number 300 at character 34 is above 255"},
      {"Stp::PortId", "Value('Stp::BridgeId', portPriority=1, portNumber=1)", "",
       "expected \"Value('Stp::PortId', portPriority=\" at character 0"},
      {"Stp::PortId", "Value('Stp::PortId', portPriority=1, portNumbr=1)", "",
       "expected \", portNumber=\" at character 35"},
      {"Stp::PortId", "Value('Stp::PortId', portPriority=1, portNumber=1", "",
       "expected ')' at character 49, found the end of the text"},
      {"Stp::PriorityVector",
       "Value('Stp::PriorityVector', cistRootBridgeId=" + bridge + ", extRootPathCost=1, " +
           "regionalRootBridgeId=" + bridge + ", intRootPathCost=1, bridgeId=" + bridge +
           ", portId=Value('Stp::PortId', portPriority=1, portNumber=4096))",
       "portId.portNumber", portNumber},
      {"Stp::PriorityVector",
       "Value('Stp::PriorityVector', cistRootBridgeId=Value('Stp::BridgeId', priority=61441",
       "cistRootBridgeId.priority",
       "Stp::BridgePriority::value < Stp::BridgePriority::minBridgePriority or > "
       "Stp::BridgePriority::maxBridgePriority not allowed"},
      {"Stp::BridgeId", "Value('Stp::BridgeId', priority=0, systemId=0, address=00:00)", "address",
       ""},
      {"Stp::OCMstiConfig", "Value('Stp::OCMstiConfig', mstId=0, bridgePriority=61441, vlan=[])",
       "bridgePriority", "Stp::OCBridgePriority::value < 0 or > 61440 not allowed"},
      {"Stp::MstiCounters",
       "Value('Stp::MstiCounters', blockedPortCount=0, listenPortCount=0, learningPortCount=0, "
       "forwardingPortCount=0) ",
       "", "expected the end of the text at character 109"},
      {"Stp::InterfaceConfig",
       "Value('Stp::InterfaceConfig', name=Ethernet1, linkType=p2p, edgePort=None, bpduGuard=None)",
       "linkType", "'p2p' is not a literal of Stp::OcStpLinkType; allowed are P2P (0), SHARED (1)"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const Tovo::TovoTypeBase type = typeNamed(row.type);
    alignas(16) unsigned char room[256];
    try {
      genericIf(type).methods->genericIfStrepToValue(type, row.text, room);
      ADD_FAILURE();
    } catch (const Tovo::RangeException& error) {
      EXPECT_EQ(error.field(), row.field);
      EXPECT_EQ(error.message().substr(0, row.message.size()), row.message);
      EXPECT_EQ(error.what(), (row.field.empty() ? "" : row.field + ": ") + error.message());
    }
  }
}

// ------------------------------------------------------------------------------------------ ranges

// Set, constructed and parsed, the same bounds hold; from the log any number comes in.
template <class T>
void expectRange(uint16_t high, const char* message) {
  SCOPED_TRACE(message);
  const uint16_t above = static_cast<uint16_t>(high + 1);
  EXPECT_EQ(T(high).value(), high);
  EXPECT_EQ(T(uint16_t{4095}).value(), 4095);
  EXPECT_EQ(rangeError([&] { T{above}; }), message);
  EXPECT_EQ(rangeError([&] { Tovo::strepToValue<T>(std::to_string(above)); }), message);
  EXPECT_EQ(Tovo::strepToValue<T>(std::to_string(high)).value(), high);
  const void* arguments[] = {&above};
  alignas(16) unsigned char room[16];
  EXPECT_EQ(rangeError([&] {
              Tovo::TypeImpl<T>::genericIfConstructFromCtorArgs(
                  room, Tovo::ConstructorArguments(arguments));
            }),
            message);
  T logged = fromHex<T>("ffff");
  EXPECT_EQ(logged.value(), 65535);
  if constexpr (requires { logged.valueIs(uint16_t{0}); }) {
    logged.valueIs(65535);
    EXPECT_EQ(rangeError([&] { logged.valueIs(65534); }), message);
    EXPECT_EQ(logged.value(), 65535);
    const uint16_t same = 65535;
    EXPECT_EQ(attributeOp(T::tovoStaticType(), nullptr, &logged, 2, 1, nullptr, &same), 0);
    EXPECT_EQ(rangeError([&] {
                attributeOp(T::tovoStaticType(), nullptr, &logged, 2, 1, nullptr, &above);
              }),
              message);
    EXPECT_EQ(logged.value(), 65535);
    logged.valueIs(high);
    EXPECT_EQ(logged.value(), high);
  } else {
    EXPECT_EQ(attributeOp(T::tovoStaticType(), nullptr, &logged, 2, 1, nullptr, &high), 1);
  }
}

TEST(Text, RangesOfValues) {
  expectRange<BridgePriority>(61440,
                              "Stp::BridgePriority::value < Stp::BridgePriority::minBridgePriority "
                              "or > Stp::BridgePriority::maxBridgePriority not allowed");
  expectRange<PortNumber>(4095,
                          "Stp::PortNumber::value < Stp::PortNumber::min or > "
                          "Stp::PortNumber::max not allowed");
  expectRange<InstanceId>(4095,
                          "Stp::InstanceId::value < Stp::InstanceId::minInstanceId or > "
                          "Stp::InstanceId::maxInternalInstanceId not allowed");
  expectRange<OCBridgePriority>(61440, "Stp::OCBridgePriority::value < 0 or > 61440 not allowed");
  // Not a multiple of 4096, and yet a priority; ports have any priority at all.
  EXPECT_EQ(BridgePriority(4097).value(), 4097);
  EXPECT_EQ(OCBridgePriority(4097).value(), 4097);
  EXPECT_EQ(Tovo::strepToValue<PortPriority>("255").value(), 255);
  EXPECT_EQ(Tovo::strepToValue<PathCost>("0").value(), 0u);
  EXPECT_EQ(InstanceId(7).hash(), 7u);
  uint32_t hash = 0;
  InstanceId instance(4095);
  EXPECT_EQ(attributeOp(InstanceId::tovoStaticType(), &hash, &instance, 3, 0), 0);
  EXPECT_EQ(hash, 4095u);
}

// Lists forbid these to be read from text; asking is an error of the program.
TEST(Text, ContainersCannotBeRead) {
  const AssertionsThrow guard;
  const auto assertion = [](const char* type) -> std::string {
    alignas(16) unsigned char room[256];
    try {
      genericIf(typeNamed(type)).methods->genericIfStrepToValue(typeNamed(type), "x", room);
    } catch (const Tovo::AssertionError& error) {
      return error.what();
    }
    return "none";
  };
  EXPECT_NE(assertion("Stp::OCGlobalConfigContainer")
                .find("'false && \"No String constructor for OCGlobalConfigContainer - has "
                      "collection\"' failed in Stp/StpConfig:"),
            std::string::npos);
  EXPECT_NE(assertion("Stp::OCGlobalStateContainer")
                .find("'false && \"No String constructor for OCGlobalStateContainer - has "
                      "collection\"' failed in Stp/StpStatus:"),
            std::string::npos);
}

}  // namespace
