// Mounts that a guest may write to, and mounts that it may not.
#include <random>
#include <string>

#include "RawPeer.h"
#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpQuiesceConfig.h"
#include "Support.h"
#include "Tovo/Inspect.h"

namespace Mirror {
namespace {

class WritableTest : public Test {
 protected:
  void SetUp() override {
    Test::SetUp();
    pair_ = std::make_unique<Pair>();
    config_ = Stp::Input::configFactory("cli");
    pair_->hostDirectory.mount("/input", config_);
  }
  void TearDown() override {
    config_ = nullptr;
    pair_.reset();
    Test::TearDown();
  }

  Stp::Input::Config& mirror(bool readOnly) {
    return static_cast<Stp::Input::Config&>(pair_->mirror("/input", readOnly));
  }

  std::unique_ptr<Pair> pair_;
  Ptr<Stp::Input::Config> config_;
};

TEST_F(WritableTest, WhatAGuestChangesTheHostHas) {
  auto& guest = mirror(false);
  guest.maxAgeIs(33);
  const auto msti = guest.stpiConfigIs("Mstp")->mstiConfigIs("Mst1", Stp::InstanceId(1));
  msti->bridgePriorityIs(Stp::BridgePriority(4096));
  guest.backupIntfConfigIs("Ethernet1", "Ethernet2");
  guest.backupToBackupIntfConfigIs("Ethernet2", guest.backupIntfConfig("Ethernet1"));
  guest.disabledVlanIs(5, true);
  pair_->settle();
  EXPECT_EQ(config_->maxAge(), 33u);
  expectSame(*config_, guest);
  guest.stpiConfigDel("Mstp");
  guest.disabledVlanDelAll();
  guest.backupToBackupIntfConfigDel("Ethernet2");
  pair_->settle();
  EXPECT_EQ(config_->stpiConfig().size(), 0u);
  expectSame(*config_, guest);
  pair_->expectOpen();
}

TEST_F(WritableTest, WritesOfBothEndsAgreeInTheEnd) {
  auto& guest = mirror(false);
  std::mt19937 random(3);
  for (int round = 0; round < 300; ++round) {
    config_->maxHopsIs(static_cast<uint8_t>(1 + random() % 40));
    guest.maxHopsIs(static_cast<uint8_t>(1 + random() % 40));
    const Pelmo::String name("Ethernet" + std::to_string(random() % 4));
    auto& side = random() % 2 == 0 ? *config_ : guest;
    if (random() % 3 == 0) {
      side.portConfigDel(name);
    } else {
      side.portConfigIs(name)->mcheckVerInc(1);
    }
    if (random() % 2 == 0) pair_->host->flush();
    if (random() % 2 == 0) pair_->guest->flush();
    if (random() % 3 == 0 && readable(pair_->host->readFd())) pair_->host->handleReadable();
    if (random() % 3 == 0 && readable(pair_->guest->readFd())) pair_->guest->handleReadable();
  }
  pair_->settle();
  expectSame(*config_, guest);
  pair_->expectOpen();
}

TEST_F(WritableTest, AReadOnlyGuestSendsNothing) {
  auto& guest = mirror(true);
  guest.maxAgeIs(33);
  pair_->settle();
  EXPECT_EQ(config_->maxAge(), Stp::ConfigBase::defaultMaxAge);
  pair_->expectOpen();
}

TEST_F(WritableTest, AHostThatMayNotBeWrittenMakesTheMountReadOnly) {
  pair_->host->host().servesIs(true, false);
  auto& guest = mirror(false);
  guest.maxAgeIs(33);
  pair_->settle();
  EXPECT_EQ(config_->maxAge(), Stp::ConfigBase::defaultMaxAge);
}

TEST_F(WritableTest, NothingOfAGuestComesBack) {
  auto& guest = mirror(false);
  const uint64_t before = pair_->host->figures().messagesSent;
  Replay replay(guest);
  guest.maxAgeIs(33);
  guest.portConfigIs("Ethernet1")->mcheckVerInc(1);
  guest.disabledVlanIs(5, true);
  const size_t own = replay.changes();
  pair_->settle();
  EXPECT_EQ(pair_->host->figures().messagesSent, before);
  EXPECT_EQ(replay.changes(), own);
  expectSame(*config_, guest);
  // Nor what the host was about to say of it.
  config_->portConfigDel("Ethernet1");
  config_->portConfigIs("Ethernet1");
  config_->portConfigIs("Ethernet2");
  guest.portConfigDel("Ethernet1");
  guest.portConfigIs("Ethernet2");
  pair_->guest->flush();
  pair_->host->handleReadable();
  pair_->settle();
  EXPECT_EQ(pair_->host->figures().messagesSent, before);
  EXPECT_EQ(config_->portConfig().size(), 1u);
  expectSame(*config_, guest);
}

// A guest's write to what waits for its target stays when that arrives.
TEST_F(WritableTest, WhatWaitedAndWasWrittenWaitsNoMore) {
  const auto quiesce = Stp::quiesceConfigFactory("quiesce");
  const auto config = Stp::configFactory("config");
  pair_->hostDirectory.mount("/quiesce", quiesce);
  pair_->hostDirectory.mount("/config", config);
  const auto target = config->backupIntfConfigIs("Ethernet1", "Ethernet2");
  quiesce->stpConfigIs(config);
  config_->backupToBackupIntfConfigIs("Ethernet2", target);
  auto& input = mirror(false);
  auto& mirrored = static_cast<Stp::QuiesceConfig&>(pair_->mirror("/quiesce", false));
  mirrored.stpConfigIs(Stp::configFactory("elsewhere"));
  mirrored.stpConfigIs(nullptr);
  input.backupToBackupIntfConfigIs("Ethernet2", Stp::backupIntfConfigFactory("x", "y"));
  input.backupToBackupIntfConfigDel("Ethernet2");
  pair_->settle();
  pair_->mirror("/config");
  expectSame(*quiesce, mirrored);
  expectSame(*config_, input);
  EXPECT_FALSE(mirrored.stpConfig());
}

// A guest's write is not lost to what the host says of the time before it knew of it, however the
// two are chopped up.
TEST_F(WritableTest, TheGuestsWriteStaysWhenTheHostHasNotSeenIt) {
  for (const size_t output : {size_t{1}, size_t{60}, size_t{4096}}) {
    Limits limits;
    limits.outputBytes = output;
    pair_ = std::make_unique<Pair>(limits, limits);
    config_ = Stp::Input::configFactory("cli");
    pair_->hostDirectory.mount("/input", config_);
    auto& guest = mirror(false);
    for (uint16_t round = 1; round < 50; ++round) {
      const Pelmo::String name("Ethernet" + std::to_string(round));
      // Both make the port; then the guest deletes it, or sets it.
      config_->portConfigIs(name)->mcheckVerInc(100);
      config_->maxAgeIs(6 + round % 5);
      guest.maxAgeIs(20 + round % 5);
      guest.portConfigIs(name)->mcheckVerInc(round);
      if (round % 2 == 0) pair_->host->flush();
      pair_->guest->flush();
      if (round % 3 == 0) pair_->guest->handleReadable();
      if (round % 5 == 0) guest.portConfigDel(name);
      pair_->settle();
      EXPECT_EQ(config_->maxAge(), 20u + round % 5);
      const auto port = config_->portConfig(name);
      EXPECT_EQ(port ? port->mcheckVer() : 0, round % 5 != 0 ? round : 0);
      expectSame(*config_, guest);
    }
    pair_->expectOpen();
  }
}

// What a host says of an element that the guest has made: of a key that the guest has mentioned it
// counts when that message is taken, of others when the whole transfer is.
TEST_F(WritableTest, WhatIsSaidOfANewElementCountsWhenItIsTaken) {
  const struct {
    uint32_t taken;
    bool mentionedStays;
    bool otherComes;
  } cases[] = {{0, true, false}, {3, false, false}, {4, false, true}};
  for (const auto& [taken, mentionedStays, otherComes] : cases) {
    SCOPED_TRACE(taken);
    Directory directory;
    RawPeer host(directory);
    host.connection().guest().mount("/hw", false);
    host.send(greeting() +
              message(0, 6, text("/hw") + u8(0) + text("Stp::Hw") + u32(1) + text("hw")) +
              message(0, 9));
    auto& mirror = static_cast<Stp::Hw&>(*directory.mounted("/hw"));
    const auto made = mirror.mstiHwIs("Mst0");
    made->mstiPortHwIs("Et1");
    host.settle();
    const uint32_t number = 0x80000001;
    host.send((taken > 0 ? message(0, 12, u32(taken)) : "") +
              message(number, 65536 - 258, text("Et1")) +
              message(number, 258, text("Et2") + text("Et2") + u32(2)) + message(0, 9));
    EXPECT_EQ(made->mstiPortHwContains("Et1"), mentionedStays);
    EXPECT_EQ(made->mstiPortHwContains("Et2"), otherComes);
    EXPECT_EQ(host.connection().closeReason(), "");
  }
}

// A guest's reference to what it has from before travels under another number when that is mounted.
TEST_F(WritableTest, AReferenceToWhatIsBeingMountedIsSentAgain) {
  const auto quiesce = Stp::quiesceConfigFactory("quiesce");
  const auto config = Stp::configFactory("config");
  pair_->hostDirectory.mount("/quiesce", quiesce);
  pair_->hostDirectory.mount("/config", config);
  const auto known = Stp::configFactory("config");
  pair_->guestDirectory.mount("/config", known);
  auto& mirrored = static_cast<Stp::QuiesceConfig&>(pair_->mirror("/quiesce", false));
  pair_->guest->guest().mount("/config", false);
  pair_->guest->flush();
  pair_->host->handleReadable();
  pair_->host->flush();
  mirrored.stpConfigIs(known);
  pair_->guest->flush();
  pair_->settle();
  EXPECT_EQ(quiesce->stpConfig(), config);
  EXPECT_EQ(mirrored.stpConfig(), known);
}

TEST_F(WritableTest, WritesToWhatTheHostHasDeletedAreCounted) {
  config_->portConfigIs("Ethernet1");
  auto& guest = mirror(false);
  config_->portConfigDel("Ethernet1");
  guest.portConfig("Ethernet1")->mcheckVerInc(1);
  pair_->settle();
  EXPECT_EQ(pair_->host->figures().unknownEntities, 1u);
  EXPECT_EQ(guest.portConfig().size(), 0u);
  expectSame(*config_, guest);
  pair_->expectOpen();
}

TEST_F(WritableTest, TwoGuestsMeetAtTheHost) {
  auto& first = mirror(false);
  Pair other;
  other.hostDirectory.mount("/input", config_);
  auto& second = static_cast<Stp::Input::Config&>(other.mirror("/input", false));
  Writer firstWriter(first, 1);
  Writer secondWriter(second, 2);
  for (int round = 0; round < 40; ++round) {
    firstWriter.steps(5);
    secondWriter.steps(5);
    if (round % 3 == 0) pair_->settle();
    if (round % 4 == 0) other.settle();
  }
  const auto settle = [&] {
    for (int i = 0; i < 4; ++i) {
      pair_->settle();
      other.settle();
    }
  };
  settle();
  Writer(*config_, 3).clearDangling();
  settle();
  expectSame(*config_, first);
  expectSame(*config_, second);
}

}  // namespace
}  // namespace Mirror
