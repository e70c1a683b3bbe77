// Two processes, of which one is killed in the middle of what it says.
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "Stp/StpHw.h"
#include "Support.h"

namespace Mirror {
namespace {

class ProcessTest : public Test {};

// Writes without end, until it is killed.
[[noreturn]] void hostForever(int fd) {
  Directory directory;
  const auto hw = Stp::hwFactory("hw");
  directory.mount("/stp/hw", hw);
  Connection connection(fd, directory);
  for (unsigned turn = 0;; ++turn) {
    const Pelmo::String name("Ethernet" + std::to_string(turn % 100));
    const auto instance = hw->mstiHwIs(Pelmo::String("Mst" + std::to_string(turn % 4)));
    const auto port = instance->mstiPortHwIs(name);
    port->activeIs(!port->active());
    if (turn % 7 == 0) instance->mstiPortHwDel(name);
    connection.flush();
    if (readable(fd)) connection.handleReadable();
    if (connection.closed()) ::_exit(1);
  }
}

TEST_F(ProcessTest, TheSurvivorKeepsItsTreeAndMirrorsAgain) {
  Directory directory;
  for (int life = 0; life < 5; ++life) {
    SCOPED_TRACE(life);
    const Sockets sockets;
    const pid_t child = ::fork();
    if (child == 0) {
      ::close(sockets.b);
      hostForever(sockets.a);
    }
    ::close(sockets.a);
    Connection guest(sockets.b, directory);
    guest.guest().mount("/stp/hw", true);
    const uint64_t enough = 500u + 137u * static_cast<unsigned>(life);
    EXPECT_TRUE(guest.runUntil(
        [&] { return guest.guest().synced() > 0 && guest.figures().messagesReceived > enough; },
        20000))
        << guest.closeReason();
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    EXPECT_FALSE(guest.runUntil([] { return false; }, 20000));
    EXPECT_TRUE(guest.closed());
    EXPECT_NE(guest.closeReason().find("end of stream"), std::string::npos) << guest.closeReason();
    ASSERT_NE(directory.mounted("/stp/hw"), nullptr);
    EXPECT_GT(entitiesOf(*directory.mounted("/stp/hw")).size(), 4u);
  }
  // What the killed ones left is brought to what a new peer has.
  Directory fresh;
  const auto hw = Stp::hwFactory("hw");
  hw->mstiHwIs("Mst9");
  fresh.mount("/stp/hw", hw);
  const Sockets sockets;
  Connection host(sockets.a, fresh);
  Connection guest(sockets.b, directory);
  guest.guest().mount("/stp/hw", true);
  for (int turn = 0; turn < 8; ++turn) {
    host.flush();
    guest.flush();
    host.handleReadable();
    guest.handleReadable();
  }
  expectSame(*hw, *directory.mounted("/stp/hw"));
}

}  // namespace
}  // namespace Mirror
