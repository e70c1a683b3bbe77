// The commands on a live tree, and what each kind of wrong input gets.
#include <gtest/gtest.h>

#include <algorithm>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;
using Arguments = std::vector<std::string>;

std::string joined(const Arguments& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text += argument + " ";
  return text;
}

bool isOneLine(const std::string& text) {
  return text.ends_with('\n') && std::count(text.begin(), text.end(), '\n') == 1;
}

TEST(Types, ListsModulesAndDescribesOneType) {
  const Ended all = runTool({"types"});
  EXPECT_EQ(all.code, 0) << all.err;
  EXPECT_TRUE(holds(all.out, "StpHw  32be5a5bd5db8b19\n"));
  EXPECT_TRUE(holds(all.out, "entity  Stp::MstiPortHw"));

  const Ended port = runTool({"types", "MstiPortHw"});  // namespaces may be left out
  EXPECT_EQ(port.code, 0) << port.err;
  EXPECT_TRUE(holds(port.out, "258  attr"));
  EXPECT_TRUE(holds(port.out, "discarding")) << "the default";

  const Ended digest = runTool({"types", "Stp::MstpConfigDigest", "--json"});
  const Json octets = Json::parse(digest.out).at("attributes").back();
  EXPECT_EQ(octets.at("name"), "rawByte");
  EXPECT_EQ(octets.at("key"), "u8") << "the index";

  const Ended state = runTool({"types", "Stp::PortState", "--json"});
  const Json literals = Json::parse(state.out).at("literals");
  EXPECT_EQ(literals.dump(), R"([{"name":"discarding","value":0},{"name":"learning","value":1},)"
                             R"({"name":"forwarding","value":2}])");
}

TEST(Types, ShowsRangesWithTheirUnits) {
  const Ended ended = runTool({"types", "Stp::ConfigBase"});
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_TRUE(holds(ended.out, "6 to 40 s"));
  EXPECT_TRUE(holds(ended.out, "200 to 10000 ms"));
}

struct Refused {
  Arguments arguments;
  int code;
  std::vector<std::string> inMessage;
};

TEST(Commands, RefuseWhatIsWrongInOneLineAndChangeNothing) {
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  const std::string before = server.dump();
  const Refused cases[] = {
      // a path
      {{"get", "/stp/hv"}, 1, {"/stp/hv: nothing is mounted", "did you mean '/stp/hw'?"}},
      {{"get", "stp"}, 1, {"stp: nothing is mounted there"}},
      {{"get", "/stp/hwx"}, 1, {"/stp/hwx: nothing is mounted there; did you mean '/stp/hw'?"}},
      {{"get", "/stp/hw/mstiHw/Mst9"}, 1, {"/stp/hw/mstiHw", "'Mst9'", "Mst0, Mst1, Mst2, Mst3"}},
      {{"get", "/stp/hw/mstihw"}, 1, {"'mstihw'", "mstiHw"}},
      {{"get", port + "/portState/x"}, 1, {"portState"}},
      {{"get", "/stp/hw/mstiHw[Mst0"}, 1, {"bracket"}},
      {{"tree", "/stp/nothing"}, 1, {"/stp/nothing"}},
      {{"dump", "/stp/hw/mstiHw/Mst9"}, 1, {"Mst9"}},
      {{"watch", "/stp/hw/mstiHw/Mst9", "--count", "1"}, 1, {"Mst9"}},
      // an attribute
      {{"get", port, "portstate"}, 1, {port, "'portstate'", "did you mean 'portState'?"}},
      {{"set", port, "protState", "learning"}, 1, {port, "did you mean 'portState'?"}},
      {{"set", port, "name", "Ethernet2"}, 1, {port + "/name", "fixed"}},
      {{"set", "/stp/hw", "mstiHw", "x"}, 1, {"/stp/hw/mstiHw", "collection"}},
      {{"set", "/stp/hw", "mstiHw/Mst0", "x"}, 1, {"/stp/hw", "is an entity"}},
      // a value
      {{"set", port, "portState", "blocking"},
       1,
       {port + ": portState: 'blocking' is refused", "discarding (0)", "forwarding (2)"}},
      {{"set", port, "portState", "2"}, 1, {"portState: '2'", "forwarding (2)"}},
      {{"set", port, "portState", "learning "}, 1, {"portState: 'learning '"}},
      {{"set", port, "active", "yes"}, 1, {"active: 'yes'", "allowed: true or false"}},
      {{"set", "/stp/protoStatus", "overrideCount", "4294967296"}, 1, {"4294967296", "4294967295"}},
      {{"new", "/stp/s", "Stp::StpiPortStatus", "inf"}, 1, {"creationTime: 'inf'", "finite"}},
      {{"set", "/stp/protoStatus", "overrideCount", "-1"}, 1, {"'-1'", "0 to 4294967295"}},
      {{"set", "/stp/protoStatus", "overrideCount", ""}, 1, {"''", "0 to 4294967295"}},
      // one of several: the right ones are not set either
      {{"set", port, "active", "false", "portState", "blocking"}, 1, {"portState: 'blocking'"}},
      {{"set", port, "active", "false", "portState"}, 2, {"no value"}},
      // elements
      {{"new", port}, 1, {port + ": exists already"}},
      {{"new", portPath("Ethernet99"), "extra"}, 2, {"made with nothing but its name"}},
      {{"new", "/stp/hw/mstiHw"}, 1, {"names no element"}},
      {{"new", "/stp/other"}, 2, {"/stp/other", "TYPE"}},
      {{"new", "/stp/other", "Stp::Nothing"}, 1, {"Stp::Nothing"}},
      {{"new", "/stp/other", "Stp::PortState"}, 1, {"Stp::PortState"}},
      {{"new", "/stp", "Stp::Hw"}, 1, {"the server refuses: ", "/stp"}},
      {{"del", portPath("Ethernet99")}, 1, {"Ethernet99"}},
      {{"del", port + "/portState"}, 1, {"portState"}},
      {{"del", "/stp/nothing"}, 1, {"/stp/nothing: nothing is mounted there"}},
      // usage
      {{"get"}, 2, {"PATH"}},
      {{"tree", "--depth", "x"}, 2, {"--depth"}},
      {{"tree", "--depht", "1"}, 2, {"--depht"}},
      {{"types", "Stp::PortSate"}, 1, {"did you mean 'Stp::PortState'?"}},
      {{"graph", "--types", "Stp::PortId"}, 1, {"Stp::PortId is no entity type"}},
      {{"graph", "--types", "Stp::Confg"}, 1, {"did you mean 'Stp::Config'?"}},
      {{"graph", "--types", "--svg", "--dot"}, 2, {"--dot"}},
  };
  for (const Refused& wrong : cases) {
    SCOPED_TRACE(joined(wrong.arguments));
    const bool isAlone =
        wrong.arguments[0] == "types" || wrong.arguments[1 % wrong.arguments.size()] == "--types";
    const Ended ended = isAlone ? runTool(wrong.arguments) : server.run(wrong.arguments);
    EXPECT_EQ(ended.code, wrong.code);
    EXPECT_EQ(ended.out, "");
    EXPECT_TRUE(ended.err.starts_with("stptool: ") && isOneLine(ended.err)) << ended.err;
    for (const std::string& part : wrong.inMessage) EXPECT_TRUE(holds(ended.err, part));
  }
  EXPECT_EQ(server.dump(), before);
  EXPECT_EQ(server.tool().stop().err, "");
}

// A root of a type that the server knows and the tool does not.
TEST(Commands, LeaveOutWhatNoLibraryDescribes) {
  RunningServer server;
  const Arguments libraries{"--library", STP_LIBRARY, "--library", SAMPLE_LIBRARY};
  server.tool().stop();
  server.restart(libraries);
  Arguments create{"new", "/stp/chassis", "Sample::Chassis"};
  create.insert(create.end(), libraries.begin(), libraries.end());
  EXPECT_EQ(server.output(create), "");
  const std::string port = portPath("Ethernet1");
  const std::string file = server.folder().file("some.rec");
  const std::string known = server.folder().write("hw.json", server.output({"dump", "/stp/hw"}));
  const std::string is =
      "/stp/chassis: is a Sample::Chassis, which no model library here describes";
  for (const Arguments& arguments : {Arguments{"tree"},
                                     {"dump"},
                                     {"graph"},
                                     {"load", known},
                                     {"watch", "--for", "0"},
                                     {"record", file, "--for", "0"},
                                     {"set", port, "active", "true"},
                                     {"get", port, "portState"}}) {
    SCOPED_TRACE(joined(arguments));
    const Ended ended = server.run(arguments);
    EXPECT_EQ(ended.code, 0) << ended.err;
    const bool isAlone = arguments[1 % arguments.size()] == port;  // it refers to nothing
    const size_t at = ended.err.find("stptool: " + is + "; it is left out\n");
    EXPECT_EQ(at == std::string::npos, isAlone) << ended.err;
    EXPECT_EQ(ended.err.find(is, at + 20), std::string::npos) << "twice";
  }
  EXPECT_EQ(runTool({"decode", file}).code, 0);
  const Ended asked = server.run({"tree", "/stp/chassis"});
  EXPECT_EQ(asked.code, 1);
  EXPECT_TRUE(holds(asked.err, is + "; --library loads one"));

  // One that comes later is told to whoever follows, once.
  const auto watch = server.watch();
  create[1] = "/stp/later";
  EXPECT_EQ(server.output(create), "");
  EXPECT_TRUE(watch->complains("/stp/later: is a Sample::Chassis"));
  server.output({"set", port, "portState", "discarding"});
  EXPECT_TRUE(watch->says("portState  forwarding -> discarding"));
}

// What would change how a line looks is escaped wherever it comes from.
TEST(Commands, ShowNothingThatATerminalWouldObey) {
  const std::string turned =
      "\xe2\x80\xae"
      "dab";
  const TemporaryFolder folder;
  const std::string file = folder.write(
      turned, R"({"mounts": {"/a)" + turned + R"(": {"type": "Stp::Config", "bridgeName": ")" +
                  turned + R"(", "backupIntfConfig": {")" + turned +
                  R"(": {"backupIntfName": ""}}}}})");
  RunningServer server({file});
  const std::string path = "/a" + turned;
  const std::string element = path + "/backupIntfConfig/" + turned;
  std::string all;
  for (const Arguments& arguments : {Arguments{"tree"},
                                     {"tree", "--json"},
                                     {"dump"},
                                     {"graph"},
                                     {"graph", "--json"},
                                     {"get", path},
                                     {"get", path, "bridgeName"},
                                     {"get", path + "/backupIntfConfig"},
                                     {"get", "--json", path, "bridgeName"},
                                     {"get", path + "/nothing"},
                                     {"get", element},
                                     {"set", "--json", path, "bridgeName", "x"},
                                     {"status"},
                                     {"load", file + "2"},
                                     {"load", "--json", file + "2"},
                                     {"watch", "--for", "0", path}}) {
    const Ended ended = server.run(arguments);
    EXPECT_EQ((ended.out + ended.err).find("\xe2\x80\xae"), std::string::npos)
        << joined(arguments) << ended.out << ended.err;
    all += ended.out + ended.err;
  }
  EXPECT_TRUE(holds(all, "\\xe2\\x80\\xaedab"));
  EXPECT_TRUE(holds(all, "\\u202edab"));
}

TEST(Commands, NeedAServerAndSayWhenThereIsNone) {
  const TemporaryFolder folder;
  for (const std::string& socket :
       {folder.file("none"), folder.write("file", ""), std::string(200, 'x'), std::string()}) {
    const Ended ended = runTool({"tree", "--socket", socket});
    EXPECT_EQ(ended.code, socket.empty() ? ended.code : 3) << socket;
    EXPECT_NE(ended.code, 0);
    EXPECT_TRUE(isOneLine(ended.err)) << ended.err;
  }
  for (const Arguments& wrong : {Arguments{"tree"}, {"graph"}, {}, {"nonsense"}}) {
    EXPECT_EQ(runTool(wrong).code, 2) << joined(wrong);
  }
  EXPECT_TRUE(complains(runTool({"types", "--library", folder.file("none.so")}), 1, "none.so"));
}

TEST(Get, AnswersForPeopleAndForScripts) {
  RunningServer server;
  const std::string port = portPath("Ethernet7");
  EXPECT_EQ(server.output({"get", port, "portState"}), "discarding\n");
  EXPECT_EQ(server.output({"get", port + "/active"}), "false\n");
  EXPECT_EQ(server.output({"get", port, "active", "portState"}),
            "active     false\nportState  discarding\n");
  EXPECT_EQ(server.output({"get", "/stp/hw", "name"}), "hw\n");
  EXPECT_EQ(server.output({"get", "/stp/hw/mstiHw"}), "Mst0\nMst1\nMst2\nMst3\n");
  EXPECT_EQ(Json::parse(server.output({"get", "--json", port})).dump(),
            R"({"portState":"discarding","active":false})");
  EXPECT_EQ(server.output({"get", "--json", port + "/active"}), "false\n");
}

TEST(Tree, ShowsElementsInNaturalOrderDownToADepth) {
  RunningServer server;
  const std::string tree = server.output({"tree"});
  const size_t second = tree.find("Ethernet2 ");
  const size_t tenth = tree.find("Ethernet10 ");
  EXPECT_LT(second, tenth);
  EXPECT_TRUE(holds(tree, "Ethernet10     forwarding  yes\n"));
  EXPECT_TRUE(holds(tree, "/stp/quiesceStatus  Stp::QuiesceStatus\n"));

  const std::string shallow = server.output({"tree", "/stp/hw", "--depth", "1"});
  EXPECT_TRUE(holds(shallow, "Mst3"));
  EXPECT_EQ(shallow.find("Ethernet1"), std::string::npos);
}

TEST(Writes, TakeEffectForEveryOtherClient) {
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  EXPECT_EQ(server.output({"set", port, "portState", "learning", "active", "false"}), "");
  EXPECT_EQ(server.output({"get", port, "portState"}), "learning\n");
  EXPECT_EQ(server.output({"get", port, "active"}), "false\n");

  const std::string odd = "/stp/hw/mstiHw/Mst0/mstiPortHw[Ethernet3/1]";
  EXPECT_EQ(server.output({"new", odd}), "");
  EXPECT_EQ(server.output({"set", odd, "portState", "forwarding"}), "");
  EXPECT_EQ(server.output({"get", odd, "portState"}), "forwarding\n");
  EXPECT_EQ(Json::parse(server.output({"del", odd, "--json"})), (Json{{"deleted", odd}}));
  EXPECT_EQ(server.run({"get", odd}).code, 1);
  EXPECT_EQ(server.output({"del", "/stp/hw/mstiHw/Mst3"}), "") << "with all its ports";
  EXPECT_EQ(server.output({"get", "/stp/hw/mstiHw"}), "Mst0\nMst1\nMst2\n");

  EXPECT_EQ(server.output({"new", "/stp/second", "Stp::Hw"}), "");
  EXPECT_EQ(server.output({"new", "/stp/second/mstiHw/Mst0"}), "");
  EXPECT_EQ(server.output({"get", "/stp/second/mstiHw"}), "Mst0\n");
  EXPECT_EQ(server.output({"del", "/stp/second"}), "");
  EXPECT_EQ(server.run({"get", "/stp/second"}).code, 1);

  EXPECT_EQ(server.run({"new", "/stp/instance", "Stp::MstiStatus"}).code, 2) << "its number";
  EXPECT_EQ(server.output({"new", "/stp/instance", "Stp::MstiStatus", "7"}), "");
  EXPECT_EQ(server.output({"get", "/stp/instance", "instanceId"}), "7\n");
  EXPECT_EQ(server.run({"set", "/stp/instance", "rootPort", "Ethernet1"}).err,
            "stptool: /stp/instance: rootPort: 'Ethernet1' is refused: nothing is mounted at "
            "'Ethernet1'; mounted: /stp/hw, /stp/instance, /stp/protoStatus, /stp/quiesceStatus; "
            "allowed: None or the path of a Stp::MstiPortStatus; default: None\n");
  const std::string root = "/stp/instance/mstiPortStatus/Ethernet1";
  EXPECT_EQ(server.run({"new", root, "-1"}).err,
            "stptool: " + root +
                ": enabledNonce: '-1' is refused: expected a decimal number at character 0, found "
                "'-1'; allowed: 0 to 4294967295\n");
  EXPECT_EQ(server.output({"new", root, "1"}), "");
  EXPECT_EQ(server.output({"set", "/stp/instance", "rootPort", root}), "");
  EXPECT_EQ(server.output({"set", "/stp/instance", "rootPort", "None"}), "");
}

TEST(Output, EndsQuietlyWhenTheReaderGoes) {
  const std::string command =
      std::string("'") + STPTOOL + "' types 2>&1 | true; echo \"${PIPESTATUS[0]}\"";
  const TemporaryFolder folder;
  const std::string script = folder.write("script", command + " >" + folder.file("code") + "\n");
  EXPECT_EQ(std::system(("bash " + script).c_str()), 0);
  EXPECT_EQ(readFile(folder.file("code")), "0\n");
}

}  // namespace
