// What a program that serves is made of: its log, its signals, its socket, its clients.
#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "RunningServer.h"
#include "agents/service/ListeningSocket.h"
#include "agents/service/Log.h"
#include "agents/service/PeerCredentials.h"
#include "agents/service/Server.h"
#include "agents/service/StopSignals.h"

namespace {

using namespace service;

struct Pipe {
  Pipe() { EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0); }
  ~Pipe() {
    ::close(ends[0]);
    ::close(ends[1]);
  }
  int ends[2];
};

// What arrives until it is quiet for a second.
std::string readQuiet(int fd) {
  std::string text;
  char bytes[4096];
  for (pollfd ready{fd, POLLIN, 0}; ::poll(&ready, 1, 1000) > 0;) {
    text.append(bytes, static_cast<size_t>(::read(fd, bytes, sizeof bytes)));
  }
  return text;
}

TEST(Log, NeverWaitsAndCountsWhatItLeavesOut) {
  const struct {
    service::LogOptions options;
    int lines;
    bool isRead;  // from the start
  } cases[] = {
      {{.burst = 1e9}, 20000, false},
      {{.burst = 5, .perSecond = 0.001}, 100, false},
      {{.burst = 5, .perSecond = 0.001}, 100, true},
  };
  for (const auto& [options, lines, isRead] : cases) {
    const Pipe pipe;
    if (!isRead) {
      // Full to the last byte, as it would be for a reader that has stopped.
      ::fcntl(pipe.ends[1], F_SETFL, O_NONBLOCK);
      while (::write(pipe.ends[1], "................", 16) > 0) {
      }
      ::fcntl(pipe.ends[1], F_SETFL, 0);
    }
    {
      service::Log log(pipe.ends[1], "test", options);
      for (int i = 0; i < lines; ++i) log.line("line \033[2J");
      EXPECT_EQ(::fcntl(pipe.ends[1], F_GETFL) & O_NONBLOCK, 0);
    }
    std::string text = readQuiet(pipe.ends[0]);
    text.erase(0, text.find_first_not_of('.'));
    int said = 0;
    int shown = 0;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
      const size_t out = line.find(" lines were left out here");
      EXPECT_EQ(line.find("test: "), 0u) << line;
      said += out == std::string::npos ? 1 : std::stoi(line.substr(6));
      shown += out == std::string::npos ? 1 : 0;
      EXPECT_TRUE(out != std::string::npos || line == "test: line \\x1b[2J") << line;
    }
    EXPECT_EQ(said, lines) << text.substr(0, 200) << "\n..." << text.substr(text.size() - 100);
    EXPECT_LT(text.size(), size_t{200} * 1024);
    EXPECT_LE(shown, options.burst);
  }
}

TEST(StopSignals, AreNoticedByABusyLoopAndLetAnIgnoredHangUpBe) {
  const Pipe pipe;
  ASSERT_EQ(::write(pipe.ends[1], "x", 1), 1);
  pollfd ready{pipe.ends[0], POLLIN, 0};
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const service::StopSignals signals;
    EXPECT_TRUE(signals.poll({&ready, 1}, -1));
    ::raise(number);
    EXPECT_FALSE(signals.poll({&ready, 1}, -1)) << number;
    EXPECT_EQ(signals.count(), 1);
  }
  const auto before = std::signal(SIGHUP, SIG_IGN);
  {
    const service::StopSignals signals;
    ::raise(SIGHUP);
    EXPECT_TRUE(signals.poll({&ready, 1}, -1));
  }
  EXPECT_EQ(std::signal(SIGHUP, before), SIG_IGN);
}

// A socket at a path, as some other process has one.
std::unique_ptr<RawSocket> otherSocket(const std::string& path, int backlog,
                                       int type = SOCK_STREAM) {
  auto socket = std::make_unique<RawSocket>(type);
  socket->bind(path);
  if (type == SOCK_STREAM) socket->listen(backlog);
  return socket;
}

std::string refusalOf(const std::string& path) {
  try {
    const service::ListeningSocket socket(path);
    return {};
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

TEST(ListeningSocket, TakesOverOnlyFromTheDeadAndRemovesOnlyItsOwn) {
  const TemporaryFolder folder;
  const std::string path = folder.file("socket");
  {
    // Nobody accepts: the queue of one is full when it was tried once.
    const auto busy = otherSocket(path, 0);
    EXPECT_EQ(refusalOf(path), path + ": is in use: another process serves there");
    EXPECT_EQ(refusalOf(path), path + ": is in use: another process serves there");
    EXPECT_TRUE(exists(path));
  }
  EXPECT_EQ(refusalOf(path), "") << "it is dead by now";
  EXPECT_FALSE(exists(path));
  {
    const auto ofAnotherKind = otherSocket(path, 0, SOCK_DGRAM);
    EXPECT_TRUE(holds(refusalOf(path), ": cannot be taken over"));
    EXPECT_TRUE(exists(path));
  }
  ::unlink(path.c_str());
  std::unique_ptr<RawSocket> other;
  {
    const service::ListeningSocket replaced(path, 0640);
    struct stat status {};
    ASSERT_EQ(::lstat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0640u);
    ::unlink(path.c_str());
    other = otherSocket(path, 1);
  }
  EXPECT_TRUE(exists(path)) << "the socket of another process was removed";
  const std::string file = folder.write("file", "precious");
  EXPECT_TRUE(holds(refusalOf(file), "is no socket"));
  EXPECT_EQ(readFile(file), "precious");
}

// Of many that start at once each looks alone.
TEST(ListeningSocket, WaitsForWhoLooksAtTheSameFolderAndGivesUp) {
  const TemporaryFolder folder;
  const std::string path = folder.file("socket");
  const int other = ::open(folder.file("").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(::flock(other, LOCK_EX), 0);
  EXPECT_TRUE(holds(refusalOf(path), "another process holds a lock of"));
  std::thread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ::close(other);
  });
  EXPECT_EQ(refusalOf(path), "");
  later.join();
}

TEST(PeerCredentials, HaveTheFurtherGroupsToo) {
  std::vector<gid_t> before(static_cast<size_t>(::getgroups(0, nullptr)));
  ::getgroups(static_cast<int>(before.size()), before.data());
  const std::vector<gid_t> groups =
      ::geteuid() == 0 ? std::vector<gid_t>{50, 51} : before;  // only root may choose
  ::setgroups(groups.size(), groups.data());
  int ends[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const auto peer = service::peerCredentials(ends[0]);
  ::setgroups(before.size(), before.data());
  for (const int end : ends) ::close(end);
  ASSERT_TRUE(peer);
  EXPECT_EQ(peer->pid, ::getpid());
  EXPECT_EQ(peer->groups, groups);
  EXPECT_FALSE(service::peerCredentials(Pipe().ends[0]));
}

TEST(Server, GivesUpSilentClientsWhenNothingElseHappens) {
  const TemporaryFolder folder;
  Tovo::Directory directory;
  const Pipe pipe;
  service::Log log(pipe.ends[1], "test");
  std::vector<service::ListeningSocket> sockets;
  sockets.emplace_back(folder.file("socket"));
  service::ServerOptions options{service::WriteAccess(::geteuid()), {}, {}};
  options.connection.greetingTime = std::chrono::milliseconds(50);
  service::Server server(directory, std::move(sockets), std::move(options), log);
  const service::StopSignals signals;
  bool isClosed = false;
  std::thread client([&] {
    isClosed = isRefused(folder.file("socket"), "");
    ::kill(::getpid(), SIGTERM);
  });
  server.run(signals);
  client.join();
  EXPECT_TRUE(isClosed);
}

}  // namespace
