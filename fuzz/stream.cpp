// Any bytes from a peer, behind a good greeting or instead of it: they end that connection or
// change the mirror, and a second connection on the same tree goes on.
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

#include "Stp/StpHw.h"
#include "Stp/StpStatus.h"
#include "Tovo/Assert.h"
#include "Tovo/AttrLog/Connection.h"

namespace {

using Tovo::NboAttrLog::Connection;

struct Ends {
  Ends() {
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) std::abort();
  }
  int fds[2];
};

// What this process says at first, which is what a peer of the same model says.
std::vector<uint8_t> greeting() {
  Tovo::Directory directory;
  const Ends ends;
  Connection connection(ends.fds[0], directory);
  connection.flush();
  std::vector<uint8_t> bytes(64 * 1024);
  const ssize_t got = ::read(ends.fds[1], bytes.data(), bytes.size());
  ::close(ends.fds[1]);
  bytes.resize(static_cast<size_t>(got));
  return bytes;
}

void feed(int fd, const uint8_t* data, size_t size) {
  if (::write(fd, data, size) < 0) return;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<uint8_t> hello = [] {
    Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
    return greeting();
  }();
  if (size == 0 || size > 32 * 1024) return 0;
  Tovo::Directory directory;
  const auto hw = Stp::hwFactory("hw");
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Ethernet1");
  directory.mount("/stp/hw", hw);
  directory.mount("/stp/status", Stp::statusFactory("status"));
  const Ends ends;
  {
    Connection connection(ends.fds[0], directory);
    if ((data[0] & 1) != 0) feed(ends.fds[1], hello.data(), hello.size());
    feed(ends.fds[1], data + 1, size - 1);
    // What is said in a turn counts when it ends.
    constexpr uint8_t endOfTurn[] = {0, 0, 0, 6, 0, 0, 0, 0, 0, 9};
    feed(ends.fds[1], endOfTurn, sizeof endOfTurn);
    for (int turn = 0; turn < 4 && !connection.closed(); ++turn) {
      connection.handleReadable();
      connection.flush();
    }
    if (connection.closed() && connection.closeReason().empty()) std::abort();
  }
  ::close(ends.fds[1]);
  return 0;
}
