// What watch prints, and that its mirror stays equal to the server's tree.
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(line);
  return result;
}

// Without the time in front.
std::string change(const std::string& line) {
  const size_t blank = line.find("  ");
  return blank == std::string::npos ? line : line.substr(blank + 2);
}

TEST(Watch, PrintsEachKindOfChange) {
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  const std::string added = portPath("Ethernet99");
  const auto text = server.watch({"--count", "4"});
  const auto json = server.watch({"/stp/hw/mstiHw/Mst0", "--json", "--count", "3"});
  const auto one = server.watch({port + "/active", "--count", "1"});
  server.output({"set", port, "portState", "learning"});
  server.output({"new", added});
  server.output({"del", added});
  server.output({"set", "/stp/quiesceStatus", "quiesceMode", "true"});

  const Ended printed = text->end();
  EXPECT_EQ(printed.code, 0) << printed.err;
  const std::vector<std::string> expected = {port + "  portState  forwarding -> learning",
                                             "+ " + added, "- " + added,
                                             "/stp/quiesceStatus  quiesceMode  false -> true"};
  ASSERT_EQ(lines(printed.out).size(), expected.size()) << printed.out;
  for (size_t i = 0; i < expected.size(); ++i)
    EXPECT_EQ(change(lines(printed.out)[i]), expected[i]);

  const Ended objects = json->end();
  EXPECT_EQ(objects.code, 0) << objects.err;
  const Json wanted[] = {
      {{"change", "set"},
       {"path", port},
       {"attribute", "portState"},
       {"old", "forwarding"},
       {"new", "learning"}},
      {{"change", "insert"}, {"path", added}},
      {{"change", "remove"}, {"path", added}},
  };
  ASSERT_EQ(lines(objects.out).size(), std::size(wanted)) << objects.out;
  for (size_t i = 0; i < std::size(wanted); ++i) {
    Json object = Json::parse(lines(objects.out)[i]);
    EXPECT_TRUE(object.at("time").get<std::string>().ends_with("Z"));
    object.erase("time");
    EXPECT_EQ(object, wanted[i]);
  }

  EXPECT_EQ(one->out(), "") << "another attribute of the same port";
  server.output({"set", port, "active", "false"});
  const Ended narrow = one->end();
  EXPECT_EQ(narrow.code, 0);
  EXPECT_EQ(change(narrow.out), port + "  active  true -> false\n");
}

TEST(Watch, SurvivesARestartOfTheServer) {
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  EXPECT_EQ(server.run({"watch", "--for", "0.2"}).code, 0);
  const auto watch = server.watch();
  const auto counting = server.watch({"--count", "1"});
  // A line for each loss and each return.
  const std::string line = "stptool: " + server.socket() + ": ";
  std::string told = "stptool: watching everything on " + server.socket() + "\n";
  for (int restart = 0; restart < 2; ++restart) {
    server.kill();
    told += line + "the connection has ended: end of stream; it is made again when the server is " +
            "back\n";
    ASSERT_TRUE(watch->complains(told)) << watch->err();
    server.restart();
    told += line + "connected again; the mirror is up to date\n";
    ASSERT_TRUE(watch->complains(told)) << watch->err();
    EXPECT_EQ(watch->out(), "") << "what stayed as it was is not told";
  }
  server.output({"set", port, "active", "false"});
  EXPECT_EQ(counting->end().code, 0);
  const Ended ended = watch->stop();
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(change(ended.out), port + "  active  true -> false\n");
  EXPECT_EQ(ended.err, told);
}

}  // namespace
