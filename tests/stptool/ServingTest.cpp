// How programs that go on and on start, are told to stop, and bear what others do to them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <list>
#include <thread>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;

// A FIFO with a reader that reads nothing, and no room.
class StuckFifo {
 public:
  StuckFifo(const std::string& path, bool isFull = true) {
    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
    fd_ = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    while (isFull && ::write(fd_, "................", 16) > 0) {
    }
  }
  ~StuckFifo() { ::close(fd_); }
  StuckFifo(const StuckFifo&) = delete;
  StuckFifo& operator=(const StuckFifo&) = delete;

 private:
  int fd_;
};

bool isThere(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

// Waits until it has so many connections.
void awaitConnections(const RunningServer& server, size_t count) {
  for (int tries = 0; tries < 300; ++tries) {
    const Json status = Json::parse(server.output({"status", "--json"}));
    if (status.at("connections").size() == count + 1) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  ADD_FAILURE() << "no " << count << " connections";
}

TEST(Serving, IsNotHeldUpByWhoDoesNotReadWhatItSays) {
  const TemporaryFolder folder;
  const std::string socket = folder.file("socket");
  const StuckFifo stuck(folder.file("fifo"));
  Tool server(Tool::Script{"exec \"$STPTOOL\" serve --load " EXAMPLE " --socket " + socket + " > " +
                           folder.file("fifo") + " 2>&1"});
  const std::vector<std::string> get{"get",  "/stp/hw",           "name", "--socket",
                                     socket, "--connect-timeout", "20"};
  EXPECT_EQ(runTool(get).code, 0);
  for (int i = 0; i < 40; ++i) {
    EXPECT_TRUE(isRefused(socket, std::string(200, '\xff')));
  }
  EXPECT_EQ(runTool(get).code, 0);
  EXPECT_EQ(server.stop().code, 0);
  EXPECT_FALSE(isThere(socket));
}

TEST(Serving, EndsInOrderByEachSignal) {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    RunningServer server;
    const std::string file = server.folder().file("some.rec");
    const auto record = server.start({"record", file});
    ASSERT_TRUE(record->complains("recording everything"));
    record->signal(number);
    EXPECT_EQ(record->end().code, 0) << number;
    EXPECT_TRUE(holds(runTool({"decode", file}).out, "end  stopped by a signal\n"));
    server.tool().signal(number);
    EXPECT_EQ(server.tool().end().code, 0) << number;
    EXPECT_FALSE(isThere(server.socket())) << number;
    EXPECT_TRUE(isThere(server.dumpFile())) << number;
  }
  // As nohup starts it.
  const TemporaryFolder folder;
  const std::string socket = folder.file("socket");
  Tool server(Tool::Script{"trap '' HUP; exec \"$STPTOOL\" serve --socket " + socket});
  ASSERT_TRUE(server.says("serving"));
  server.signal(SIGHUP);
  EXPECT_EQ(runTool({"tree", "--socket", socket}).code, 0);
  EXPECT_EQ(server.stop().code, 0);
}

TEST(Serving, NoWaitForAPipeIsDeafToSignals) {
  RunningServer server;
  const std::string recording = server.folder().file("some.rec");
  ASSERT_EQ(server.run({"record", recording, "--until-idle", "0.2"}).code, 0);
  const std::string full = server.folder().file("full");
  const StuckFifo stuck(full);
  const std::string silent = server.folder().file("silent");
  const StuckFifo other(silent, false);
  const std::string lonely = server.folder().file("lonely");
  ASSERT_EQ(::mkfifo(lonely.c_str(), 0600), 0);
  const std::string tool = "exec \"$STPTOOL\" ";
  const std::string into = " --into " + server.socket();
  const std::string on = " --socket " + server.socket();
  const struct {
    const char* what;
    std::string script;
    int code;
  } cases[] = {
      {"a file whose reader never comes", tool + "record --force " + lonely + on, 1},
      {"a file whose reader takes nothing", tool + "record --force " + full + on, 1},
      {"a recording whose writer never comes", tool + "replay " + lonely + into, 0},
      {"a recording that stops", tool + "replay - --fast" + into + " < " + silent, 0},
      {"messages that nobody reads", tool + "record --force /dev/null" + on + " 2> " + full, 0},
      {"changes that nobody reads", tool + "watch" + on + " > " + full, 0},
  };
  for (const auto& [what, script, code] : cases) {
    Tool stuckTool(Tool::Script{script});
    awaitConnections(server, 1);
    server.output({"set", portPath("Ethernet1"), "active", code == 0 ? "false" : "true"});
    server.output({"set", portPath("Ethernet1"), "active", code == 0 ? "true" : "false"});
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_EQ(stuckTool.stop().code, code) << what << ": " << stuckTool.err();
  }
}

TEST(Serving, ClientsBeyondTheLimitAreTurnedAwayInWords) {
  const struct {
    std::vector<std::string> options;
    std::string reason;
  } cases[] = {
      {{"--max-clients", "2"}, "the server has 2 clients, as many as it takes"},
      {{"--max-clients-per-user", "2"},
       "uid " + std::to_string(::geteuid()) + " has 2 connections, as many as one user may have"},
  };
  RunningServer server;
  for (const auto& [options, reason] : cases) {
    server.tool().stop();
    server.restart(options);
    const auto first = server.watch();
    const auto second = server.watch();
    for (int i = 0; i < 5; ++i) {
      EXPECT_TRUE(complains(server.run({"get", "/stp/hw", "name"}), 3, reason));
    }
    EXPECT_TRUE(server.tool().complains("is turned away: " + reason));
    EXPECT_EQ(first->stop().code, 0);
    EXPECT_EQ(Json::parse(server.output({"status", "--json"})).at("turnedAway"), 5);
    EXPECT_EQ(second->stop().code, 0);
  }
}

TEST(Serving, MemoryOfAllClientsAndOfOneUserIsBounded) {
  const struct {
    std::vector<std::string> options;
    std::string whose;
  } cases[] = {
      {{"--max-memory-per-user", "3"}, "uid " + std::to_string(::geteuid())},
      {{"--max-memory", "3"}, "all clients"},
  };
  RunningServer server;
  const std::string large = server.folder().write(
      "large.json", R"({"mounts": {"/stp/large": {"type": "Stp::Config", "bridgeName": ")" +
                        std::string(5 << 20, 'x') + R"("}}})");
  for (const auto& [options, whose] : cases) {
    server.tool().stop();
    server.restart(options);
    EXPECT_TRUE(complains(server.run({"load", large}), 1, whose));
    const Json status = Json::parse(server.output({"status", "--json"}));
    EXPECT_GT(status.at("mostBytes"), 500'000);
    EXPECT_LE(status.at("mostBytes"), 3 << 20);
    EXPECT_LT(status.at("bytes"), 500'000) << "what the burst took is given back";
    EXPECT_EQ(status.at("users").at(0).at("bytes"), status.at("bytes"));
  }
}

TEST(Serving, SaysWhenNoDescriptorIsLeft) {
#if defined(__SANITIZE_ADDRESS__)
  GTEST_SKIP() << "the sanitizer needs descriptors for its own checks";
#endif
  const TemporaryFolder folder;
  const std::string socket = folder.file("socket");
  Tool server(Tool::Script{"ulimit -n 24; exec \"$STPTOOL\" serve --socket " + socket});
  ASSERT_TRUE(server.says("serving"));
  const std::vector<std::string> tree{"tree", "--socket", socket};
  {
    std::list<RawSocket> many(30);
    for (RawSocket& each : many) each.connect(socket);
    EXPECT_TRUE(complains(runTool(tree), 3, "the server has no descriptor left"));
  }
  EXPECT_EQ(runTool(tree).code, 0);
  EXPECT_EQ(server.stop().code, 0);
}

TEST(Readiness, ClientsWaitForAServerThatIsToCome) {
  const TemporaryFolder folder;
  const std::string socket = folder.file("socket");
  const Ended absent = runTool({"tree", "--socket", socket, "--connect-timeout", "0.2"});
  EXPECT_EQ(absent.code, 3);
  EXPECT_TRUE(holds(absent.err, "No such file or directory; is 'stptool serve' running?"));
  Tool tree({"tree", "--socket", socket, "--connect-timeout", "20"});
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  Tool server({"serve", "--socket", socket});
  EXPECT_EQ(tree.end().code, 0) << tree.err();
  // The file of a dead server is one that the next one takes over.
  server.signal(SIGKILL);
  server.end();
  Tool again({"tree", "--socket", socket, "--connect-timeout", "20"});
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  Tool next({"serve", "--socket", socket});
  EXPECT_EQ(again.end().code, 0) << again.err();
}

TEST(Readiness, IsToldToWhoeverStartedIt) {
  const TemporaryFolder folder;
  const std::string socket = folder.file("socket");
  const std::vector<std::string> tree{"tree", "--socket", socket, "--connect-timeout", "0"};
  for (const std::string& name : {folder.file("notify"), "@" + folder.file("notify")}) {
    RawSocket manager(SOCK_DGRAM);  // where a service manager listens
    manager.bind(name);
    Tool server(
        Tool::Script{"NOTIFY_SOCKET=" + name + " exec \"$STPTOOL\" serve --socket " + socket});
    EXPECT_EQ(manager.receive(), "READY=1\n");
    EXPECT_EQ(runTool(tree).code, 0);
    server.signal(SIGTERM);
    EXPECT_EQ(manager.receive(), "STOPPING=1\n");
    EXPECT_EQ(server.end().code, 0);
  }
  const std::string serve = "exec \"$STPTOOL\" serve --socket " + socket;
  {
    Tool server(Tool::Script{serve + " --ready-fd 4 4>" + folder.file("ready")});
    for (int i = 0; i < 1000 && readFile(folder.file("ready")) != "ready\n"; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(runTool(tree).code, 0);
    EXPECT_FALSE(isThere("/proc/" + std::to_string(server.pid()) + "/fd/4"));
  }
  EXPECT_TRUE(complains(Tool(Tool::Script{serve + " --ready-fd 4 4</dev/null"}).end(), 1,
                        "descriptor 4 is not open for writing"));
  // Nobody to be told is no reason not to serve.
  Tool server(Tool::Script{"NOTIFY_SOCKET=/nowhere/notify " + serve});
  EXPECT_TRUE(server.complains("'/nowhere/notify' cannot be told: No such file")) << server.err();
  EXPECT_EQ(server.stop().code, 0);
}

TEST(Readiness, SocketsOfAServiceManagerAreServedAndLeft) {
  const TemporaryFolder folder;
  const std::string socket = folder.file("socket");
  RawSocket listening;
  listening.bind(socket);
  listening.listen(8);
  ::fcntl(listening.fd(), F_SETFD, 0);  // the server gets it
  const std::string passed = "LISTEN_PID=$$ LISTEN_FDS=1 LISTEN_FDNAMES=trees exec \"$STPTOOL\" ";
  const std::string from = " 3<&" + std::to_string(listening.fd());
  const std::string second = folder.file("second");
  for (const std::string& also : {std::string(), socket, second}) {
    // It waits in the queue until somebody serves.
    Tool early({"tree", "--socket", socket});
    Tool server(Tool::Script{passed + "serve" + (also.empty() ? "" : " --socket " + also) + from});
    EXPECT_TRUE(server.says("serving 0 entities on " + socket + "\n")) << server.err();
    EXPECT_EQ(early.end().code, 0) << early.err();
    EXPECT_EQ(runTool({"tree", "--socket", also.empty() ? socket : also}).code, 0);
    EXPECT_EQ(server.stop().code, 0);
    EXPECT_TRUE(isThere(socket));
    EXPECT_FALSE(isThere(second));
  }
  EXPECT_TRUE(complains(Tool(Tool::Script{passed + "serve 3</dev/null"}).end(), 1,
                        "LISTEN_FDS: 'trees': descriptor 3 is no Unix stream socket that listens"));
  EXPECT_EQ(Tool(Tool::Script{"LISTEN_PID=1 LISTEN_FDS=1 exec \"$STPTOOL\" serve"}).end().code, 2);
}

TEST(Readiness, ClosedStandardStreamsStayStandardStreams) {
  const TemporaryFolder folder;
  const std::string socket = folder.file("socket");
  ASSERT_EQ(::mkfifo(folder.file("in").c_str(), 0600), 0);
  // The agent goes on while it has input.
  const std::string agent = AGENT " " + socket + " <> " + folder.file("in");
  const std::string serve = "\"$STPTOOL\" serve --socket " + socket;
  for (const std::string& program :
       {serve + " 0<&-", serve + " 1>&-", serve + " 2>&-", serve + " 0<&- 1>&- 2>&-",
        agent + " 1>&-", agent + " 1>&- 2>&-"}) {
    Tool server(Tool::Script{"exec " + program});
    const Ended watch =
        runTool({"watch", "--socket", socket, "--connect-timeout", "20", "--for", "0.1"});
    EXPECT_EQ(watch.code, 0) << program << watch.err;
    for (const char* fd : {"0", "1", "2"}) {
      const std::string place = "/proc/" + std::to_string(server.pid()) + "/fd/" + fd;
      std::error_code error;
      const std::string is = std::filesystem::read_symlink(place, error).string();
      EXPECT_TRUE(is.starts_with("/")) << program << ": " << fd << " is " << is;
    }
    EXPECT_EQ(server.stop().code, 0) << program;
  }
}

}  // namespace
