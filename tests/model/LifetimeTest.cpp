// Counters, the clock, and how entities end.
#include <limits>
#include <set>

#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "Tovo/System.h"

namespace {

using namespace Stp;

class LifetimeTest : public ModelTest {};

// ---------------------------------------------------------------------------------------- counters

template <class T, class Number, class Get, class Set, class Inc>
void expectCounter(const Pelmo::Ptr<T>& entity, const char* name, const Get& get, const Set& set,
                   const Inc& inc) {
  SCOPED_TRACE(name);
  constexpr Number highest = std::numeric_limits<Number>::max();
  static_assert(std::is_same_v<std::decay_t<decltype(inc(*entity, Number{1}))>, Number>);
  const std::string line = std::string(entity->nameString().view()) + "." + name + " was ";
  Recorder recorder(*entity);
  EXPECT_EQ(inc(*entity, 0), 0);
  EXPECT_EQ(recorder.take(), Lines{});
  EXPECT_EQ(inc(*entity, 5), 5);
  set(*entity, highest);
  EXPECT_EQ(inc(*entity, 0), highest);
  EXPECT_EQ(recorder.take(), (Lines{line + "0", line + "5"}));
  EXPECT_EQ(inc(*entity, 1), 0);
  EXPECT_EQ(get(*entity), 0);
  EXPECT_EQ(recorder.take(), Lines{line + std::to_string(highest)});
  EXPECT_EQ(inc(*entity, highest), highest);
  EXPECT_EQ(inc(*entity, highest), highest - 1);
}

#define COUNTER(T, entity, x, Number)                 \
  expectCounter<T, Number>(                           \
      entity, #x, [](const T& at) { return at.x(); }, \
      [](T& at, Number value) { at.x##Is(value); },   \
      [](T& at, Number delta) { return at.x##Inc(delta); })

TEST_F(LifetimeTest, CountersWrapAtTheirWidth) {
  const auto status = statusFactory("s");
  const auto msti = status->stpiStatusIs("i")->mstiStatusIs("m", InstanceId(0));
  const auto port = msti->mstiPortStatusIs("e", 1);
  const auto input = Input::externalConfigFactory("x");
  COUNTER(Status, status, stableCounter, uint32_t);
  COUNTER(MstiPortStatus, port, fdbFlush, uint32_t);
  COUNTER(StandbyStatus, standbyStatusFactory("y"), restartCounter, uint32_t);
  COUNTER(Input::ExternalConfig, input, rcvdInfoWhileReset, uint32_t);
  COUNTER(PortConfig, configFactory("c")->portConfigIs("p"), mcheckVer, uint16_t);
}

// The result is what was counted, whatever an observer does to the counter or its entity.
TEST_F(LifetimeTest, CountersReturnTheirOwnSum) {
  auto status = statusFactory("s");
  Recorder recorder(*status);
  recorder.then = [&](const Pelmo::Change&) { status->stableCounterIs(100); };
  EXPECT_EQ(status->stableCounterInc(2), 2u);
  EXPECT_EQ(status->stableCounter(), 100u);
  recorder.then = [&](const Pelmo::Change&) { status = nullptr; };
  EXPECT_EQ(status->stableCounterInc(3), 103u);
}

// Counting in the value tells nobody; writing the value back does.
TEST_F(LifetimeTest, CounterValuesAreWrittenWhole) {
  const auto port = StpiPortStatus::StpiPortStatusIs("e", 12.5);
  Recorder recorder(*port);
  PortCounters counters = port->counters();
  counters.bpduTxIs(4294967295);
  EXPECT_EQ(counters.bpduTxInc(1), 0u);
  EXPECT_EQ(counters.bpduRxInc(7), 7u);
  EXPECT_EQ(recorder.take(), Lines{});
  port->countersIs(counters);
  port->countersIs(counters);
  EXPECT_EQ(recorder.take().size(), 1u);
  counters.timestampIs(1);
  port->countersIs(counters);
  EXPECT_EQ(recorder.take().size(), 1u);
  // Nothing else of it is counted up.
  const auto hasInc = [](auto& at) {
    return requires { at.stableCounterSyncedInc(1u); };
  };
  EXPECT_FALSE(hasInc(*stableCounterSyncerFactory("y")));
}

TEST_F(LifetimeTest, RecentlyRestartedFor120Seconds) {
  const auto status = statusFactory("s");
  const auto at = [&](Tovo::Seconds now) {
    Tovo::System::currentTimeIs(now);
    EXPECT_EQ(got(*status, 268), status->recentlyRestarted() ? "true" : "false");
    return status->recentlyRestarted();
  };
  EXPECT_TRUE(at(119.9));
  EXPECT_FALSE(at(120));
  status->lastRestartIs(1000);
  status->stableDelayIs(500);
  EXPECT_TRUE(at(1000));
  EXPECT_TRUE(at(1119.9));
  EXPECT_FALSE(at(1120));
  EXPECT_TRUE(at(900));
}

// Seconds compare as numbers: no number equals itself when it is none.
TEST_F(LifetimeTest, SecondsCompareAsNumbers) {
  const auto status = statusFactory("s");
  Recorder recorder(*status);
  status->lastRestartIs(-0.0);
  EXPECT_EQ(recorder.take(), Lines{});
  status->lastRestartIs(std::numeric_limits<double>::quiet_NaN());
  status->lastRestartIs(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(recorder.take(), (Lines{"s.lastRestart was 0", "s.lastRestart was nan"}));
  EXPECT_FALSE(status->recentlyRestarted());
}

// ------------------------------------------------------------------------------------- destruction

TEST_F(LifetimeTest, DestructionPublishesTheRemovalsInOrder) {
  std::vector<Pelmo::Ptr<Tovo::Entity>> held;
  {
    auto config = configFactory("c");
    const auto stpi = config->stpiConfigIs("i");
    const auto pair = config->backupIntfConfigIs("b", "x");
    held = {stpi, config->portConfigIs("p"), config->portConfigIs("q"), pair};
    config->backupToBackupIntfConfigIs("x", pair);
    config->disabledVlanIs(5, true);
    Recorder recorder(*config);
    config = nullptr;
    // Own collections before those of the base, each in its order; the others without a word.
    EXPECT_EQ(recorder.take(), (Lines{"c.portConfig['p'] was p", "c.portConfig['q'] was q",
                                      "c.stpiConfig['i'] was i", "c.backupIntfConfig['b'] was b"}));
    EXPECT_EQ(recorder.observed(), nullptr);
  }
  {
    auto status = statusFactory("s");
    status->vlanMembershipIs(Nelka::IntfId("Ethernet1"))->vidsIs(Bridging::VlanId(1), true);
    status->backupIntfStatusIs("b", "x");
    status->stableCounterSyncerIs("y");
    status->stpiStatusIs("i");
    status->vlanMembershipDesiredIs(Nelka::IntfId("Ethernet1"), true);
    Recorder recorder(*status);
    status = nullptr;
    EXPECT_EQ(recorder.take(), (Lines{"s.stpiStatus['i'] was i", "s.stableCounterSyncer['y'] was y",
                                      "s.backupIntfStatus['b'] was b",
                                      "s.vlanMembership[Ethernet1] was Ethernet1"}));
  }
  {
    auto stpi = StpiConfig::StpiConfigIs("i");
    stpi->mstiConfigIs("m", InstanceId(1))->mstiPortConfigIs("e");
    stpi->stpiPortConfigIs("e");
    Recorder recorder(*stpi);
    stpi = nullptr;
    EXPECT_EQ(recorder.take(), (Lines{"i.stpiPortConfig['e'] was e", "i.mstiConfig['m'] was m"}));
  }
  // What was held elsewhere is still there, without a parent and usable.
  for (const auto& entity : held) {
    EXPECT_EQ(entity->parent(), nullptr);
    EXPECT_EQ(entity->references(), 1u);
  }
  static_cast<PortConfig&>(*held[1]).portHelloTimeIs(5);
  static_cast<StpiConfig&>(*held[0]).mstiConfigIs("m", InstanceId(1));
}

// The ports of an instance go when it dies, not when it leaves the tree.
TEST_F(LifetimeTest, SubtreesAnnounceTheirOwnEnd) {
  const auto hw = hwFactory("h");
  hw->mstiHwIs("m")->mstiPortHwIs("e");
  Recorder tree(*hw);
  auto msti = hw->mstiHwDel("m");
  EXPECT_EQ(tree.take(), Lines{"h.mstiHw['m'] was m"});
  Recorder instance(*msti);
  EXPECT_EQ(msti->mstiPortHw().size(), 1u);
  msti = nullptr;
  EXPECT_EQ(instance.take(), Lines{"m.mstiPortHw['e'] was e"});
  EXPECT_EQ(tree.take(), Lines{});
}

TEST_F(LifetimeTest, TheRootPortOutlivesItsRemoval) {
  const auto msti = MstiStatus::MstiStatusIs("m", InstanceId(0));
  const Tovo::Entity* port = nullptr;
  {
    const auto made = msti->mstiPortStatusIs("e", 1);
    port = made.get();
    msti->rootPortIs(made);
  }
  Recorder recorder(*msti);
  msti->mstiPortStatusDel("e");
  EXPECT_EQ(msti->rootPort().get(), port);
  EXPECT_EQ(msti->rootPort()->references(), 1u);
  msti->mstiPortStatusIs("e", 1);
  msti->rootPortIs(msti->mstiPortStatus("e"));
  msti->rootPortIs(msti->mstiPortStatus("e"));
  msti->rootPortIs(nullptr);
  EXPECT_EQ(recorder.take(), (Lines{"m.mstiPortStatus['e'] was e", "m.mstiPortStatus['e'] added",
                                    "m.rootPort was e", "m.rootPort was e"}));
}

void fill(Tovo::Entity& owner, Tovo::Attribute collection, int key, Samples& samples) {
  const std::string at = keyText(collection, key);
  if (collection.kind() == Tovo::AttributeKind::ownCollection) {
    const Lines parameters(Tovo::constructorParameters(collection.type()).size(), "1");
    newElement(owner, collection, at, parameters);
  } else if (collection.kind() == Tovo::AttributeKind::refCollection) {
    putReference(owner, collection, at, *newEntity(collection.type(), samples));
  } else {
    putElement(owner, collection, at, text(collection.ops(), samples.any(collection)->get()));
  }
}

// Does to a dying owner what can be done to an entity, at each of its last notifications.
class Meddler : public Pelmo::Observer {
 public:
  Meddler(Tovo::Entity& owner, Samples& samples)
      : owner_(owner), type_(owner.tovoType()), samples_(samples) {
    forEachChild(owner, [&](Tovo::Entity& child, Tovo::Attribute each) {
      own_.insert(lineOf(each, child));
    });
    observeRecursive(owner.publisher());
  }
  void handleChange(const Pelmo::Change& change) override {
    const Tovo::Attribute collection = attributeById(type_, change.attribute);
    if (&Tovo::entityOf(change.source) != &owner_ || owner_.nodeFlag(Pelmo::Node::flagLive)) return;
    if (change.previous && collection.kind() == Tovo::AttributeKind::ownCollection) {
      const Pelmo::Ptr<Tovo::Entity>& removed =
          *static_cast<const Pelmo::Ptr<Tovo::Entity>*>(change.previous);
      const std::string line = lineOf(collection, *removed);
      if (own_.contains(line)) told.push_back(line);
    }
    if (std::exchange(meddling_, true)) return;
    EXPECT_EQ(owner_.tovoType(), type_);
    EXPECT_EQ(owner_.typeData(), type_.module);
    EXPECT_EQ(Tovo::pathOf(owner_), "(" + std::string(typeName(type_)) + " 1)");
    const Pelmo::Ptr<Tovo::Entity> visitor(&owner_);
    forEachAttribute(type_, [&](Tovo::Attribute each) { touch(each); });
    meddling_ = false;
    throw 1;
  }
  Lines told;

 private:
  static std::string lineOf(Tovo::Attribute collection, const Tovo::Entity& element) {
    return std::string(collection.name()) + " " + element.nameString().data();
  }
  void touch(Tovo::Attribute each) {
    if (each.isCollection()) {
      fill(owner_, each, ++keys_, samples_);
    } else if (each.kind() == Tovo::AttributeKind::pointer) {
      Tovo::pointerIs(owner_, each, newEntity(each.type(), samples_).get());
    } else {
      Tovo::attributeText(owner_, each);
      if (each.kind() != Tovo::AttributeKind::attribute) return;
      attributeOp(type_, nullptr, &owner_, each.id(), Tovo::OperationCode::set, nullptr,
                  samples_.any(each)->get());
    }
  }

  Tovo::Entity& owner_;
  const Tovo::TovoTypeBase type_;
  Samples& samples_;
  std::set<std::string> own_;  // what it owned before
  bool meddling_ = false;
  int keys_ = 10;
};

// The removals of an inherited collection are published by the whole object, as those of its own,
// and what observers leave behind goes without a word, or stays without a parent.
TEST_F(LifetimeTest, EveryDyingOwnerIsWholeUntilItsLastElementIsGone) {
  Samples samples(11);
  size_t owners = 0;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t index = 0; index < module->typeCount; ++index) {
      const Tovo::TovoTypeBase type{module, index};
      if (typeDescriptor(type).kind != Tovo::TypeKind::entity) continue;
      SCOPED_TRACE(typeName(type));
      Lines expected;
      for (Tovo::TovoTypeBase level = type; level; level = baseType(level)) {
        for (const Tovo::AttributeDescriptor& own : ownAttributes(level)) {
          const Tovo::Attribute each(*level.module, own);
          if (each.kind() != Tovo::AttributeKind::ownCollection) continue;
          for (const int key : {1, 2}) {
            expected.push_back(std::string(each.name()) + " " + keyText(each, key));
          }
        }
      }
      if (expected.empty()) continue;
      ++owners;
      auto owner = newEntity(type, samples);
      forEachAttribute(type, [&](Tovo::Attribute each) {
        for (const int key : {1, 2}) {
          if (each.isCollection()) fill(*owner, each, key, samples);
        }
      });
      Meddler meddler(*owner, samples);
      owner = nullptr;
      EXPECT_EQ(meddler.told, expected);
      EXPECT_EQ(meddler.observed(), nullptr);
    }
  }
  EXPECT_EQ(owners, 15u);
}

// What comes into a dying owner goes with it, or stays without a parent.
TEST_F(LifetimeTest, ObserversMayInsertIntoADyingOwner) {
  auto config = configFactory("c");
  Config* dying = config.get();
  config->portConfigIs("p");
  Recorder recorder(*config);
  Pelmo::Ptr<PortConfig> held;
  recorder.then = [&](const Pelmo::Change& change) {
    if (!change.previous) return;
    held = dying->portConfigIs("late");
    dying->portConfigIs("later");
    dying->disabledVlanIs(1, true);
  };
  config = nullptr;
  EXPECT_EQ(held->parent(), nullptr);
  EXPECT_EQ(held->references(), 1u);
  held->portHelloTimeIs(5);
}

// An observer may take the last reference before it is too late for that.
TEST_F(LifetimeTest, AnOwnerThatSomebodyKeepsLivesOnWithoutItsElements) {
  auto config = configFactory("c");
  config->portConfigIs("p");
  config->disabledVlanIs(5, true);
  Recorder recorder(*config);
  Pelmo::Ptr<Tovo::Entity> kept;
  recorder.then = [&](const Pelmo::Change& change) {
    kept = Pelmo::Ptr<Tovo::Entity>(&Tovo::entityOf(change.source));
  };
  config = nullptr;
  EXPECT_EQ(recorder.take(), Lines{"c.portConfig['p'] was p"});
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->references(), 1u);
  EXPECT_TRUE(kept->nodeFlag(Pelmo::Node::flagLive));
  auto& again = static_cast<Config&>(*kept);
  EXPECT_TRUE(again.portConfig().empty());
  EXPECT_TRUE(again.disabledVlan(5));
  recorder.then = nullptr;
  again.stpiConfigIs("i");
  kept = nullptr;
  EXPECT_EQ(recorder.take(), (Lines{"c.stpiConfig['i'] added", "c.stpiConfig['i'] was i"}));
  EXPECT_EQ(recorder.observed(), nullptr);
}

// Who hears that the target of a reference ends with its holder may write to the holder once more.
TEST_F(LifetimeTest, WhatComesInWhileReferencesGoLeavesNothingBehind) {
  struct Refiller : Pelmo::Observer {
    void handleChange(const Pelmo::Change&) override {}
    void handlePublisherGone() override { then(); }
    std::function<void()> then;
  };
  auto config = Input::externalConfigFactory("c");
  Input::ExternalConfig& dying = *config;
  Refiller refiller;
  bool told = false;
  refiller.then = [&] {
    told = true;
    EXPECT_EQ(dying.tovoType(), Input::ExternalConfig::tovoStaticType());
    dying.backupToBackupIntfConfigIs("y", BackupIntfConfig::BackupIntfConfigIs("t", "y"));
    dying.disabledVlanIs(7, true);
    dying.portConfigIs("p");
  };
  {
    const auto target = BackupIntfConfig::BackupIntfConfigIs("t", "x");
    refiller.observe(target->publisher());
    dying.backupToBackupIntfConfigIs("x", target);
  }
  config = nullptr;
  EXPECT_TRUE(told);
}

TEST_F(LifetimeTest, ObserversMayDropTheTreeThatTheyHearFrom) {
  auto status = statusFactory("s");
  auto port = status->stpiStatusIs("i")->mstiStatusIs("m", InstanceId(0))->mstiPortStatusIs("e", 1);
  Recorder recorder(*status);
  recorder.then = [&](const Pelmo::Change&) {
    port = nullptr;
    status = nullptr;
  };
  port->roleIs(MstiPortStatus::Role::root);
  EXPECT_EQ(status, nullptr);
}

// ------------------------------------------------------------------------------------ construction

// The check of the inherited values serves types that start elsewhere.
class FastConfig : public ConfigBase {
 public:
  FastConfig() : ConfigBase("fast") {
    disabledVlanIs(1, true);
    backupIntfConfigIs("p", "q");
    maxAgeIs(5);
  }
  const Tovo::TovoModule* typeData() const noexcept override { return tovoType().module; }
  Tovo::TovoTypeBase tovoType() const noexcept override { return ConfigBase::tovoStaticType(); }
};

TEST_F(LifetimeTest, AConstructorThatThrowsLeavesNothingBehind) {
  const size_t before = Tovo::AllocTrackTypeInfo::totalLiveObjects();
  EXPECT_EQ(rangeError([] { new FastConfig; }), ConfigBase::maxAgeRange);
  EXPECT_EQ(Tovo::AllocTrackTypeInfo::totalLiveObjects(), before);
  // Arguments that do not parse as the key of a type without a name.
  const Tovo::TovoTypeBase type = typeNamed("Stp::OCMsti");
  EXPECT_THROW(genericIf(type).newEntityForDir(type, "65536", {}), Tovo::RangeException);
  EXPECT_THROW(genericIf(type).newEntityForDir(type, "1x", {}), Tovo::RangeException);
  EXPECT_EQ(Tovo::AllocTrackTypeInfo::totalLiveObjects(), before);
}

TEST_F(LifetimeTest, EveryClassAccountsForItsObjects) {
  const auto live = [](const char* name) -> std::pair<size_t, size_t> {
    for (auto* at = Tovo::AllocTrackTypeInfo::first(); at; at = at->next()) {
      if (std::string_view(at->name()) == name) return {at->liveObjects(), at->liveBytes()};
    }
    return {};
  };
  const auto msti = MstiStatus::MstiStatusIs("m", InstanceId(0));
  for (int i = 0; i < 10; ++i) msti->mstiPortStatusIs(std::to_string(i), 1);
  EXPECT_EQ(live("Stp::MstiStatus"), (std::pair<size_t, size_t>{1, sizeof(MstiStatus)}));
  EXPECT_EQ(live("Stp::MstiPortStatus"),
            (std::pair<size_t, size_t>{10, 10 * sizeof(MstiPortStatus)}));
  msti->mstiPortStatusDelAll();
  EXPECT_EQ(live("Stp::MstiPortStatus"), (std::pair<size_t, size_t>{0, 0}));
}

}  // namespace
