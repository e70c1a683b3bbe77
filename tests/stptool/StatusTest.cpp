// What a server says of itself and its connections.
#include <gtest/gtest.h>
#include <unistd.h>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;

TEST(Status, CountsWhatHappens) {
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  const auto watch = server.watch();
  server.output({"set", port, "active", "false"});
  EXPECT_EQ(server.run({"new", "/stp", "Stp::Hw"}).code, 1);
  EXPECT_TRUE(isRefused(server.socket(), std::string(200, '\xff')));
  const Json status = Json::parse(server.output({"status", "--json"}));
  EXPECT_EQ(status.at("socket"), server.socket());
  EXPECT_EQ(status.at("accepted"), 5);
  EXPECT_EQ(status.at("refused"), 1) << "of a connection that has ended";
  EXPECT_EQ(status.at("closed").at("message-size"), 1);
  ASSERT_EQ(status.at("connections").size(), 2u) << status;
  const Json& watching = status.at("connections").at(0);
  EXPECT_EQ(watching.at("number"), 1);
  EXPECT_EQ(watching.at("pid"), watch->pid());
  EXPECT_EQ(watching.at("uid"), ::geteuid());
  EXPECT_EQ(watching.at("mounts").size(), status.at("roots"));
  for (const Json& mount : watching.at("mounts")) EXPECT_EQ(mount.at("readOnly"), true);
  EXPECT_GT(watching.at("entities"), 100);
  EXPECT_EQ(watching.at("dirtyAttributes"), 0);
  EXPECT_GT(watching.at("messagesOut"), watching.at("entities"));
  EXPECT_GT(watching.at("turnsOut"), 1);
  EXPECT_GT(watching.at("bytesOut"), 1000);

  const std::string text = server.output({"status"});
  EXPECT_EQ(text.find(server.socket() + ": pid "), 0u);
  EXPECT_TRUE(holds(text, "1 message-size"));
  EXPECT_TRUE(holds(text, "/stp/hw"));
}

}  // namespace
