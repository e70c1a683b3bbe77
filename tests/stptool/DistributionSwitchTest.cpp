// The configuration input of a distribution switch, from a file through edits to a mirror.
#include <gtest/gtest.h>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;

const char* const input = "/stp/input/cli";

class DistributionSwitch : public testing::Test {
 protected:
  DistributionSwitch() : server_({EXAMPLES "/distribution-switch.json"}) {}

  Json config(const RunningServer& server) const {
    return Json::parse(server.dump()).at("mounts").at(input);
  }

  RunningServer server_;
};

TEST_F(DistributionSwitch, HoldsWhatTheFileSaysAndDefaultsElsewhere) {
  const Json file = Json::parse(readFile(EXAMPLES "/distribution-switch.json"));
  const Json config = this->config(server_);
  // Every member of the file is in the tree, with the same value.
  const Json patched = [&] {
    Json merged = config;
    merged.merge_patch(file.at("mounts").at(input));
    return merged;
  }();
  EXPECT_TRUE(patched == config) << Json::diff(config, patched).dump();
  EXPECT_EQ(config.at("stpiConfig").at("Mstp").at("mstiConfig").size(), 4u) << "the CIST and three";
  EXPECT_EQ(server_.output({"get", std::string(input) + "/disabledVlan[4094]"}), "true\n");
  EXPECT_EQ(server_.output({"get", input, "maxHops"}), "20\n") << "a default";
}

TEST_F(DistributionSwitch, IsEditedAtTwoLevelsAndMirroredWhole) {
  const std::unique_ptr<Tool> mirror =
      server_.start({"watch", "--dump-at-end", server_.folder().file("mirror.json")});
  ASSERT_TRUE(mirror->complains("watching")) << mirror->err();

  const std::string in = input;
  const std::string instance = in + "/stpiConfig/Mstp/mstiConfig/Mst4";
  const std::vector<std::vector<std::string>> edits = {
      // the bridge
      {"set", in, "maxAge", "30", "bridgeHelloTime", "1000"},
      {"set", in, "disabledVlan[4003]", "true"},
      {"set", in, "mstConfigSpec",
       "Value('Stp::MstConfigSpec', regionId='campus-west', configRevision=8, vidToMstiMap='')"},
      {"del", in + "/disabledVlan/4094"},
      // its ports
      {"set", in + "/portConfig/Ethernet25", "guard", "loopguardEnabled", "portPriority", "64"},
      {"new", in + "/portConfig/Ethernet49"},
      {"del", in + "/portConfig/Ethernet24"},
      // an instance that comes, one that goes with its ports, and a pair that goes
      {"new", instance, "4"},
      {"set", instance, "bridgePriority", "61440"},
      {"new", instance + "/mstiPortConfig/Ethernet49"},
      {"set", instance + "/mstiPortConfig/Ethernet49", "intPathCost", "200"},
      {"del", in + "/stpiConfig/Mstp/mstiConfig/Mst3"},
      {"del", in + "/backupToBackupIntfConfig/Ethernet42"},
      {"del", in + "/backupIntfConfig/Ethernet41"},
  };
  for (const auto& edit : edits) EXPECT_EQ(server_.output(edit), "") << edit[1];

  EXPECT_TRUE(mirror->says("- " + in + "/backupIntfConfig/Ethernet41")) << mirror->out();
  const std::string served = server_.dump();
  EXPECT_EQ(mirror->stop().code, 0);
  EXPECT_EQ(readFile(server_.folder().file("mirror.json")), served);

  const Json config = Json::parse(served).at("mounts").at(input);
  EXPECT_EQ(config.at("maxAge"), 30);
  EXPECT_EQ(config.at("mstConfigSpec").at("regionId"), "campus-west");
  EXPECT_FALSE(config.at("disabledVlan").contains("4094"));
  EXPECT_EQ(config.at("portConfig").at("Ethernet25").at("portPriority"), 64);
  EXPECT_FALSE(config.at("portConfig").contains("Ethernet24"));
  const Json& instances = config.at("stpiConfig").at("Mstp").at("mstiConfig");
  EXPECT_FALSE(instances.contains("Mst3"));
  EXPECT_EQ(instances.at("Mst4").at("bridgePriority"), 61440);
  EXPECT_EQ(instances.at("Mst4").at("mstiPortConfig").at("Ethernet49").at("portPriority"), 255)
      << "not set, which is not the 128 of a port";

  RunningServer again({server_.folder().write("again.json", served)});
  EXPECT_EQ(again.dump(), served);
}

TEST_F(DistributionSwitch, KeepsItsValuesWhenAnEditIsRefused) {
  const std::string before = server_.dump();
  const std::string in = input;
  const std::vector<std::vector<std::string>> refused = {
      {"set", in, "maxHops", "10", "maxAge", "41"},
      {"set", in, "bridgeHelloTime", "2"},  // milliseconds, not seconds
      {"set", in, "defaultForceProtocolVersion", "rstp"},
      {"set", in + "/stpiConfig/Mstp/mstiConfig/Mst1", "bridgePriority", "61441"},
      {"new", in + "/stpiConfig/Mstp/mstiConfig/Mst5", "4096"},
      {"new", in + "/stpiConfig/Mstp/mstiConfig/Mst5"},
  };
  for (const auto& edit : refused) EXPECT_NE(server_.run(edit).code, 0) << edit[1] << edit.back();
  EXPECT_EQ(server_.dump(), before);
}

}  // namespace
