// A reader that does not read: what is held for it is bounded, whatever is written, and the last
// state arrives when it reads again.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <thread>

#include "Stp/StpHw.h"
#include "Stp/StpStatus.h"
#include "Support.h"

namespace Mirror {
namespace {

class StallTest : public Test {};

/// A status tree whose host holds back so much of what is to be sent.
struct StatusPair : Pair {
  explicit StatusPair(size_t outputBytes) : Pair(limitsOf(outputBytes)) {
    hostDirectory.mount("/status", status);
  }
  Stp::Status& mirrored() { return static_cast<Stp::Status&>(mirror("/status")); }

  const Pelmo::Ptr<Stp::Status> status = Stp::statusFactory("status");

 private:
  static Limits limitsOf(size_t outputBytes) {
    Limits limits;
    limits.outputBytes = outputBytes;
    return limits;
  }
};

constexpr unsigned stalledPorts = 3000;

TEST_F(StallTest, WritesWithoutAReaderHoldWhatIsLiveAndWhatWasRemoved) {
  StatusPair pair(16 * 1024);
  const auto msti = pair.status->stpiStatusIs("Mstp")->mstiStatusIs("Mst0", Stp::InstanceId(0));
  for (unsigned i = 0; i < stalledPorts; ++i) msti->mstiPortStatusIs(portName(i), 1);
  const Stp::Status& mirror = pair.mirrored();
  std::mt19937 random(7);
  size_t most = 0;
  for (unsigned write = 0; write < 100000; ++write) {
    const unsigned number = random() % stalledPorts;
    const auto port = msti->mstiPortStatus(portName(number));
    if (!port) {
      msti->mstiPortStatusIs(portName(number), write);
    } else if (write % 16 == 0) {
      msti->mstiPortStatusDel(portName(number));
    } else {
      port->fdbFlushIs(write);
      port->syncIs(!port->sync());
    }
    if (write % 64 == 0) pair.host->flush();
    most = std::max(most, pair.host->log().carrier().queue().heldBytes());
  }
  // One key a port at most, and one for each collection above.
  constexpr size_t bytesAKey = 256;
  EXPECT_LT(most, (stalledPorts + 4) * bytesAKey);
  pair.settle();
  expectSame(*pair.status, mirror);
  pair.expectOpen();
}

// Keys that come and go and never come again: not even they are remembered for ever.
TEST_F(StallTest, KeysThatWereNeverSeenAreNotHeld) {
  constexpr size_t outputBytes = 4 * 1024;
  StatusPair pair(outputBytes);
  const auto stpi = pair.status->stpiStatusIs("Mstp");
  for (unsigned i = 0; i < 20; ++i) stpi->stpiPortStatusIs(portName(i), 1.0);
  const Stp::Status& mirror = pair.mirrored();
  const auto stays = mirror.stpiStatus("Mstp")->stpiPortStatus(portName(7));
  for (unsigned write = 20; write < 100000; ++write) {
    stpi->stpiPortStatusIs(portName(write), 1.0);
    stpi->stpiPortStatusDel(portName(write));
    if (write == 50000) stpi->stpiPortStatusDel(portName(5));
    if (write % 64 == 0) pair.host->flush();
    ASSERT_LT(pair.host->log().carrier().queue().heldBytes(), 300u * 200u);
  }
  EXPECT_LE(pair.host->figures().bytesWaiting, outputBytes);
  stpi->stpiPortStatusDel(portName(3));
  stpi->stpiPortStatusIs(portName(3), 2.0);
  pair.settle();
  expectSame(*pair.status, mirror);
  EXPECT_EQ(mirror.stpiStatus("Mstp")->stpiPortStatus(portName(7)), stays);
}

// An element that a transfer stopped behind is deleted and made again: it stands behind the others
// then, and those between must not be forgotten.
TEST_F(StallTest, ATransferThatStoppedBehindAnElementOfASecondLife) {
  constexpr unsigned elements = 30;
  for (unsigned again = 0; again < elements; ++again) {
    Limits limits;
    limits.outputBytes = 100;
    Pair pair(limits);
    const auto hw = Stp::hwFactory("hw");
    pair.hostDirectory.mount("/hw", hw);
    const auto name = [](unsigned number) {
      return Pelmo::String("A long name, to fill the buffers soon: " + std::string(200, '.') +
                           std::to_string(number));
    };
    for (unsigned i = 0; i < elements; ++i) hw->mstiHwIs(name(i));
    const int smallest = 1;
    ::setsockopt(pair.host->writeFd(), SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
    pair.guest->guest().mount("/hw", true);
    pair.guest->flush();
    pair.host->handleReadable();
    pair.host->flush();
    ASSERT_FALSE(pair.host->log().carrier().queue().empty());
    hw->mstiHwDel(name(again));
    hw->mstiHwIs(name(again));
    pair.settle();
    ASSERT_TRUE(pair.guestDirectory.mounted("/hw"));
    expectSame(*hw, *pair.guestDirectory.mounted("/hw"));
  }
}

// Far larger than what may wait: it goes alone, in parts as the system takes them.
TEST_F(StallTest, ALargeValueAmongSmallOnes) {
  StatusPair pair(4 * 1024);
  const Stp::Status& mirror = pair.mirrored();
  for (const size_t megabytes : {10, 15, 1}) {
    pair.status->lastUnstableReasonIs(std::string(megabytes * 1024 * 1024, 'x'));
    pair.status->stableCounterIs(static_cast<uint32_t>(megabytes));
    pair.settle();
    EXPECT_EQ(mirror.stableCounter(), megabytes);
    EXPECT_EQ(mirror.lastUnstableReason().size(), megabytes * 1024 * 1024);
  }
  pair.expectOpen();
}

TEST_F(StallTest, OneStalledReaderDoesNotHoldUpAnother) {
  Pair stalled;
  const auto status = Stp::statusFactory("status");
  stalled.hostDirectory.mount("/status", status);
  stalled.mirror("/status");
  Directory directory;
  const Sockets sockets;
  Connection host(sockets.a, stalled.hostDirectory);
  Connection guest(sockets.b, directory);
  guest.guest().mount("/status", true);
  const auto exchange = [&] {
    for (int turn = 0; turn < 4; ++turn) {
      host.flush();
      if (readable(guest.readFd())) guest.handleReadable();
      guest.flush();
      if (readable(host.readFd())) host.handleReadable();
    }
  };
  exchange();
  for (uint32_t value = 1; value <= 1000; ++value) {
    status->stableCounterIs(value);
    stalled.host->flush();
    exchange();
    const auto* mirrored = static_cast<Stp::Status*>(directory.mounted("/status"));
    ASSERT_EQ(mirrored->stableCounter(), value);
  }
  stalled.settle();
  expectSame(*status, *stalled.guestDirectory.mounted("/status"));
}

// Who waits for the end of its own output waits for room as well.
TEST_F(StallTest, RunUntilWritesWhenThereIsRoom) {
  const Sockets sockets;
  Directory directory;
  Connection guest(sockets.a, directory);
  for (int i = 0; i < 20000; ++i) guest.guest().create("/root" + std::to_string(i), "Stp::Hw");
  std::thread reader([&] {
    char buffer[4096];
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    while (::read(sockets.b, buffer, sizeof buffer) > 0) continue;
  });
  // Before the greeting is overdue, which would wake it too.
  EXPECT_TRUE(guest.runUntil([&] { return guest.figures().bytesWaiting == 0; }, 5000));
  guest.close("enough");
  reader.join();
  ::close(sockets.b);
}

}  // namespace
}  // namespace Mirror
