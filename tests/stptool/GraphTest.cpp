// Pictures of the model and of live trees.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;

std::string titleOf(const Json& graph, size_t node) {
  return graph.at("nodes").at(node).at("title");
}

// "Stp::Hw owns mstiHw[String] Stp::MstiHw".
std::vector<std::string> edgesOf(const Json& graph) {
  std::vector<std::string> edges;
  for (const Json& edge : graph.at("edges")) {
    edges.push_back(titleOf(graph, edge.at("from")) + " " + edge.at("kind").get<std::string>() +
                    " " + edge.at("label").get<std::string>() + " " +
                    titleOf(graph, edge.at("to")));
  }
  return edges;
}

bool has(const std::vector<std::string>& edges, const std::string& edge) {
  return std::find(edges.begin(), edges.end(), edge) != edges.end();
}

Json typesOf(const std::vector<std::string>& arguments) {
  std::vector<std::string> all{"graph", "--json", "--types"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const Ended ended = runTool(all);
  EXPECT_EQ(ended.code, 0) << ended.err;
  return Json::parse(ended.out);
}

TEST(TypeGraph, FollowsContainmentBasesAndReferences) {
  const std::vector<std::string> edges = edgesOf(typesOf({"Stp::Config"}));
  for (const char* edge : {"Stp::Config derives is a Stp::ConfigBase",
                           "Stp::ConfigBase owns backupIntfConfig[String] Stp::BackupIntfConfig",
                           "Stp::StpiConfig owns mstiConfig[String] Stp::MstiConfig",
                           "Stp::StpiPortConfig refers mstiPortConfig[Stp::InstanceId] "
                           "Stp::MstiPortConfig"}) {
    EXPECT_TRUE(has(edges, edge)) << edge;
  }
  EXPECT_EQ(edgesOf(typesOf({"QuiesceConfig"})),
            std::vector<std::string>{"Stp::QuiesceConfig refers stpConfig Stp::Config"});
}

TEST(TypeGraph, HasEveryEntityTypeOnce) {
  std::set<std::string> titles;
  const Json graph = typesOf({});
  for (const Json& node : graph.at("nodes")) {
    EXPECT_TRUE(titles.insert(node.at("title")).second) << node;
  }
  const Json types = Json::parse(runTool({"types", "--json"}).out);
  size_t entities = 0;
  for (const Json& module : types) {
    for (const Json& type : module.at("types")) {
      if (type.at("kind") != "entity") continue;
      ++entities;
      EXPECT_TRUE(titles.count(type.at("name"))) << type.at("name");
    }
  }
  EXPECT_EQ(titles.size(), entities);
}

TEST(LiveGraph, ColoursStatesAndMarksWhatPointersLeadTo) {
  const TemporaryFolder folder;
  RunningServer server({folder.write("status.json", R"({"mounts": {"/s": {
    "type": "Stp::Status", "name": "s", "stpiStatus": {"Mstp": {"mstiStatus": {"Mst1": {
      "instanceId": 1, "rootPort": "/s/stpiStatus/Mstp/mstiStatus/Mst1/mstiPortStatus/a<&\"b",
      "mstiPortStatus": {
        "a<&\"b": {"enabledNonce": 0, "state": "forwarding"},
        "c": {"enabledNonce": 0, "state": "learning"},
        "d": {"enabledNonce": 0}}}}}}}}})")});
  const std::string instance = "/s/stpiStatus/Mstp/mstiStatus/Mst1";
  const Json graph = Json::parse(server.output({"graph", instance, "--json"}));
  ASSERT_EQ(graph.at("nodes").size(), 4u) << graph;
  const Json& root = graph.at("nodes").at(1);
  EXPECT_EQ(root.at("title"), "a<&\"b");
  EXPECT_EQ(root.at("detail"), "forwarding, rootPort");
  EXPECT_EQ(root.at("prominent"), true);
  EXPECT_TRUE(has(edgesOf(graph), instance + " refers rootPort a<&\"b")) << graph;
  std::set<std::string> fills;
  for (size_t port = 1; port < 4; ++port) fills.insert(graph.at("nodes").at(port).at("fill"));
  EXPECT_EQ(fills.size(), 3u) << "a colour for each state";

  EXPECT_TRUE(
      holds(server.output({"graph", instance}), R"([label="a<&\"b\nforwarding, rootPort")"));
  const std::string svg = server.output({"graph", "--svg"});
  EXPECT_TRUE(holds(svg, ">a&lt;&amp;&quot;b</text>"));
  EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
}

}  // namespace
