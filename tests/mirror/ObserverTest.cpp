// Observers at a mirror that throw, or undo what arrives.
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "RawPeer.h"
#include "Stp/StpHw.h"
#include "Stp/StpStatus.h"
#include "Support.h"

namespace Mirror {
namespace {

class ObserverTest : public Test {};

TEST_F(ObserverTest, AnElementThatAnObserverTakesOutAgainStaysOut) {
  Pair pair;
  const auto hw = Stp::hwFactory("hw");
  pair.hostDirectory.mount("/hw", hw);
  auto& mirror = static_cast<Stp::Hw&>(pair.mirror("/hw"));
  const Watch watch(mirror, [&](Entity& source, const Pelmo::Change& change) {
    if (&source == &mirror && !change.previous) mirror.mstiHwDel("Mst1");
  });
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Ethernet1");
  hw->mstiHwIs("Mst1")->mstiPortHwIs("Ethernet1")->activeIs(true);
  pair.settle();
  EXPECT_TRUE(mirror.mstiHwContains("Mst0"));
  EXPECT_FALSE(mirror.mstiHwContains("Mst1"));
  pair.expectOpen();
}

TEST_F(ObserverTest, WhatAnObserverThrowsEndsTheConnectionAndKeepsTheChange) {
  Pair pair;
  const auto status = Stp::statusFactory("status");
  pair.hostDirectory.mount("/status", status);
  auto& mirror = static_cast<Stp::Status&>(pair.mirror("/status"));
  const Watch watch(mirror, [](Entity&, const Pelmo::Change&) {
    throw std::runtime_error("the observer of the test");
  });
  status->stableIs(true);
  pair.settle();
  EXPECT_TRUE(pair.guest->closed());
  EXPECT_NE(pair.guest->closeReason().find("the observer of the test"), std::string::npos);
  EXPECT_TRUE(mirror.stable());
}

// What observers do to the tree and to the connection in the middle of what arrives. Whatever it
// is, nothing is touched that is gone, and an untouched second reader goes on.
TEST_F(ObserverTest, WhatObserversMayDoWhileAMessageIsApplied) {
  struct Deed {
    const char* what;
    std::function<void(Pair&, Stp::Status&, Entity& source)> act;
    bool open;
  } const deeds[] = {
      {"delete everything", [](Pair&, Stp::Status& root, Entity&) { root.stpiStatusDelAll(); },
       true},
      {"delete the owner",
       [](Pair&, Stp::Status& root, Entity& source) {
         if (Entity* owner = source.parent()) root.stpiStatusDel(owner->name());
       },
       true},
      {"unmount", [](Pair& pair, Stp::Status&, Entity&) { pair.guestDirectory.unmount("/status"); },
       true},
      {"close", [](Pair& pair, Stp::Status&, Entity&) { pair.guest->close("enough"); }, false},
      {"flush and read again",
       [](Pair& pair, Stp::Status&, Entity&) {
         pair.guest->flush();
         pair.guest->handleReadable();
       },
       true},
      {"ask for more",
       [](Pair& pair, Stp::Status&, Entity&) {
         pair.guest->guest().roots().ask();
         pair.guest->questions().ping();
       },
       true},
      {"throw no exception class", [](Pair&, Stp::Status&, Entity&) { throw 42; }, false},
  };
  for (const Deed& deed : deeds) {
    for (const bool readOnly : {true, false}) {
      SCOPED_TRACE(deed.what);
      Pair pair;
      const auto status = Stp::statusFactory("status");
      pair.hostDirectory.mount("/status", status);
      const Ptr<Entity> held(&pair.mirror("/status", readOnly));
      auto& mirror = static_cast<Stp::Status&>(*held);
      Pair other;
      other.hostDirectory.mount("/status", status);
      Entity& second = other.mirror("/status");
      const Watch watch(
          mirror, [&](Entity& source, const Pelmo::Change&) { deed.act(pair, mirror, source); });
      for (int round = 0; round < 3; ++round) {
        const auto stpi = status->stpiStatusIs("Mst");
        const auto msti = stpi->mstiStatusIs("Mst0", Stp::InstanceId(0));
        msti->rootPortIs(msti->mstiPortStatusIs("Et1", 1));
        msti->tcnCountInc(1);
        status->vlanMembershipDesiredIs(Nelka::IntfId(9), true);
        pair.settle();
        msti->rootPortIs(nullptr);
        stpi->mstiStatusDel("Mst0");
        status->stpiStatusDel("Mst");
        pair.settle();
      }
      EXPECT_EQ(!pair.guest->closed(), deed.open) << pair.guest->closeReason();
      other.settle();
      expectSame(*status, second);
      other.expectOpen();
    }
  }
}

// A guest that says when its mounts begin and end.
class GuestWatch : public Tovo::NboAttrLog::GuestObserver {
 public:
  std::function<void()> told;

  void mountBegan(const std::string&, Entity&) override { call(); }
  void mountEnded(const std::string&, const std::string&) override { call(); }

 private:
  // A copy: it may destroy the guest.
  void call() const {
    if (const auto function = told) function();
  }
};

// Calls a function when the publisher goes.
class EndWatch : public Pelmo::Observer {
 public:
  EndWatch(Entity& entity, std::function<void()> told) : told_(std::move(told)) {
    observe(entity.nodePublisher());
  }
  void handleChange(const Pelmo::Change&) override {}
  void handlePublisherGone() override { told_(); }

 private:
  std::function<void()> told_;
};

// Takes nothing, but may do something.
class Demuxer : public Tovo::NboAttrLog::StreamDemuxer {
 public:
  explicit Demuxer(std::function<void()> told) : told_(std::move(told)) {}
  bool handleMessage(Entity&, Tovo::AttributeId, Tovo::NboAttrLog::In&) override {
    told_();
    return false;
  }

 private:
  std::function<void()> told_;
};

// Whoever a connection calls may destroy it there, or close it: nothing of it is touched any more,
// and other observers hear the rest of the turn.
TEST_F(ObserverTest, WhoeverAConnectionCallsMayDestroyIt) {
  struct Scene : Pair {
    bool closes = false;
    int called = 0;
    std::function<void()> destroy = [this] {
      ++called;
      if (guest && closes) guest->close("enough");
      if (!closes) guest.reset();
    };
    std::vector<std::shared_ptr<void>> watches;
    Ptr<Stp::Status> status = Stp::statusFactory("status");
    Stp::Status* mirrored = nullptr;

    GuestWatch watch;
  };
  struct Occasion {
    const char* what;
    std::function<void(Scene&)> arrange;
  } const occasions[] = {
      {"a change",
       [](Scene& scene) {
         scene.watches.push_back(std::make_shared<Watch>(
             *scene.mirrored, [&](Entity&, const Pelmo::Change&) { scene.destroy(); }));
         scene.status->stableIs(true);
       }},
      {"the end of an element",
       [](Scene& scene) {
         scene.watches.push_back(
             std::make_shared<EndWatch>(*scene.mirrored->stpiStatus("Mst"), scene.destroy));
         scene.status->stpiStatusDel("Mst");
       }},
      {"the beginning of a mount",
       [](Scene& scene) {
         scene.root("/more", "Stp::Hw");
         scene.watch.told = scene.destroy;
         scene.guest->guest().mount("/more", true);
       }},
      {"the end of a mount",
       [](Scene& scene) {
         scene.watch.told = scene.destroy;
         scene.hostDirectory.unmount("/status");
       }},
      {"the refusal of a mount",
       [](Scene& scene) {
         scene.watch.told = scene.destroy;
         scene.guest->guest().mount("/nothing", true);
       }},
      {"a message that was applied",
       [](Scene& scene) {
         scene.guest->incoming().appliedIs([&](std::span<const uint8_t>) { scene.destroy(); });
         scene.status->stableIs(true);
       }},
      {"a demuxer",
       [](Scene& scene) {
         const auto demuxer = std::make_shared<Demuxer>(scene.destroy);
         scene.guest->log().receiver().streamDemuxerIs(demuxer.get());
         scene.watches.push_back(demuxer);
         scene.status->stableIs(true);
       }},
      {"a question for the status",
       [](Scene& scene) {
         scene.guest->questions().statusProviderIs([&] {
           scene.destroy();
           return std::string("destroyed");
         });
         scene.host->questions().askStatus();
       }},
      {"a mirror that ends when the host goes",
       [](Scene& scene) {
         scene.watches.push_back(std::make_shared<EndWatch>(*scene.mirrored, scene.destroy));
         scene.guestDirectory.unmount("/status");
         scene.host.reset();
       }},
      {"a mirror that ends when the host says good-bye",
       [](Scene& scene) {
         scene.watches.push_back(std::make_shared<EndWatch>(*scene.mirrored, scene.destroy));
         scene.guestDirectory.unmount("/status");
         scene.host->close("enough");
       }},
      {"a root that is replaced",
       [](Scene& scene) {
         scene.watches.push_back(std::make_shared<EndWatch>(
             *scene.guestDirectory.newEntity("/more", "Stp::Status"), scene.destroy));
         scene.root("/more", "Stp::Hw");
         scene.guest->guest().mount("/more", true);
       }},
      {"a root that is removed",
       [](Scene& scene) {
         scene.watches.push_back(std::make_shared<EndWatch>(
             *scene.guestDirectory.newEntity("/mine", "Stp::Status"), scene.destroy));
         scene.host->guest().remove("/mine");
       }},
  };
  for (const Occasion& occasion : occasions) {
    for (const bool closes : {false, true}) {
      for (const bool readOnly : {true, false}) {
        SCOPED_TRACE(std::string(occasion.what) + (closes ? ", closed" : "") +
                     (readOnly ? ", read-only" : ""));
        Scene scene;
        scene.closes = closes;
        const Sockets sockets;
        scene.host = std::make_unique<Connection>(sockets.a, scene.hostDirectory);
        scene.guest = std::make_unique<Connection>(sockets.b, scene.guestDirectory);
        scene.guest->guest().observerIs(&scene.watch);
        scene.status->stpiStatusIs("Mst")->mstiStatusIs("Mst0", Stp::InstanceId(0));
        scene.hostDirectory.mount("/status", scene.status);
        scene.mirrored = &static_cast<Stp::Status&>(scene.mirror("/status", readOnly));
        occasion.arrange(scene);
        // In the same turn, told behind it.
        std::vector<Tovo::AttributeId> heard;
        std::optional<Watch> other;
        const Entity* const last = scene.mirrored;
        if (scene.guestDirectory.mounted("/status") == last) {
          other.emplace(*scene.mirrored, [&](Entity&, const Pelmo::Change& change) {
            heard.push_back(change.attribute);
          });
        }
        scene.status->lastUnstableReasonIs("because");
        scene.settle();
        EXPECT_GE(scene.called, 1);
        EXPECT_TRUE(!scene.guest || scene.guest->closed());
        if (std::string_view(occasion.what) == "a change") {
          EXPECT_EQ(heard.size(), 2u) << "the rest of the turn";
        }
        if (scene.host) {
          scene.settle();
          EXPECT_TRUE(scene.host->closed());
        }
      }
    }
  }
}

// What waited for an element is resolved while that is sent.
TEST_F(ObserverTest, AConnectionMayBeDestroyedWhileItSends) {
  Directory directory;
  const auto first =
      Stp::statusFactory("first")->stpiStatusIs("Mst")->mstiStatusIs("Mst0", Stp::InstanceId(0));
  const auto second =
      Stp::statusFactory("second")->stpiStatusIs("Mst")->mstiStatusIs("Mst0", Stp::InstanceId(0));
  for (const char* port : {"Et1", "Et2", "Et3"}) second->mstiPortStatusIs(port, 1);
  const auto target = second->mstiPortStatus("Et2");
  first->rootPortIs(target);
  directory.mount("/first", first);
  directory.mount("/second", second);
  const Sockets sockets;
  auto host = std::make_unique<Connection>(sockets.a, directory);
  const auto send = [&](const std::string& bytes) {
    ASSERT_EQ(::send(sockets.b, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    host->handleReadable();
    if (host) host->flush();
  };
  // The port has a number before it is carried; the guest says it, and mounts where it is.
  send(greeting() + message(0, 5, text("/first") + u8(0)));
  send(message(0x80000001, 267, u32(0)) + message(0, 9));
  ASSERT_FALSE(first->rootPort());
  send(message(0x80000001, 267, u32(0x80000002)) + message(0, 9));
  ASSERT_FALSE(first->rootPort());
  int changes = 0;
  const Watch watch(*first, [&](Entity&, const Pelmo::Change&) {
    ++changes;
    host.reset();
  });
  send(message(0, 5, text("/second") + u8(1)));
  EXPECT_EQ(first->rootPort(), target);
  EXPECT_EQ(changes, 1);
  EXPECT_FALSE(host);
  ::close(sockets.b);
}

// An observer from before the mount is called before the connection's own: what it adds in answer
// to an element that arrives is a change of the guest, and is sent.
TEST_F(ObserverTest, AnAnswerToAnElementIsSent) {
  Pair pair;
  const auto hw = Stp::hwFactory("hw");
  const auto mirror = Stp::hwFactory("hw");
  pair.hostDirectory.mount("/hw", hw);
  pair.guestDirectory.mount("/hw", mirror);
  const Watch watch(
      *mirror, [&](Entity&, const Pelmo::Change&) { mirror->mstiHwIs("Answer"); }, false);
  pair.mirror("/hw", false);
  hw->mstiHwIs("Mst0");
  pair.settle();
  EXPECT_TRUE(hw->mstiHwContains("Answer"));
  expectSame(*hw, *mirror);
}

TEST_F(ObserverTest, ElementsThatDieWhileTheyAreToBeSent) {
  Limits limits;
  limits.outputBytes = 100;
  Pair pair(limits);
  auto hw = Stp::hwFactory("hw");
  pair.hostDirectory.mount("/hw", hw);
  pair.mirror("/hw");
  for (int i = 0; i < 50; ++i) {
    hw->mstiHwIs(Pelmo::String("Mst" + std::to_string(i)))->mstiPortHwIs("Et1")->activeIs(true);
  }
  pair.host->flush();
  hw->mstiHwDelAll();
  pair.hostDirectory.unmount("/hw");
  hw = nullptr;
  pair.settle();
  pair.expectOpen();
  EXPECT_EQ(pair.host->log().numbers().count(), 0u);
  EXPECT_TRUE(pair.host->log().carrier().queue().empty());
}

TEST_F(ObserverTest, ATreeThatGoesAtTheHostIsUnmountedAndStaysWithWhoHoldsIt) {
  Pair pair;
  auto hw = Stp::hwFactory("hw");
  hw->mstiHwIs("Mst0");
  pair.hostDirectory.mount("/hw", hw);
  const Ptr<Stp::Hw> mirror(&static_cast<Stp::Hw&>(pair.mirror("/hw")));
  pair.hostDirectory.unmount("/hw");
  hw = nullptr;
  pair.settle();
  pair.expectOpen();
  EXPECT_EQ(pair.host->log().numbers().count() + pair.guest->log().numbers().count(), 0u);
  EXPECT_EQ(pair.guestDirectory.mounted("/hw"), nullptr);
  EXPECT_TRUE(mirror->mstiHw("Mst0"));
}

}  // namespace
}  // namespace Mirror
