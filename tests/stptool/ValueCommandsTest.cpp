// Single values on the command line: text, fields and bytes.
#include <gtest/gtest.h>

#include <algorithm>

#include "Holds.h"
#include "Tovo/Inspect.h"
#include "Tovo/Module.h"
#include "stptool/json/Json.h"
#include "stptool/model/ModelLibrary.h"
#include "stptool/model/ShortText.h"
#include "stptool/output/Failure.h"
#include "stptool/text/Hex.h"

namespace stptool {
namespace {

const char* const portId = "Value('Stp::PortId', portPriority=128, portNumber=5)";
const char* const bridgeId =
    "Value('Stp::BridgeId', priority=32768, systemId=1, address=00:00:5e:00:53:01)";

TEST(Parse, ShowsFieldsAndWhatIsSeenInThem) {
  const Ended record = runTool({"parse", "Stp::PortId", portId});
  EXPECT_EQ(record.code, 0) << record.err;
  EXPECT_EQ(record.out, std::string(portId) + "\n  portPriority  128\n  portNumber    5\n");
  const Ended flags = runTool({"parse", "RstpBpduFlags", "124"});  // 0x7c
  EXPECT_EQ(flags.out,
            "124\n  value       124\n  proposal    false\n  portRole    designated\n"
            "  learning    true\n  forwarding  true\n  agreement   true\n  masterFlag  false\n");
  EXPECT_EQ(runTool({"parse", "PortState", "learning"}).out, "learning\n");
  const Ended held = runTool({"parse", "VlanIdOrRange", "Value('Stp::VlanIdOrRange', range=2-9)"});
  EXPECT_TRUE(holds(held.out, "range           2-9\n"));
  EXPECT_EQ(held.out.find("single "), std::string::npos) << "an alternative that is not held";
}

struct Coded {
  const char* type;
  std::string text;
  const char* hex;
};

// The bytes are those of the log: big-endian, unpadded.
const Coded coded[] = {
    {"Stp::PathCost", "2000", "00 00 07 d0"},
    {"Stp::PortId", portId, "80 00 05"},
    {"Stp::BridgeId", bridgeId, "80 00 00 01 00 00 5e 00 53 01"},
    {"Stp::Version", "none", "ff ff ff ff"},
    {"Stp::PortState", "forwarding", "02"},
    {"Stp::MstConfigSpec",
     "Value('Stp::MstConfigSpec', regionId='ab', configRevision=7, vidToMstiMap='\\x00')",
     "00 00 00 02 61 62 00 07 00 00 00 01 00"},
};

TEST(EncodeAndDecode, AreTheLogForm) {
  for (const Coded& value : coded) {
    SCOPED_TRACE(value.type);
    EXPECT_EQ(runTool({"encode", value.type, value.text}).out, std::string(value.hex) + "\n");
    EXPECT_EQ(runTool({"decode", value.type, value.hex}).out, value.text + "\n");
  }
  EXPECT_EQ(runTool({"decode", "PortId", "80:00", "05"}).out, std::string(portId) + "\n");
  EXPECT_EQ(runTool({"decode", "PortId", "800005"}).out, std::string(portId) + "\n");
  const Json json = Json::parse(runTool({"encode", "PortId", portId, "--json"}).out);
  EXPECT_EQ(json, Json::parse(runTool({"decode", "PortId", "800005", "--json"}).out));
  EXPECT_EQ(json, Json::parse(runTool({"parse", "PortId", portId, "--json"}).out));
  EXPECT_EQ(json.at("hex"), "80 00 05");
  EXPECT_EQ(json.at("value").dump(), R"({"portPriority":128,"portNumber":5})");
}

struct Refused {
  std::vector<std::string> arguments;
  std::vector<std::string> inMessage;
};

TEST(ValueCommands, RefuseInOneLineWithPlaceAndReason) {
  const Refused cases[] = {
      {{"parse", "Stp::PortState", "blocking"}, {"Stp::PortState: 'blocking'", "forwarding (2)"}},
      {{"parse", "PathCost", "20x"}, {"character 2", "found 'x'"}},
      {{"parse", "PathCost", "-1"}, {"-1"}},
      {{"parse", "PathCost", ""}, {"Stp::PathCost: ''", "allowed: 0 to 4294967295"}},
      {{"parse", "BridgePriority", "61441"}, {"'61441' is refused", "allowed: 0 to 61440"}},
      {{"parse", "PortId", "Value('Stp::PortId', portPriority=1, portNumber=4096)"},
       {"portNumber", "Stp::PortNumber::max"}},
      {{"parse", "OCGlobalConfigContainer", "x"}, {"cannot be parsed"}},
      {{"parse", "Stp::Hw", "x"}, {"Stp::Hw is an entity type"}},
      {{"encode", "PotId", "x"}, {"did you mean 'Stp::PortId'?"}},
      {{"decode", "PortId", "80 00"}, {"byte 0", "3 bytes", "2 follow"}},
      {{"decode", "PortId", "80 00 05 06"}, {"byte 3", "1 byte"}},
      {{"decode", "PortId", "80 00 0g"}, {"byte 2: 'g'"}},
      {{"decode", "PortId", "80 0 05"}, {"byte 1: lacks its second"}},
      {{"decode", "PortId"}, {"byte 0"}},
      {{"decode", "MstConfigSpec", "ff ff ff ff 61"}, {"byte"}},
      {{"decode", "OCGlobalConfigContainer", "ff ff ff ff"}, {"byte"}},
  };
  for (const Refused& wrong : cases) {
    const Ended ended = runTool(wrong.arguments);
    SCOPED_TRACE(wrong.arguments.back());
    EXPECT_NE(ended.code, 0);
    EXPECT_EQ(ended.out, "");
    EXPECT_TRUE(ended.err.starts_with("stptool: ")) << ended.err;
    EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    for (const std::string& part : wrong.inMessage) EXPECT_TRUE(holds(ended.err, part));
  }
}

TEST(Hex, TakesPairsHoweverTheyAreSeparated) {
  const std::vector<uint8_t> bytes = {0x00, 0xab, 0xff};
  for (const char* text : {"00abff", "00 AB fF", "00:ab:ff", " 00ab\tff\n"}) {
    EXPECT_EQ(bytesOfHex(text), bytes) << text;
  }
  EXPECT_EQ(hexText(bytes), "00 ab ff");
  EXPECT_TRUE(bytesOfHex(" ").empty());
  EXPECT_THROW(bytesOfHex("0"), Failure);
}

std::string shortOf(const std::string& typeName, const std::string& text) {
  const Tovo::TovoTypeBase type = Tovo::typeByName(typeName);
  EXPECT_TRUE(type) << typeName;
  const ValueShape shape = shapeOf(type);
  Tovo::ValueBuffer value(*shape.ops);
  Tovo::CharRange range(text);
  value.parse(range);
  return shortText(shape, value.get());
}

TEST(ShortText, IsWhatPeopleWrite) {
  loadModelLibraries({});
  EXPECT_EQ(shortOf("Stp::PortId", portId), "128.5");
  EXPECT_EQ(shortOf("Stp::BridgeId", bridgeId), "32768.1.00:00:5e:00:53:01");
  EXPECT_EQ(shortOf("Stp::TimerVal", "Value('Stp::TimerVal', seconds=20, fraction=0)"), "20.0");
  EXPECT_EQ(shortOf("Stp::PathCost", "2000"), "2000");
  const ValueShape digest = shapeOf(Tovo::typeByName("Stp::MstpConfigDigest"));
  Tovo::ValueBuffer zeros(*digest.ops);
  zeros.constructDefault();
  EXPECT_EQ(shortText(digest, zeros.get()), std::string(32, '0'));
  EXPECT_EQ(shortOf("Stp::MstConfigSpec",
                    "Value('Stp::MstConfigSpec', regionId='two words', configRevision=7, "
                    "vidToMstiMap='')"),
            "regionId='two words' configRevision=7 vidToMstiMap=''");
  EXPECT_EQ(shortOf("Stp::VlanIdOrRange", "Value('Stp::VlanIdOrRange', range=2-9)"), "2-9");
}

}  // namespace
}  // namespace stptool
