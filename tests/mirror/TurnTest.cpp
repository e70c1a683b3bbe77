// What a writer changes between two flushes arrives together: no reader sees a part of it, neither
// between two calls of the loop nor from within an observer.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <random>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Mirror/Recording.h"
#include "RawPeer.h"
#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/Inspect.h"

namespace Mirror {
namespace {

class TurnTest : public Test {};

using Role = Stp::MstiPortStatus::Role;

const std::string endOfTurn = message(0, 9);

// An instance with one root port, the only one that forwards, which the instance refers to and with
// which it shares a count.
class Instance {
 public:
  explicit Instance(Stp::Status& status) : status_(status) {}

  static std::string fault(Stp::Status& status) {
    const auto tree = status.stpiStatus("Mst");
    const auto msti = tree ? tree->mstiStatus("Mst0") : nullptr;
    if (!msti) return "";
    unsigned roots = 0;
    for (auto& port : msti->mstiPortStatus()) {
      const std::string name(port.name().view());
      const bool isRoot = port.role() == Role::root;
      if (isRoot != (port.state() == Stp::PortState::forwarding)) return name + ": role, state";
      if (!isRoot) continue;
      ++roots;
      if (msti->rootPort().get() != &port) return name + ": is not the one referred to";
      if (port.fdbFlush() != msti->tcnCount()) return name + ": another count";
    }
    if (roots != (msti->rootPort() ? 1u : 0u)) return std::to_string(roots) + " root ports";
    return "";
  }

  // The invariant holds before and behind it, but not between.
  void step(std::mt19937_64& random) {
    const auto msti = status_.stpiStatusIs("Mst")->mstiStatusIs("Mst0", Stp::InstanceId(0));
    const Pelmo::String name("Et" + std::to_string(random() % 5));
    const auto last = msti->rootPort();
    switch (random() % 8) {
      case 0:
        // A life that ends, perhaps that of the root port.
        if (last && last->name() == name) msti->rootPortIs(nullptr);
        msti->mstiPortStatusDel(name);
        return;
      case 1:
        status_.stpiStatusDel("Mst");
        return;
      default:
        break;
    }
    if (const auto port = msti->mstiPortStatus(name); port && random() % 4 == 0) {
      if (last == port) msti->rootPortIs(nullptr);
      msti->mstiPortStatusDel(name);
    }
    const auto next = msti->mstiPortStatus(name) ? msti->mstiPortStatus(name)
                                                 : msti->mstiPortStatusIs(name, ++count_);
    if (last) last->stateIs(Stp::PortState::discarding);
    next->stateIs(Stp::PortState::forwarding);
    msti->tcnCountIs(++count_);
    msti->rootPortIs(next);
    if (last && last != next) last->roleIs(Role::alternate);
    next->roleIs(Role::root);
    next->fdbFlushIs(count_);
  }

 private:
  Stp::Status& status_;
  uint32_t count_ = 0;
};

// Either end writes; what comes to the other one is chopped up, conflated and stalled.
TEST_F(TurnTest, NobodySeesAPartOfATurn) {
  uint64_t checks = 0;
  for (uint64_t seed = 1; seed <= 60; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    const bool guestWrites = seed % 3 == 0;
    const size_t outputs[] = {1, 60, 500, 64 * 1024};
    Limits limits;
    limits.outputBytes = outputs[random() % 4];
    const size_t chunk = 1 + random() % 100;
    Directory hostDirectory;
    Directory guestDirectory;
    Relay relay;
    Connection host(relay.hostFd(), hostDirectory, limits);
    Connection guest(relay.guestFd(), guestDirectory, limits);
    const auto root = Stp::statusFactory("status");
    hostDirectory.mount("/status", root);
    if (random() % 2 == 0) guestDirectory.mount("/status", Stp::statusFactory("status"));
    const auto settle = [&] {
      for (int quiet = 0; quiet < 3; ++quiet) {
        host.flush();
        guest.flush();
        while (relay.toGuest(chunk)) quiet = -1;
        while (relay.toHost(chunk)) quiet = -1;
        host.handleReadable();
        guest.handleReadable();
      }
    };
    guest.guest().mount("/status", !guestWrites);
    settle();
    auto& mirror = static_cast<Stp::Status&>(*guestDirectory.mounted("/status"));
    Stp::Status& written = guestWrites ? mirror : *root;
    Stp::Status& read = guestWrites ? *root : mirror;
    Connection& sender = guestWrites ? guest : host;
    Connection& receiver = guestWrites ? host : guest;
    const auto check = [&] {
      ++checks;
      ASSERT_EQ(Instance::fault(read), "");
    };
    const Watch watch(read, [&](Entity&, const Pelmo::Change&) { check(); });
    Instance instance(written);
    for (int round = 0; round < 300 && !HasFailure(); ++round) {
      switch (random() % 4) {
        case 0:
          for (uint64_t steps = random() % 4; steps > 0; --steps) instance.step(random);
          sender.flush();
          break;
        case 1:
          sender.flush();
          break;
        case 2:
          for (uint64_t moves = random() % 40; moves > 0; --moves) {
            guestWrites ? relay.toHost(chunk) : relay.toGuest(chunk);
          }
          break;
        default:
          receiver.handleReadable();
          check();
          receiver.flush();
          guestWrites ? relay.toGuest(chunk) : relay.toHost(chunk);
      }
    }
    settle();
    check();
    expectSame(*root, mirror);
    ASSERT_EQ(host.closeReason() + guest.closeReason(), "");
  }
  EXPECT_GT(checks, 10000u);
}

// ------------------------------------------------------------------------------- what is published

// A host of /quiesce (number 1) and /hw (2) with Mst0 (3), mounted writable by a peer made by hand;
// notes what is published.
class Written {
 public:
  Written() {
    hw->mstiHwIs("Mst0");
    directory.mount("/quiesce", quiesce);
    directory.mount("/hw", hw);
    peer = std::make_unique<RawPeer>(directory);
    peer->send(greeting() + message(0, 5, text("/quiesce") + u8(0)) +
               message(0, 5, text("/hw") + u8(0)));
    for (Entity* root : {static_cast<Entity*>(quiesce.get()), static_cast<Entity*>(hw.get())}) {
      watches.push_back(std::make_unique<Watch>(
          *root, [this](Entity& source, const Pelmo::Change& change) { note(source, change); }));
    }
  }
  static constexpr uint32_t quiesceNumber = 0x80000001;
  static constexpr uint32_t hwNumber = 0x80000002;

  void note(Entity& source, const Pelmo::Change& change) {
    const Attribute attribute = attributeById(source.tovoType(), change.attribute);
    std::string line = attribute.name();
    if (change.key) line += " " + Tovo::plainText(attribute.keyOps(), change.key);
    if (attribute.kind() == AttributeKind::attribute) {
      line += " was " + Tovo::plainText(attribute.ops(), change.previous);
    } else if (change.key) {
      line += change.previous ? " left" : " came";
    }
    published.push_back(line);
  }
  const Ptr<Stp::QuiesceConfig> quiesce = Stp::quiesceConfigFactory("quiesce");
  const Ptr<Stp::Hw> hw = Stp::hwFactory("hw");
  Directory directory;
  std::unique_ptr<RawPeer> peer;
  std::vector<std::unique_ptr<Watch>> watches;
  std::vector<std::string> published;
};

std::string element(const char* name, uint32_t number) {
  return message(Written::hwNumber, 258, text(name) + text(name) + u32(number));
}
std::string removal(const char* name) {
  return message(Written::hwNumber, 65536 - 258, text(name));
}
std::string overriddenBy(const char* who) {
  return message(Written::quiesceNumber, 260, text(who));
}

TEST_F(TurnTest, EachPlaceIsPublishedOnceWithWhatWasThereBefore) {
  const struct {
    const char* what;
    std::string bytes;
    std::vector<std::string> published;
  } cases[] = {
      {"a value that comes back", overriddenBy("me") + overriddenBy("nobody"), {}},
      {"a value and another one",
       overriddenBy("me") + overriddenBy("you"),
       {"overriddenBy was nobody"}},
      {"an element that comes and goes", element("Mst1", 1) + removal("Mst1"), {}},
      {"an element that goes", removal("Mst0"), {"mstiHw Mst0 left"}},
      {"another element under the same key",
       removal("Mst0") + element("Mst0", 1),
       {"mstiHw Mst0 left", "mstiHw Mst0 came"}},
      {"several lives",
       removal("Mst0") + element("Mst0", 1) + removal("Mst0") + element("Mst0", 2) +
           message(2, 258, text("Et1") + text("Et1") + u32(3)),
       {"mstiHw Mst0 left", "mstiHw Mst0 came", "mstiPortHw Et1 came"}},
      {"the order of the first changes",
       element("Mst1", 1) + removal("Mst0") + element("Mst2", 2) + removal("Mst1"),
       {"mstiHw Mst0 left", "mstiHw Mst2 came"}},
  };
  for (const auto& [what, bytes, published] : cases) {
    SCOPED_TRACE(what);
    Written host;
    host.quiesce->overriddenByIs("nobody");
    host.published.clear();
    host.peer->send(bytes);
    EXPECT_EQ(host.published.size(), 0u);
    host.peer->send(endOfTurn);
    EXPECT_EQ(host.published, published);
    EXPECT_EQ(host.peer->connection().closeReason(), "");
  }
}

// What an observer does in answer is stored at once, and published to all behind the turn.
TEST_F(TurnTest, ObserversOwnChangesComeBehindTheTurn) {
  Written host;
  const Watch answers(*host.hw, [&](Entity&, const Pelmo::Change& change) {
    if (change.previous) return;
    host.hw->mstiHwIs("Answer");
    EXPECT_TRUE(host.hw->mstiHwContains("Answer"));
    host.hw->mstiHwDel("Mst2");
  });
  host.peer->send(element("Mst1", 1) + element("Mst2", 2) + endOfTurn);
  EXPECT_EQ(host.published, (std::vector<std::string>{"mstiHw Mst1 came", "mstiHw Mst2 came",
                                                      "mstiHw Answer came", "mstiHw Mst2 left"}));
  EXPECT_EQ(host.peer->connection().closeReason(), "");
}

// A recording that an observer plays while a connection publishes, or while it applies.
TEST_F(TurnTest, WhatAnotherAdapterAppliesMeanwhileIsToldBehindIt) {
  using Tovo::NboAttrLog::RecordingReader;
  for (const bool whileApplying : {false, true}) {
    std::vector<uint8_t> bytes;
    size_t beginning = 0;
    {
      Pair recorded;
      const auto hw = Stp::hwFactory("hw");
      recorded.hostDirectory.mount("/hw", hw);
      Tovo::NboAttrLog::RecordingWriter writer([&](std::span<const uint8_t> more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
      });
      recorded.guest->incoming().appliedIs(
          [&](std::span<const uint8_t> message) { writer.take(message); });
      recorded.mirror("/hw");
      const auto port = hw->mstiHwIs("Mst0")->mstiPortHwIs("Et1");
      recorded.settle();
      beginning = bytes.size();
      port->activeIs(true);
      recorded.settle();
    }
    Directory directory;
    const auto played = Stp::hwFactory("hw");
    directory.mount("/hw", played);
    Replay replay(*played);
    size_t end = beginning;
    RecordingReader reader(
        [&, at = size_t{0}](std::span<uint8_t> room) mutable {
          const size_t count = std::min(room.size(), end - at);
          std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, room.begin());
          at += count;
          return count;
        },
        directory);
    const auto play = [&] {
      while (reader.next()) reader.apply();
    };
    play();
    end = bytes.size();
    Pair pair;
    const auto status = Stp::statusFactory("status");
    pair.hostDirectory.mount("/status", status);
    Entity& mirror = pair.mirror("/status");
    const Watch watch(mirror, [&](Entity&, const Pelmo::Change&) {
      if (!whileApplying) play();
    });
    pair.guest->incoming().appliedIs([&](std::span<const uint8_t>) {
      if (whileApplying) play();
    });
    status->stableIs(true);
    pair.settle();
    EXPECT_TRUE(played->mstiHw("Mst0")->mstiPortHw("Et1")->active()) << "it is stored";
    replay.expectComplete();
    pair.expectOpen();
  }
}

// An element that is only referred to any more goes with the reference, behind the turn.
TEST_F(TurnTest, WhoLosesItsLastReferenceIsToldBehindTheTurn) {
  Pair pair;
  const auto status = Stp::statusFactory("status");
  const auto msti = status->stpiStatusIs("Mst")->mstiStatusIs("Mst0", Stp::InstanceId(0));
  pair.hostDirectory.mount("/status", status);
  auto& mirror = static_cast<Stp::Status&>(pair.mirror("/status", false));
  const auto mirrored = mirror.stpiStatus("Mst")->mstiStatus("Mst0");
  // A port that is in no tree: only this end knows of it.
  struct End : Pelmo::Observer {
    std::function<void()> told;
    void handleChange(const Pelmo::Change&) override {}
    void handlePublisherGone() override { told(); }
  } end;
  {
    const auto port = mirrored->mstiPortStatusIs("Et1", 1);
    pair.settle();
    mirrored->rootPortIs(port);
    pair.settle();
    mirrored->mstiPortStatusDel("Et1");
    pair.settle();
    end.observe(port->nodePublisher());
  }
  ASSERT_TRUE(mirrored->rootPort());
  uint32_t seen = 0;
  end.told = [&] { seen = mirrored->mcheckCount(); };
  msti->rootPortIs(msti->mstiPortStatusIs("Et2", 2));
  msti->mcheckCountIs(7);
  pair.settle();
  EXPECT_EQ(end.observed(), nullptr) << "it has gone";
  EXPECT_EQ(seen, 7u);
  // The same of one that this end refers to for a part of the turn only.
  bool refers = false;
  pair.guest->incoming().appliedIs([&](std::span<const uint8_t>) {
    if (std::exchange(refers, true)) return;
    auto port = Stp::MstiPortStatus::MstiPortStatusIs("Et3", 3);
    end.observe(port->nodePublisher());
    mirrored->rootPortIs(port);
    port = nullptr;
    mirrored->rootPortIs(nullptr);
    EXPECT_TRUE(end.observed());
  });
  msti->mcheckCountIs(8);
  pair.settle();
  EXPECT_EQ(end.observed(), nullptr);
  EXPECT_EQ(seen, 8u);
  // And of one that another takes the place of in a collection.
  const auto config = Stp::configFactory("config");
  pair.hostDirectory.mount("/config", config);
  config->backupToBackupIntfConfigIs("Et2", config->backupIntfConfigIs("Et1", "Et2"));
  const auto& mirroredConfig = static_cast<Stp::Config&>(pair.mirror("/config"));
  end.observe(mirroredConfig.backupIntfConfig("Et1")->nodePublisher());
  config->backupIntfConfigDel("Et1");
  pair.settle();
  ASSERT_TRUE(end.observed());
  end.told = [&] { EXPECT_FALSE(Pelmo::Publisher::catcher()) << "in the middle of the turn"; };
  config->backupToBackupIntfConfigIs("Et2", config->backupIntfConfigIs("Et3", "Et4"));
  pair.settle();
  EXPECT_EQ(end.observed(), nullptr);
  // And of a root that the peer removes.
  end.observe(pair.hostDirectory.newEntity("/hw", "Stp::Hw")->nodePublisher());
  pair.guest->guest().remove("/hw");
  pair.settle();
  EXPECT_EQ(end.observed(), nullptr);
}

// What the peer did not say is not taken for its own, whenever it is set.
TEST_F(TurnTest, WhatIsSetWhileATurnIsAppliedIsSent) {
  Pair pair;
  const auto status = Stp::statusFactory("status");
  pair.hostDirectory.mount("/status", status);
  auto& mirror = static_cast<Stp::Status&>(pair.mirror("/status", false));
  pair.guest->incoming().appliedIs(
      [&](std::span<const uint8_t>) { mirror.lastUnstableReasonIs("told"); });
  status->stableIs(true);
  pair.settle();
  EXPECT_EQ(status->lastUnstableReason().view(), "told");
  expectSame(*status, mirror);
}

TEST_F(TurnTest, WhatAnObserverThrowsDoesNotKeepTheTurnFromOthers) {
  Written host;
  const Watch throws(*host.hw, [](Entity&, const Pelmo::Change&) { throw 1; });
  host.peer->send(element("Mst1", 1) + removal("Mst0") + endOfTurn);
  EXPECT_EQ(host.published, (std::vector<std::string>{"mstiHw Mst1 came", "mstiHw Mst0 left"}));
  EXPECT_EQ(host.peer->connection().closeReason(), "an observer threw");
}

// ------------------------------------------------------------------------------- unfinished turns

TEST_F(TurnTest, AnUnfinishedTurnIsDropped) {
  const std::string part = element("Mst1", 1) + removal("Mst0");
  const struct {
    const char* what;
    std::string bytes;
    bool stays;  // the peer, with its stream open
    const char* reason;
  } cases[] = {
      {"killed", part, false, "end of stream inside a turn"},
      {"killed inside a message", part + endOfTurn.substr(0, 9), false,
       "end of stream inside a message"},
      {"good-bye", part + message(0, 2, text("enough")), true, "the peer closed: enough"},
  };
  for (const auto& [what, bytes, stays, reason] : cases) {
    SCOPED_TRACE(what);
    Written host;
    host.peer->send(element("Mst7", 7) + endOfTurn);
    host.published.clear();
    host.peer->send(bytes);
    if (!stays) ::shutdown(host.peer->fd(), SHUT_WR);
    host.peer->settle();
    EXPECT_EQ(host.peer->connection().closeReason(), reason);
    EXPECT_EQ(host.published.size(), 0u);
    EXPECT_TRUE(host.hw->mstiHwContains("Mst0"));
    EXPECT_TRUE(host.hw->mstiHwContains("Mst7"));
    EXPECT_FALSE(host.hw->mstiHwContains("Mst1"));
  }
}

TEST_F(TurnTest, ATurnAboveTheLimitEndsTheConnection) {
  Directory directory;
  const auto hw = Stp::hwFactory("hw");
  directory.mount("/hw", hw);
  Limits limits;
  const auto make = [](uint32_t number) {
    const std::string name = text("Mst" + std::to_string(number));
    return message(0x80000001, 258, name + name + u32(number));
  };
  limits.turnBytes = 10 * make(101).size();
  RawPeer peer(directory, limits);
  peer.send(greeting() + message(0, 5, text("/hw") + u8(0)));
  for (uint32_t number = 1; number <= 100; ++number) peer.send(make(number) + endOfTurn);
  EXPECT_EQ(hw->mstiHw().size(), 100u);
  for (uint32_t number = 101; number <= 110; ++number) peer.send(make(number));
  EXPECT_EQ(peer.connection().closeReason(), "");
  peer.send(make(111));
  EXPECT_EQ(peer.goodBye(), "a turn of more than " + std::to_string(limits.turnBytes) + " bytes");
  EXPECT_EQ(hw->mstiHw().size(), 100u);
}

// A message that is wrong spoils its connection; what stood before it in its turn is whole
// messages.
TEST_F(TurnTest, WhatStoodBeforeAWrongMessageIsPublished) {
  Written host;
  host.peer->send(element("Mst1", 1) + message(Written::quiesceNumber, 259, "ab") + endOfTurn);
  EXPECT_NE(host.peer->goodBye().find("left behind"), std::string::npos) << host.peer->goodBye();
  EXPECT_EQ(host.published, (std::vector<std::string>{"mstiHw Mst1 came"}));
  EXPECT_TRUE(host.hw->mstiHwContains("Mst1"));
}

// A mirror that is filled for the first time need not wait, one that was there must.
TEST_F(TurnTest, OnlyAFirstTransferIsAppliedAsItArrives) {
  for (const bool again : {false, true}) {
    Directory directory;
    if (again) directory.mount("/hw", Stp::hwFactory("hw"));
    RawPeer peer(directory);
    peer.connection().guest().mount("/hw", true);
    peer.send(greeting() +
              message(0, 6, text("/hw") + u8(1) + text("Stp::Hw") + u32(1) + text("hw")) +
              message(1, 1, u16(258)) + message(1, 258, text("Mst0") + text("Mst0") + u32(2)));
    auto& mirror = static_cast<Stp::Hw&>(*directory.mounted("/hw"));
    EXPECT_EQ(mirror.mstiHwContains("Mst0"), !again);
    EXPECT_EQ(peer.connection().guest().synced(), 0u);
    peer.send(message(1, 2, u16(258)) + endOfTurn);
    EXPECT_TRUE(mirror.mstiHwContains("Mst0"));
    EXPECT_EQ(peer.connection().guest().synced(), 1u);
    peer.send(message(1, 65536 - 258, text("Mst0")));
    EXPECT_TRUE(mirror.mstiHwContains("Mst0"));
  }
}

// ------------------------------------------------------------------------------------- the writer

// Whoever changes more between two writes than a write takes still comes to the end of turns, and
// holds no more for it than what is dirty.
TEST_F(TurnTest, AWriterThatIsFasterThanItsReaderEndsItsTurns) {
  constexpr unsigned ports = 200;
  Limits limits;
  limits.outputBytes = 1000;
  Pair pair(limits);
  const auto hw = Stp::hwFactory("hw");
  pair.hostDirectory.mount("/hw", hw);
  std::vector<Ptr<Stp::MstiPortHw>> all;
  const auto instance = hw->mstiHwIs("Mst0");
  for (unsigned i = 0; i < ports; ++i) {
    all.push_back(instance->mstiPortHwIs(Pelmo::String("Et" + std::to_string(i))));
  }
  pair.mirror("/hw");
  const int smallest = 1;
  ::setsockopt(pair.host->writeFd(), SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
  const uint64_t before = pair.guest->incoming().turns();
  size_t most = 0;
  for (int round = 0; round < 2000; ++round) {
    for (const auto& port : all) port->activeIs(!port->active());
    pair.host->flush();
    most = std::max(most, pair.host->figures().bytesWaiting);
    if (readable(pair.guest->readFd())) pair.guest->handleReadable();
  }
  EXPECT_GT(pair.guest->incoming().turns(), before + 20);
  constexpr size_t message = 4 + 6 + 1;
  EXPECT_LT(most, limits.outputBytes + 2 * ports * message);
  pair.settle();
  pair.expectOpen();
  // The next turn has its bound again.
  for (int round = 0; round < 5; ++round) {
    for (const auto& port : all) port->activeIs(!port->active());
    pair.host->flush();
    EXPECT_LE(pair.host->figures().bytesWaiting, limits.outputBytes);
  }
}

}  // namespace
}  // namespace Mirror
