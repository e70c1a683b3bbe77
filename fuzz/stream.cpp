// A peer that sends anything, from before its greeting to after its good-bye, to a process that
// serves trees and mirrors others: it ends its own connection, or changes what it may change. A
// second, honest peer of the same process holds the same as the process in the end.
//
// An input is a byte of circumstances and then steps: messages with lengths that are right, raw
// bytes, changes that the process makes itself, turns of the loop.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "Mirror/Connection.h"
#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpStatus.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "fuzz/Ends.h"
#include "fuzz/Hand.h"
#include "fuzz/Messages.h"
#include "fuzz/TreeState.h"

namespace {

using fuzz::demand;
using fuzz::Ends;
using fuzz::Input;
using fuzz::message;
using fuzz::number;
using fuzz::State;
using fuzz::stateOf;
using fuzz::text;
using Tovo::Directory;
using Tovo::NboAttrLog::Connection;
using Tovo::NboAttrLog::Limits;

enum Circumstance : uint8_t {
  noGreeting = 1,    ///< of the peer, but for one that the input spells out
  readOnly = 2,      ///< the process takes no writes
  smallBuffer = 4,   ///< the process stalls after 4 KiB that nobody reads
  mountsAll = 8,     ///< the peer mounts what is served before anything else
  asks = 16,         ///< the process mounts two trees of the peer
  asksToWrite = 32,  ///< and wants to write to them
  lateReader = 64,   ///< the honest peer comes at the end
  manyTrees = 128,   ///< also a configuration, which is large, and who refers to it
};

// Beyond messages.
enum Step : uint8_t {
  ownChange = fuzz::messageSteps,
  loop,  ///< whether the peer reads what arrived
  stepCount
};

// ----------------------------------------------------------------------------------- the process

void plant(Directory& directory, bool many) {
  const auto hw = Stp::hwFactory("hw");
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Et1");
  const auto status = Stp::statusFactory("status");
  status->stpiStatusIs("Mstp")
      ->mstiStatusIs("Mst1", Stp::InstanceId(1))
      ->mstiPortStatusIs("Et1", 1);
  directory.mount("/hw", hw);
  directory.mount("/status", status);
  if (!many) return;
  directory.mount("/config", Stp::configFactory("config"));
  directory.mount("/quiesce", Stp::quiesceConfigFactory("quiesce"));
}

// Of any entity, to anything: what is refused changes nothing.
void change(const Directory& directory, Input& input) {
  fuzz::Entities all;
  for (const auto& [path, root] : directory.mounts()) fuzz::addTree(all, *root);
  try {
    fuzz::Hand(input).change(*all[input.below(all.size())], all);
  } catch (const std::exception&) {
    return;
  }
}

// Bytes of the peer, as far as the socket takes them.
void send(int fd, const std::string& bytes) {
  (void)!::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

void drain(int fd) {
  char buffer[16384];
  while (::recv(fd, buffer, sizeof buffer, MSG_DONTWAIT) > 0) continue;
}

void turn(Connection& connection) {
  connection.handleReadable();
  connection.flush();
}

// What this process says at first, which is what a peer of the same model says.
std::string greeting() {
  Directory directory;
  const Ends ends;
  Connection connection(ends.fds[0], directory);
  connection.flush();
  std::string bytes(4096, '\0');
  bytes.resize(static_cast<size_t>(::recv(ends.fds[1], bytes.data(), bytes.size(), 0)));
  ::close(ends.fds[1]);
  return bytes;
}

// The honest peer: mounts what it is told to, in time or late.
class Reader {
 public:
  explicit Reader(Directory& directory) {
    const Ends ends;
    there_ = std::make_unique<Connection>(ends.fds[0], directory);
    here_ = std::make_unique<Connection>(ends.fds[1], mirror);
  }

  void mountAll(const Directory& directory) {
    for (const auto& [path, entity] : directory.mounts()) {
      if (!mirror.mounted(path)) here_->guest().mount(path, true);
    }
    settle();
  }

  // Until an answer shows that everything before it has arrived.
  void settle() {
    const uint32_t question = here_->questions().ping();
    constexpr int patience = 1000;
    for (int round = 0; here_->questions().pongs() != question; ++round) {
      demand(round < patience && !there_->closed() && !here_->closed());
      here_->flush();
      turn(*there_);
      turn(*here_);
    }
  }

  Directory mirror;

 private:
  std::unique_ptr<Connection> there_;
  std::unique_ptr<Connection> here_;
};

void play(Input input, const std::string& hello) {
  const uint8_t circumstances = input.byte();
  const auto is = [&](Circumstance circumstance) { return (circumstances & circumstance) != 0; };
  Directory directory;
  plant(directory, is(manyTrees));
  std::vector<std::string> served;
  for (const auto& [path, root] : directory.mounts()) served.push_back(path);
  std::unique_ptr<Reader> reader;
  if (!is(lateReader)) {
    reader = std::make_unique<Reader>(directory);
    reader->mountAll(directory);
  }
  Limits limits;
  if (is(smallBuffer)) limits.outputBytes = 4096;
  limits.messageBytes = 64 * 1024;
  const Ends ends;
  const int peer = ends.fds[1];
  {
    Connection connection(ends.fds[0], directory, limits);
    connection.host().servesIs(true, !is(readOnly));
    if (!is(noGreeting)) send(peer, hello);
    if (is(mountsAll)) {
      for (const std::string& path : served) {
        send(peer, message(0, 5, text(path) + number(is(readOnly), 1)));
      }
      turn(connection);
    }
    if (is(asks)) {
      connection.guest().mount("/far/hw", !is(asksToWrite));
      connection.guest().mount("/far/status", !is(asksToWrite));
    }
    State before;
    if (is(readOnly)) before = stateOf(directory);
    bool ownChanges = false;
    constexpr size_t mostSteps = 400;
    for (size_t steps = 0; !input.empty() && steps < mostSteps && !connection.closed(); ++steps) {
      switch (const uint8_t step = input.byte() % stepCount) {
        case ownChange:
          ownChanges = true;
          change(directory, input);
          break;
        case loop:
          if (input.byte() % 4 != 0) drain(peer);
          turn(connection);
          break;
        default:
          send(peer, fuzz::bytesOf(step, input));
      }
      demand(connection.figures().bytesWaiting <= limits.outputBytes + 128 * 1024);
    }
    // What is said in a turn counts when it ends.
    send(peer, message(0, 9, {}));
    for (int last = 0; last < 3 && !connection.closed(); ++last) {
      drain(peer);
      turn(connection);
    }
    const std::string& reason = connection.closeReason();
    demand(connection.closed() == !reason.empty() && reason.find('\n') == std::string::npos);
    if (is(readOnly) && !ownChanges) {
      State after = stateOf(directory);
      for (const std::string& path : served) demand(after[path] == before[path]);
    }
  }
  ::close(peer);
  if (!reader) reader = std::make_unique<Reader>(directory);
  reader->mountAll(directory);
  demand(stateOf(reader->mirror) == stateOf(directory));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::string hello = [] {
    Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
    return greeting();
  }();
  constexpr size_t longest = 16 * 1024;
  if (size == 0 || size > longest) return 0;
  play({data, size}, hello);
  demand(Tovo::AllocTrackTypeInfo::totalLiveObjects() == 0);
  return 0;
}
