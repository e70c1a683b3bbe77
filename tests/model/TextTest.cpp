// Text of values: streams with a mind of their own, errors that name the field, ranges.
#include <iomanip>
#include <locale>
#include <sstream>

#include "Stp/StpConfig.h"
#include "Stp/StpOpenConfigMstp.h"
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
  return plain.str();
}

TEST(Text, GoesIntoAnyStreamAsItIs) {
  EXPECT_EQ(printed(PathCost(4294967295)), "4294967295");
  EXPECT_EQ(printed(RstpBpduFlags(0x7e)), "126");
  EXPECT_EQ(printed(BridgeId(4096, 10, Nelka::EthAddr("00:00:5e:00:53:aa"))),
            "Value('Stp::BridgeId', priority=4096, systemId=10, address=00:00:5e:00:53:aa)");
  EXPECT_EQ(printed(VlanIdOrRange()), "Value('Stp::VlanIdOrRange', single=1)");
  EXPECT_EQ(printed(OCGlobalConfigContainer()),
            "Value('Stp::OCGlobalConfigContainer', enabledProtocol=[], bpduGuard=false, "
            "disabledVlan=[])");
}

TEST(Text, ErrorsNameTheField) {
  struct Row {
    const char* type;
    std::string text;
    std::string field;
    std::string message;  // how it begins
  };
  const Row rows[] = {
      {"Stp::PathCost", "4294967296", "value",
       "the number 4294967296 at character 0 is above 4294967295"},
      {"Stp::PortId", "Value('Stp::PortId', portPriority=300, portNumber=1)", "portPriority.value",
       "the number 300 at character 34 is above 255"},
      {"Stp::PriorityVector",
       "Value('Stp::PriorityVector', cistRootBridgeId=Value('Stp::BridgeId', priority=61441",
       "cistRootBridgeId.priority",
       "Stp::BridgePriority::value < Stp::BridgePriority::minBridgePriority or > "
       "Stp::BridgePriority::maxBridgePriority not allowed"},
      {"Stp::OCMstiConfig", "Value('Stp::OCMstiConfig', mstId=0, bridgePriority=61441, vlan=[])",
       "bridgePriority", "Stp::OCBridgePriority::value < 0 or > 61440 not allowed"},
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

// Set, constructed and parsed, the same bounds hold; from the log any number comes in.
template <class T>
void expectRange(uint16_t high) {
  const Tovo::TovoTypeBase type = T::tovoStaticType();
  SCOPED_TRACE(typeName(type));
  const std::string message = attributeById(type, 2).detail().rangeMessage;
  const uint16_t above = static_cast<uint16_t>(high + 1);
  EXPECT_EQ(T(high).value(), high);
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
  const auto reflected = [&](uint16_t number) {
    return attributeOp(type, nullptr, &logged, 2, 1, nullptr, &number);
  };
  if constexpr (requires { logged.valueIs(uint16_t{0}); }) {
    logged.valueIs(65535);
    EXPECT_EQ(rangeError([&] { logged.valueIs(65534); }), message);
    EXPECT_EQ(reflected(65535), 0);
    EXPECT_EQ(rangeError([&] { reflected(above); }), message);
    EXPECT_EQ(logged.value(), 65535);
    logged.valueIs(high);
    EXPECT_EQ(logged.value(), high);
  } else {
    EXPECT_EQ(reflected(high), 1);
  }
}

TEST(Text, RangesOfValues) {
  expectRange<BridgePriority>(61440);
  expectRange<PortNumber>(4095);
  expectRange<InstanceId>(4095);
  expectRange<OCBridgePriority>(61440);
  // Not a multiple of 4096, and yet a priority; ports have any priority at all.
  EXPECT_EQ(BridgePriority(4097).value(), 4097);
  EXPECT_EQ(Tovo::strepToValue<PortPriority>("255").value(), 255);
  EXPECT_EQ(Tovo::strepToValue<PathCost>("0").value(), 0u);
  uint32_t hash = 0;
  InstanceId instance(4095);
  EXPECT_EQ(attributeOp(InstanceId::tovoStaticType(), &hash, &instance, 3, 0), 0);
  EXPECT_EQ(hash, 4095u);
}

}  // namespace
