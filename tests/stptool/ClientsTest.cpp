// The server outlives whatever its clients do, and looks after its socket.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <list>
#include <random>

#include "RunningServer.h"

namespace {

TEST(Server, SurvivesGarbageAndTellsIt) {
  RunningServer server;
  const std::string before = server.dump();
  std::mt19937 random(1);
  for (int round = 0; round < 40; ++round) {
    const RawClient client(server.socket());
    std::string bytes(1 + random() % 3000, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    // Also what looks like a short message, and like one of four gigabytes.
    if (round % 4 == 1) bytes = std::string(200, '\0');
    if (round % 4 == 2) bytes = std::string(200, '\xff');
    client.send(bytes);
    client.finishSending();
    EXPECT_TRUE(client.isClosedByServer()) << "round " << round;
  }
  EXPECT_EQ(server.dump(), before);
  EXPECT_TRUE(server.tool().complains("stptool: client "));
  EXPECT_EQ(server.tool().stop().code, 0);
}

TEST(Server, SurvivesTheSameBytesCutAnywhere) {
  RunningServer server;
  // What a greeting and more looks like is learnt from the server: it greets first or answers.
  const RawClient listener(server.socket());
  for (size_t length = 0; length < 64; length += 3) {
    const RawClient client(server.socket());
    client.send(std::string("\0\0\0\x10", 4) + std::string(length, '\x01'));
  }
  EXPECT_EQ(server.run({"get", "/stp/hw", "name"}).code, 0);
  EXPECT_EQ(server.tool().stop().code, 0);
}

TEST(Server, ServesOthersWhileSomeSayNothing) {
  RunningServer server;
  std::list<RawClient> silent;
  for (int i = 0; i < 20; ++i) silent.emplace_back(server.socket());
  for (RawClient& client : silent) client.finishSending();  // half-open
  std::list<RawClient> mute;
  for (int i = 0; i < 20; ++i) mute.emplace_back(server.socket());
  EXPECT_EQ(server.output({"get", portPath("Ethernet1"), "portState"}), "forwarding\n");
  EXPECT_EQ(server.tool().stop().code, 0);
}

TEST(Server, SurvivesClientsThatAreKilledOrStopped) {
  RunningServer server;
  for (int round = 0; round < 5; ++round) {
    const auto watch = server.start({"watch"});
    ASSERT_TRUE(watch->complains("watching")) << watch->err();
    const auto stalled = server.start({"watch"});
    ASSERT_TRUE(stalled->complains("watching"));
    stalled->signal(SIGSTOP);
    server.output({"set", portPath("Ethernet1"), "active", round % 2 == 0 ? "false" : "true"});
    watch->signal(SIGKILL);
    EXPECT_EQ(watch->end().code, -SIGKILL);
    stalled->signal(SIGKILL);
  }
  // Killed while the tree is on its way.
  for (int round = 0; round < 10; ++round) server.start({"dump"})->signal(SIGKILL);
  EXPECT_EQ(server.output({"get", portPath("Ethernet1"), "active"}), "false\n");
  const Ended ended = server.tool().stop();
  EXPECT_EQ(ended.code, 0);
}

TEST(Server, TakesCareOfItsSocket) {
  RunningServer server;
  struct stat status {};
  ASSERT_EQ(lstat(server.socket().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);

  const Ended second = runTool({"serve", "--socket", server.socket()});
  EXPECT_EQ(second.code, 1);
  EXPECT_NE(second.err.find(server.socket() + ": is in use"), std::string::npos) << second.err;
  EXPECT_EQ(server.run({"get", "/stp/hw", "name"}).code, 0) << "the first one is not disturbed";

  // Killed, it leaves the file; the next one takes it over.
  server.tool().signal(SIGKILL);
  server.tool().end();
  EXPECT_EQ(server.run({"tree"}).code, 3);
  Tool next({"serve", "--socket", server.socket()});
  EXPECT_TRUE(next.says("serving 0 entities on " + server.socket())) << next.err();
  EXPECT_EQ(server.run({"tree"}).code, 0);
  EXPECT_EQ(next.stop().code, 0);
  EXPECT_NE(access(server.socket().c_str(), F_OK), 0) << "it left its socket behind";

  const std::string file = server.folder().write("file", "precious");
  const Ended refused = runTool({"serve", "--socket", file});
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("is no socket"), std::string::npos) << refused.err;
  EXPECT_EQ(readFile(file), "precious");
}

}  // namespace
