// First transfers and updates: what is at the host is at the guest, whatever the type.
#include <algorithm>
#include <string>

#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"

namespace Mirror {
namespace {

class TransferTest : public Test {};

// All entity types that a directory can create by a name alone.
std::vector<std::string> rootTypes() {
  std::vector<std::string> names;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t index = 0; index < module->typeCount; ++index) {
      const Tovo::TovoTypeBase type{module, index};
      if (Tovo::entityHooks(type) && Tovo::constructorParameters(type).empty() &&
          !Tovo::keyParameter(type)) {
        names.emplace_back(Tovo::typeName(type));
      }
    }
  }
  return names;
}

TEST_F(TransferTest, EveryRootTypeArrivesAndFollows) {
  const std::vector<std::string> types = rootTypes();
  ASSERT_GE(types.size(), 15u);
  for (const std::string& type : types) {
    SCOPED_TRACE(type);
    Pair pair;
    const Ptr<Entity> root = pair.root("/root", type);
    Writer writer(*root, 1);
    writer.fill();
    Entity& mirror = pair.mirror("/root");
    expectSame(*root, mirror);
    Replay replay(mirror);
    for (int round = 0; round < 20; ++round) {
      writer.steps(10);
      pair.settle();
      expectSame(*root, mirror);
    }
    replay.expectComplete();
    pair.expectOpen();
  }
}

TEST_F(TransferTest, ManyWritesBetweenTwoSendsTravelOnce) {
  Pair pair;
  const auto config = Stp::configFactory("cfg");
  pair.hostDirectory.mount("/config", config);
  auto& mirror = static_cast<Stp::Config&>(pair.mirror("/config"));
  const uint64_t before = pair.host->figures().messagesSent;
  Replay replay(mirror);
  for (uint32_t i = 0; i < 1000; ++i) config->maxAgeIs(6 + i % 35);
  for (int i = 0; i < 100; ++i) config->disabledVlanIs(10, i % 2 == 0);
  pair.settle();
  EXPECT_EQ(pair.host->figures().messagesSent - before, 2u);
  EXPECT_EQ(replay.changes(), 2u);
  EXPECT_EQ(mirror.maxAge(), config->maxAge());
}

TEST_F(TransferTest, LateReaderEqualsEarlyOne) {
  Pair early;
  const Ptr<Entity> root = early.root("/status", "Stp::Status");
  Writer writer(*root, 7);
  writer.fill();
  Entity& first = early.mirror("/status");
  for (int round = 0; round < 50; ++round) {
    writer.steps(40);
    early.settle();
  }
  Pair late;
  late.hostDirectory.mount("/status", root);
  Entity& second = late.mirror("/status");
  expectSame(*root, first);
  expectSame(first, second);
}

TEST_F(TransferTest, ReconnectPublishesOnlyWhatChanged) {
  Pair before;
  const auto hw = Stp::hwFactory("hw");
  before.hostDirectory.mount("/hw", hw);
  for (const char* instance : {"Mst0", "Mst1", "Mst2"}) {
    const auto mst = hw->mstiHwIs(instance);
    for (const char* port : {"Ethernet1", "Ethernet2"}) mst->mstiPortHwIs(port)->activeIs(true);
  }
  auto& mirror = static_cast<Stp::Hw&>(before.mirror("/hw"));
  const Ptr<Stp::MstiHw> kept = mirror.mstiHw("Mst0");
  before.guest.reset();
  before.host.reset();

  hw->mstiHwDel("Mst1");
  hw->mstiHw("Mst0")->mstiPortHwDel("Ethernet2");
  hw->mstiHw("Mst2")->mstiPortHw("Ethernet1")->activeIs(false);
  hw->mstiHwIs("Mst3");

  const Sockets sockets;
  before.host = std::make_unique<Connection>(sockets.a, before.hostDirectory);
  before.guest = std::make_unique<Connection>(sockets.b, before.guestDirectory);
  std::vector<std::string> published;
  Watch watch(mirror, [&](Entity& source, const Pelmo::Change& change) {
    const Attribute attribute = attributeById(source.tovoType(), change.attribute);
    published.push_back(std::string(source.nameString().view()) + "." + attribute.name());
  });
  Replay replay(mirror);
  Entity& again = before.mirror("/hw");
  EXPECT_EQ(&again, &mirror);
  EXPECT_EQ(mirror.mstiHw("Mst0"), kept);
  expectSame(*hw, mirror);
  replay.expectComplete();
  std::sort(published.begin(), published.end());
  EXPECT_EQ(published, (std::vector<std::string>{"Ethernet1.active", "Mst0.mstiPortHw", "hw.mstiHw",
                                                 "hw.mstiHw"}));
}

TEST_F(TransferTest, AnotherRootUnderTheSamePathIsReplaced) {
  Pair pair;
  pair.hostDirectory.mount("/status", Stp::statusFactory("a"));
  pair.guestDirectory.mount("/status", Stp::hwFactory("b"));
  Entity& mirror = pair.mirror("/status");
  EXPECT_STREQ(typeName(mirror.tovoType()), "Stp::Status");
  pair.expectOpen();
}

TEST_F(TransferTest, SubtreeIsMountedAlone) {
  Pair pair;
  const auto hw = Stp::hwFactory("hw");
  pair.hostDirectory.mount("/stp/hw", hw);
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Ethernet1");
  hw->mstiHwIs("Mst1");
  Entity& mirror = pair.mirror("/stp/hw/mstiHw/Mst0");
  expectSame(*hw->mstiHw("Mst0"), mirror);
  hw->mstiHwDel("Mst0");
  pair.settle();
  pair.expectOpen();
}

TEST_F(TransferTest, ElementWithOtherParametersIsReplaced) {
  const auto config = Stp::configFactory("cfg");
  Pair pair;
  pair.hostDirectory.mount("/config", config);
  const auto stpi = config->stpiConfigIs("Mst");
  stpi->mstiConfigIs("Mst1", Stp::InstanceId(1))->mstiPortConfigIs("Ethernet1");
  auto& mirror = static_cast<Stp::Config&>(pair.mirror("/config"));
  Replay replay(mirror);
  const Ptr<Stp::MstiConfig> old = mirror.stpiConfig("Mst")->mstiConfig("Mst1");
  // In one go: the guest learns of the second life only.
  stpi->mstiConfigDel("Mst1");
  stpi->mstiConfigIs("Mst1", Stp::InstanceId(2))->mstiPortConfigIs("Ethernet2");
  pair.settle();
  expectSame(*config, mirror);
  replay.expectComplete();
  EXPECT_NE(mirror.stpiConfig("Mst")->mstiConfig("Mst1"), old);
  EXPECT_EQ(old->parent(), nullptr);
  pair.expectOpen();
}

TEST_F(TransferTest, ElementOfASecondLifeWithTheSameParametersFollows) {
  const auto hw = Stp::hwFactory("hw");
  Pair pair;
  pair.hostDirectory.mount("/hw", hw);
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Ethernet1")->activeIs(true);
  auto& mirror = static_cast<Stp::Hw&>(pair.mirror("/hw", false));
  for (int life = 0; life < 3; ++life) {
    hw->mstiHwDel("Mst0");
    hw->mstiHwIs("Mst0")->mstiPortHwIs("Ethernet2");
    pair.settle();
    expectSame(*hw, mirror);
    // The guest speaks to the element of this life, too.
    mirror.mstiHw("Mst0")->mstiPortHw("Ethernet2")->activeIs(true);
    mirror.mstiHw("Mst0")->mstiPortHwIs("Ethernet3");
    pair.settle();
    EXPECT_TRUE(hw->mstiHw("Mst0")->mstiPortHw("Ethernet2")->active());
    expectSame(*hw, mirror);
  }
  EXPECT_EQ(pair.host->figures().unknownEntities, 0u);
  pair.expectOpen();
}

// ---------------------------------------------------------------------------------- references

TEST_F(TransferTest, ReferenceComesBeforeItsTargetAndOutlivesItsPlace) {
  Pair pair;
  const auto status = Stp::statusFactory("status");
  pair.hostDirectory.mount("/status", status);
  const auto msti = status->stpiStatusIs("Mst")->mstiStatusIs("Mst0", Stp::InstanceId(0));
  // The pointer has a lower id than the collection of its target, so it travels first.
  msti->rootPortIs(msti->mstiPortStatusIs("Ethernet1", 1));
  auto& mirror = static_cast<Stp::Status&>(pair.mirror("/status"));
  const auto mirrored = mirror.stpiStatus("Mst")->mstiStatus("Mst0");
  ASSERT_TRUE(mirrored->rootPort());
  EXPECT_EQ(mirrored->rootPort(), mirrored->mstiPortStatus("Ethernet1"));
  msti->mstiPortStatusDel("Ethernet1");
  pair.settle();
  ASSERT_TRUE(mirrored->rootPort());
  EXPECT_EQ(mirrored->rootPort()->parent(), nullptr);
  EXPECT_EQ(mirrored->rootPort()->name().view(), "Ethernet1");
  EXPECT_EQ(mirrored->rootPort()->enabledNonce(), 1u);
  // A new life under the same name is another port, whatever its nonce.
  msti->mstiPortStatusIs("Ethernet1", 1);
  pair.settle();
  EXPECT_NE(mirrored->rootPort(), mirrored->mstiPortStatus("Ethernet1"));
  msti->rootPortIs(msti->mstiPortStatus("Ethernet1"));
  pair.settle();
  EXPECT_EQ(mirrored->rootPort(), mirrored->mstiPortStatus("Ethernet1"));
  expectSame(*status, mirror);
}

TEST_F(TransferTest, ReferenceAcrossMountsWaitsForTheOther) {
  Pair pair;
  const auto config = Stp::configFactory("config");
  const auto quiesce = Stp::quiesceConfigFactory("quiesce");
  quiesce->stpConfigIs(config);
  pair.hostDirectory.mount("/config", config);
  pair.hostDirectory.mount("/quiesce", quiesce);
  auto& mirror = static_cast<Stp::QuiesceConfig&>(pair.mirror("/quiesce"));
  EXPECT_FALSE(mirror.stpConfig());  // not carried yet
  Entity& mirroredConfig = pair.mirror("/config");
  EXPECT_EQ(mirror.stpConfig().get(), &mirroredConfig);
  quiesce->stpConfigIs(Stp::configFactory("elsewhere"));  // never carried
  pair.settle();
  EXPECT_FALSE(mirror.stpConfig());
  quiesce->stpConfigIs(config);
  pair.settle();
  EXPECT_EQ(mirror.stpConfig().get(), &mirroredConfig);
  // What it waited for last counts.
  const auto third = Stp::configFactory("third");
  pair.hostDirectory.mount("/third", third);
  for (const auto& target : {third, config}) {
    quiesce->stpConfigIs(target);
    pair.settle();
  }
  pair.mirror("/third");
  EXPECT_EQ(mirror.stpConfig().get(), &mirroredConfig);
  pair.expectOpen();
}

TEST_F(TransferTest, ReferencesInACollection) {
  Pair pair;
  const auto config = Stp::configFactory("config");
  pair.hostDirectory.mount("/config", config);
  const auto pairConfig = config->backupIntfConfigIs("Ethernet1", "Ethernet2");
  auto& mirror = static_cast<Stp::Config&>(pair.mirror("/config"));
  config->backupToBackupIntfConfigIs("Ethernet2", pairConfig);
  config->backupToBackupIntfConfigIs("Ethernet3", Stp::backupIntfConfigFactory("x", "y"));
  pair.settle();
  EXPECT_EQ(mirror.backupToBackupIntfConfig("Ethernet2"), mirror.backupIntfConfig("Ethernet1"));
  EXPECT_FALSE(mirror.backupToBackupIntfConfig("Ethernet3"));  // not part of what is carried
  EXPECT_TRUE(mirror.backupToBackupIntfConfig("Ethernet2"));
  config->backupToBackupIntfConfigIs("Ethernet2", config->backupToBackupIntfConfig("Ethernet3"));
  pair.settle();
  EXPECT_FALSE(mirror.backupToBackupIntfConfig("Ethernet2"));  // not any more
  config->backupToBackupIntfConfigDel("Ethernet2");
  config->backupToBackupIntfConfigDel("Ethernet3");
  pair.settle();
  expectSame(*config, mirror);
}

// Both ends host and mirror over one connection: the numbers of one side are not the other's.
TEST_F(TransferTest, BothSidesHost) {
  Pair pair;
  const auto status = Stp::statusFactory("status");
  const auto config = Stp::configFactory("config");
  pair.hostDirectory.mount("/status", status);
  pair.guestDirectory.mount("/config", config);
  Writer statusWriter(*status, 3);
  Writer configWriter(*config, 4);
  statusWriter.fill();
  configWriter.fill();
  pair.guest->guest().mount("/status", true);
  pair.host->guest().mount("/config", false);
  pair.settle();
  pair.expectOpen();
  ASSERT_TRUE(pair.guestDirectory.mounted("/status"));
  ASSERT_TRUE(pair.hostDirectory.mounted("/config"));
  for (int round = 0; round < 30; ++round) {
    statusWriter.steps(20);
    configWriter.steps(20);
    pair.settle();
    expectSame(*status, *pair.guestDirectory.mounted("/status"));
    expectSame(*config, *pair.hostDirectory.mounted("/config"));
  }
  pair.expectOpen();
}

TEST_F(TransferTest, RefusalsComeInWords) {
  struct {
    const char* path;
    const char* reason;
  } const cases[] = {
      {"/nothing", "nothing is mounted at '/nothing'"},
      {"/hw/mstiHw/Mst9", "no element 'Mst9'"},
      {"/hw/mstiHw", "is not an entity"},
      {"/hw/wrong", "has no 'wrong'"},
      {"", "nothing is mounted at ''"},
  };
  Pair pair;
  pair.root("/hw", "Stp::Hw");
  for (const auto& [path, reason] : cases) {
    const size_t before = pair.guest->guest().refusals().size();
    pair.guest->guest().mount(path, true);
    pair.settle();
    ASSERT_EQ(pair.guest->guest().refusals().size(), before + 1) << path;
    EXPECT_NE(pair.guest->guest().refusals().back().find(reason), std::string::npos)
        << pair.guest->guest().refusals().back();
  }
  pair.mirror("/hw");
  pair.guest->guest().create("/hw", "Stp::Hw");
  pair.guest->guest().create("/new", "Stp::Nothing");
  pair.guest->guest().create("/new", "Stp::BridgeId");
  pair.guest->guest().create("/new", "Stp::OCMsti");
  pair.guest->guest().create("/new", "Stp::Hw");
  pair.settle();
  EXPECT_EQ(pair.guest->guest().refusals().size(), std::size(cases) + 4);
  EXPECT_TRUE(pair.hostDirectory.mounted("/new"));
  pair.host->host().servesIs(false, false);
  pair.guest->guest().mount("/new", true);
  pair.settle();
  EXPECT_EQ(pair.guest->guest().refusals().back(), "nothing is served here");
  pair.expectOpen();
}

}  // namespace
}  // namespace Mirror
