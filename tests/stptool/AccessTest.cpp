// Who may connect, and who may write.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

#include "RunningServer.h"
#include "agents/service/WriteAccess.h"

namespace {

namespace fs = std::filesystem;
using service::PeerCredentials;
using service::WriteAccess;

TEST(Access, OfUsersAndGroups) {
  const struct {
    std::vector<std::string> rules;
    service::PeerCredentials peer;
    bool allowed;
  } cases[] = {
      {{}, {1, 0, 0, {}}, true},
      {{}, {1, 4000000002, 7, {0}}, true},
      {{}, {1, 1001, 1000, {0, 1000}}, false},
      {{"uid:1001"}, {1, 1001, 5, {}}, true},
      {{"uid:1001"}, {1, 1002, 1001, {1001}}, false},
      {{"gid:50"}, {1, 50, 5, {}}, false},
      {{"gid:50"}, {1, 1002, 50, {}}, true},
      {{"gid:50", "uid:3"}, {1, 1002, 5, {49, 50}}, true},
      {{"uid:root"}, {1, 1002, 0, {}}, false},
      {{"gid:root"}, {1, 1002, 0, {}}, true},
  };
  for (const auto& [rules, peer, allowed] : cases) {
    service::WriteAccess access(4000000002);
    for (const std::string& rule : rules) access.allow(rule);
    EXPECT_EQ(access.allows(peer), allowed)
        << peer.uid << " " << peer.gid << " with " << (rules.empty() ? "" : rules[0]);
  }
  service::WriteAccess access(4000000002);
  access.allow("gid:4000000000");
  for (const char* wrong : {"", "1000", "uid:", "gid:", "pid:1", "uid:4294967295", "uid:-1",
                            "gid:no-such-group", "uid:no-such-user"}) {
    EXPECT_THROW(access.allow(wrong), std::invalid_argument) << wrong;
  }
  EXPECT_EQ(
      access.refusal({1, 4000000001, 5, {}}),
      "uid 4000000001 may not write here; allowed: uid 0 (root), uid 4000000002, gid 4000000000");
}

// The build may lie where only its owner gets at. Returns the tool's path.
std::string copyForAll(const fs::path& folder) {
  const fs::path program = folder / "bin" / "stptool";
  const auto copy = [](const fs::path& from, const fs::path& to) {
    fs::copy(from, to);
    fs::permissions(to, fs::perms(0755));
  };
  fs::create_directory(program.parent_path());
  fs::create_directory(folder / "lib");
  copy(STPTOOL, program);
  for (const auto& entry : fs::directory_iterator(fs::path(STPTOOL).parent_path() / "../lib")) {
    const std::string name = entry.path().filename().string();
    if (name.find(".so") != std::string::npos) copy(entry.path(), folder / "lib" / name);
  }
  return program.string();
}

// Another user reads and is told why it may not write. Only root can become another user.
TEST(Access, OthersReadAndAreToldWhy) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root";
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  const std::string folder = server.socket().substr(0, server.socket().rfind('/'));
  ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
  const std::string program = copyForAll(folder);
  const auto as = [&](uid_t user, gid_t group, const std::vector<std::string>& command) {
    return server.start(command, Tool::User{user, group, program})->end();
  };
  EXPECT_EQ(as(65534, 65534, {"get", port, "portState"}).code, 3) << "the mode is 0600";
  server.tool().stop();
  server.restart({"--mode", "0666", "--allow-write", "gid:60001", "--allow-write", "uid:60002"});
  const std::vector<std::string> write{"set", port, "portState", "learning"};
  EXPECT_EQ(as(65534, 65534, {"get", port, "portState"}).out, "forwarding\n");
  const Ended refused = as(65534, 65534, write);
  EXPECT_TRUE(complains(refused, 1, "is mounted read-only: uid 65534"));
  EXPECT_TRUE(holds(refused.err, "gid 60001"));
  EXPECT_EQ(server.output({"get", port, "portState"}), "forwarding\n");
  EXPECT_EQ(as(65534, 60001, write).code, 0);
  EXPECT_EQ(as(60002, 60002, {"set", port, "portState", "discarding"}).code, 0);
  EXPECT_EQ(server.output({"get", port, "portState"}), "discarding\n");
}

TEST(Access, WrongOptionsAreUsageErrors) {
  for (const std::vector<std::string>& wrong : {std::vector<std::string>{"--allow-write", "1000"},
                                                {"--mode", "0888"},
                                                {"--mode", "7777"}}) {
    std::vector<std::string> arguments{"serve", "--socket", "unused"};
    arguments.insert(arguments.end(), wrong.begin(), wrong.end());
    EXPECT_EQ(runTool(arguments).code, 2) << wrong[1];
  }
}

}  // namespace
