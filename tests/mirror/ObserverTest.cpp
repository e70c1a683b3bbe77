// Observers at a mirror that throw, or undo what arrives.
#include <functional>
#include <string>

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
         pair.guest->askMounts();
         pair.guest->ping();
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
  EXPECT_EQ(pair.host->boundCount(), 0u);
  EXPECT_TRUE(pair.host->idle());
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
  EXPECT_EQ(pair.host->boundCount() + pair.guest->boundCount(), 0u);
  EXPECT_EQ(pair.guestDirectory.mounted("/hw"), nullptr);
  EXPECT_TRUE(mirror->mstiHw("Mst0"));
}

}  // namespace
}  // namespace Mirror
