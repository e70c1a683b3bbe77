// Collections of every kind: what they hold, what they publish, what they refuse.
#include <algorithm>
#include <ranges>

#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/Collection.h"
#include "Tovo/Inspect.h"

namespace {

using namespace Stp;
using Nelka::IntfId;
using Tovo::AttributeKind;
using Owner = Pelmo::Ptr<Tovo::Entity>;

class CollectionsTest : public ModelTest {
 protected:
  /// Every collection of a kind in a fresh owner, and how notifications of it begin. Returns how
  /// many there are.
  template <class Body>
  static size_t forEachCollection(AttributeKind kind, const Body& body) {
    size_t collections = 0;
    Samples samples(50);
    forEachType({Tovo::TypeKind::entity}, [&](Tovo::TovoTypeBase type) {
      for (const Tovo::AttributeDescriptor& own : ownAttributes(type)) {
        if (own.kind != kind) continue;
        ++collections;
        const Tovo::Attribute collection(*type.module, own);
        SCOPED_TRACE(collection.name());
        const auto owner = newEntity(type, samples);
        body(owner, collection,
             std::string(owner->nameString().view()) + "." + collection.name() + "[");
      }
    });
    return collections;
  }
};

// ----------------------------------------------------------------- all of the model, by reflection

// The key as a notification prints it.
std::string keyShown(Tovo::Attribute collection, int turn) {
  const std::string key = keyText(collection, turn);
  return collection.keyTypeName() == std::string("String") ? "'" + key + "'" : key;
}

TEST_F(CollectionsTest, EveryOwningCollectionMakesFindsRefusesAndRemoves) {
  const size_t collections = forEachCollection(
      AttributeKind::ownCollection,
      [](const Owner& owner, Tovo::Attribute collection, const std::string& at) {
        const bool parameters = Tovo::constructorParameters(collection.type()).size() == 1;
        const auto make = [&](int key, const std::string& value) {
          return newElement(*owner, collection, keyText(collection, key),
                            parameters ? Lines{value} : Lines{});
        };
        Recorder recorder(*owner);
        // When it is announced, it is done.
        recorder.then = [&](const Pelmo::Change& change) {
          const void* item = collectionFind(*owner, collection, change.key);
          ASSERT_EQ(item == nullptr, change.previous != nullptr);
          const auto* removed = static_cast<const Pelmo::Ptr<Tovo::Entity>*>(change.previous);
          const Tovo::Entity& element = removed ? **removed : *Tovo::elementEntity(item);
          EXPECT_EQ(element.parent(), removed ? nullptr : owner.get());
        };
        EXPECT_THROW(
            newElement(*owner, collection, keyText(collection, 1), Lines(parameters ? 2 : 1, "1")),
            Tovo::NewEntityArgsException);
        const auto first = make(1, "1");
        EXPECT_EQ(first->parent(), owner.get());
        EXPECT_EQ(first->nameString(), keyText(collection, 1).c_str());
        EXPECT_EQ(first->tovoType(), collection.type());
        EXPECT_EQ(recorder.take(), Lines{at + keyShown(collection, 1) + "] added"});
        EXPECT_EQ(make(1, "1"), first);
        if (parameters) {
          const Tovo::Attribute parameter = Tovo::constructorParameters(collection.type()).front();
          EXPECT_EQ(parameter.id(), 258);
          try {
            EXPECT_EQ(make(1, "2"), first);
            EXPECT_TRUE(collection.has(Tovo::AttributeDescriptor::noCompare));
          } catch (const Tovo::MutatorReinstantiatingException& error) {
            EXPECT_FALSE(collection.has(Tovo::AttributeDescriptor::noCompare));
            EXPECT_EQ(error.attribute(), 258);
            const bool quoted = parameter.typeName() == std::string("String");
            EXPECT_EQ(error.existing(), quoted ? "'1'" : "1");
            EXPECT_EQ(error.requested(), quoted ? "'2'" : "2");
          }
          EXPECT_EQ(got(*first, 258).find('2'), std::string::npos);
        }
        EXPECT_EQ(recorder.take(), Lines{});
        EXPECT_FALSE(deleteElement(*owner, collection, keyText(collection, 2)));
        EXPECT_EQ(recorder.take(), Lines{});
        make(2, "5");
        EXPECT_TRUE(deleteElement(*owner, collection, keyText(collection, 1)));
        EXPECT_EQ(first->parent(), nullptr);
        EXPECT_EQ(recorder.take(),
                  (Lines{at + keyShown(collection, 2) + "] added",
                         at + keyShown(collection, 1) + "] was " + keyText(collection, 1)}));
        // Outside the tree it lives on, and nobody up there hears of it.
        EXPECT_EQ(first->references(), 1u);
        EXPECT_FALSE(first->publisher().observed());
        // A deleted element may be made anew with other parameters.
        EXPECT_NE(make(1, "2"), first);
        EXPECT_EQ(collectionMap(*owner, collection).size(), 2u);
      });
  EXPECT_EQ(collections, 22u);
}

TEST_F(CollectionsTest, EveryValueCollectionIsSilentOnTheSameValue) {
  const size_t collections = forEachCollection(
      AttributeKind::valueCollection,
      [](const Owner& owner, Tovo::Attribute collection, const std::string& at) {
        const std::string one = at + keyShown(collection, 1) + "]";
        const bool flags = collection.typeName() == std::string("bool");
        const std::string low =
            flags ? "false"
                  : text(collection.ops(), &static_cast<const PortCounters&>(PortCounters()));
        PortCounters counted;
        counted.bpduRxIs(1);
        const std::string high = flags ? "true" : text(collection.ops(), &counted);
        Recorder recorder(*owner);
        const auto put = [&](const std::string& value) {
          putElement(*owner, collection, keyText(collection, 1), value);
          return recorder.take();
        };
        // An entry with the lowest value is an entry.
        EXPECT_EQ(put(low), Lines{one + " added"});
        EXPECT_EQ(collectionMap(*owner, collection).size(), 1u);
        EXPECT_EQ(put(low), Lines{});
        EXPECT_EQ(put(high), Lines{one + " was " + low});
        EXPECT_EQ(put(high), Lines{});
        EXPECT_EQ(put(low), Lines{one + " was " + high});
        EXPECT_TRUE(deleteElement(*owner, collection, keyText(collection, 1)));
        EXPECT_EQ(recorder.take(), Lines{one + " was " + low});
        EXPECT_FALSE(deleteElement(*owner, collection, keyText(collection, 1)));
        EXPECT_EQ(recorder.take(), Lines{});
      });
  EXPECT_EQ(collections, 8u);
}

// -------------------------------------------------------------------------------------- typed ones

TEST_F(CollectionsTest, AbsentKeysReadFalseOrEmpty) {
  const auto config = configFactory("c");
  EXPECT_FALSE(config->disabledVlan(10));
  EXPECT_FALSE(config->disabledVlanContains(10));
  config->disabledVlanIs(10, false);
  EXPECT_FALSE(config->disabledVlan(10));
  EXPECT_TRUE(config->disabledVlanContains(10));
  EXPECT_EQ(config->disabledVlan().size(), 1u);
  EXPECT_EQ(config->portConfig("p"), nullptr);
  EXPECT_EQ(config->portConfigDel("p"), nullptr);
  EXPECT_EQ(config->backupToBackupIntfConfig("p"), nullptr);
  const auto counters = portCounterDirFactory("d");
  EXPECT_EQ(counters->portCounters("e"), std::nullopt);
  counters->portCountersIs("e", {});
  EXPECT_EQ(counters->portCounters("e"), PortCounters());
  const auto status = statusFactory("s");
  EXPECT_FALSE(status->vlanMembershipDesired(IntfId("Vlan1")));
  EXPECT_EQ(oCMstiStateDirFactory("d")->state(1), std::nullopt);
}

// The key may be the element's own name, which dies with the element.
TEST_F(CollectionsTest, DeletesByTheElementsOwnKey) {
  const auto config = configFactory("c");
  config->portConfigIs("p");
  Recorder recorder(*config);
  config->portConfigDel(config->portConfig("p")->name());
  EXPECT_EQ(recorder.take(), Lines{"c.portConfig['p'] was p"});
  const auto dir = oCMstiConfigDirFactory("d");
  dir->mstInstanceIs(4);
  dir->mstInstanceDel(dir->mstInstance(4)->mstId());
  const auto states = oCMstiStateDirFactory("d");
  states->stateIs(OCMstiState(4));
  EXPECT_TRUE(states->stateDel(states->state().begin()->fwkKey()));
  config->disabledVlanIs(7, true);
  EXPECT_TRUE(config->disabledVlanDel(config->disabledVlan().begin()->fwkKey()));
  config->disabledVlanIs(8, true);
  config->disabledVlanIs(config->disabledVlan().begin()->fwkKey(), false);
  EXPECT_FALSE(config->disabledVlan(8));
}

// Their iterators name no category, which would take <iterator>; what C++20 asks for is there.
static_assert(std::ranges::input_range<decltype(std::declval<const Status&>().stpiStatus())>);
static_assert(std::ranges::input_range<decltype(std::declval<const Status&>().vlanMembership())>);

TEST_F(CollectionsTest, IterationSurvivesErasureAndInsertion) {
  for (int eraseAhead = 0; eraseAhead < 2; ++eraseAhead) {
    const auto config = configFactory("c");
    for (int i = 0; i < 100; ++i) config->portConfigIs(std::to_string(i));
    size_t visited = 0;
    int next = 100;
    for (PortConfig& port : config->portConfig()) {
      ++visited;
      const int number = std::stoi(std::string(port.name().view()));
      // Itself, or the one behind it; each time something new comes in, and at last no more.
      const std::string erased = std::to_string(number + eraseAhead);
      config->portConfigDel(erased);
      if (next < 150) config->portConfigIs(std::to_string(next++));
    }
    EXPECT_GE(visited, eraseAhead == 0 ? 100u : 50u);
    EXPECT_LE(visited, 150u);
    for (const PortConfig& port : config->portConfig()) {
      EXPECT_EQ(config->portConfig(port.name()).get(), &port);
    }
  }
}

// Also when nothing was left for a moment.
TEST_F(CollectionsTest, IterationGoesOnWithWhatComesIntoAnEmptyCollection) {
  const auto hw = hwFactory("h");
  hw->mstiHwIs("a");
  Lines visited;
  for (MstiHw& msti : hw->mstiHw()) {
    const std::string name(msti.name().view());
    visited.push_back(name);
    hw->mstiHwDel(name);
    if (name == "a") hw->mstiHwIs("b");
  }
  EXPECT_EQ(visited, (Lines{"a", "b"}));
}

// Owning the reverse index is not owning the pairs.
TEST_F(CollectionsTest, ReferencesNeitherMakeNorParent) {
  const auto config = configFactory("c");
  const auto pair = config->backupIntfConfigIs("p", "b");
  Recorder recorder(*config);
  config->backupToBackupIntfConfigIs("b", pair);
  config->backupToBackupIntfConfigIs("b", pair);
  EXPECT_EQ(recorder.take(), Lines{"c.backupToBackupIntfConfig['b'] added"});
  EXPECT_EQ(config->backupToBackupIntfConfig("b"), pair);
  EXPECT_EQ(pair->parent(), config.get());
  const auto stray = backupIntfConfigFactory("x", "y");
  config->backupToBackupIntfConfigIs("b", stray);
  EXPECT_EQ(recorder.take(), Lines{"c.backupToBackupIntfConfig['b'] was p"});
  EXPECT_EQ(stray->parent(), nullptr);
  // Changes of what is only referred to are not those of the tree.
  stray->macMoveBurstIs(3);
  EXPECT_EQ(recorder.take(), Lines{});
  config->backupToBackupIntfConfigIs("b", nullptr);
  EXPECT_EQ(recorder.take(), Lines{"c.backupToBackupIntfConfig['b'] was x"});
  config->backupToBackupIntfConfigDel("b");
  config->backupToBackupIntfConfigDelAll();
  EXPECT_EQ(recorder.take(), Lines{});
  EXPECT_EQ(config->backupIntfConfig("p"), pair);

  // By instance id, with the owner elsewhere; it keeps its element.
  const auto stpi = config->stpiConfigIs("i");
  const auto owner = stpi->mstiConfigIs("m", InstanceId(5))->mstiPortConfigIs("e");
  const auto port = stpi->stpiPortConfigIs("e");
  port->mstiPortConfigIs(InstanceId(5), owner);
  EXPECT_EQ(port->mstiPortConfig(InstanceId(5)), owner);
  EXPECT_EQ(port->mstiPortConfig(InstanceId(4)), nullptr);
  // Deleting the instance leaves the reference, and with it the element, to the writer.
  stpi->mstiConfigDel("m");
  EXPECT_EQ(port->mstiPortConfig(InstanceId(5)), owner);
  port->mstiPortConfigDel(InstanceId(5));
  EXPECT_EQ(owner->references(), 1u);
}

TEST_F(CollectionsTest, SelfKeyedValuesGoUnderTheirOwnKey) {
  const auto dir = oCInterfaceStateDirFactory("d");
  Recorder recorder(*dir);
  InterfaceState state{IntfId("Ethernet1")};
  dir->stateIs(state);
  dir->stateIs(state);
  EXPECT_EQ(recorder.take(), Lines{"d.state[Ethernet1] added"});
  state.bpduGuardIs(true);
  dir->stateIs(state);
  const Lines changes = recorder.take();
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0],
            "d.state[Ethernet1] was Value('Stp::InterfaceState', name=Ethernet1, linkType=P2P, "
            "edgePort=EDGE_AUTO, bpduGuard=None)");
  dir->stateIs(InterfaceState(IntfId("Ethernet2")));
  EXPECT_EQ(dir->state(IntfId("Ethernet1")), state);
  dir->stateDelAll();
  EXPECT_EQ(recorder.take().size(), 3u);
  EXPECT_TRUE(dir->state().empty());
  EXPECT_FALSE(dir->stateDel(IntfId("Ethernet1")));
}

// ------------------------------------------------------------- observers that change what they see

TEST_F(CollectionsTest, DeletionOfAllWorksOnTheKeysOfTheCall) {
  const auto hw = hwFactory("h");
  for (const char* name : {"a", "b", "c", "d"}) hw->mstiHwIs(name);
  Recorder recorder(*hw);
  recorder.then = [&](const Pelmo::Change& change) {
    if (!change.previous) return;
    const auto& key = *static_cast<const Pelmo::String*>(change.key);
    if (key == "a") {
      hw->mstiHwDel("c");  // one of those that were to follow
      hw->mstiHwIs("new");
    }
    if (key == "b") hw->mstiHwIs("b");  // comes back, and stays
  };
  hw->mstiHwDelAll();
  EXPECT_EQ(recorder.take(),
            (Lines{"h.mstiHw['a'] was a", "h.mstiHw['c'] was c", "h.mstiHw['new'] added",
                   "h.mstiHw['b'] was b", "h.mstiHw['b'] added", "h.mstiHw['d'] was d"}));
  Lines left;
  for (const MstiHw& msti : hw->mstiHw()) left.emplace_back(msti.name().view());
  EXPECT_EQ(left, (Lines{"new", "b"}));
}

TEST_F(CollectionsTest, ObserversThatThrowLeaveTheStateChanged) {
  const auto config = configFactory("c");
  Recorder first(*config);
  Recorder second(*config);
  first.then = [](const Pelmo::Change& change) { throw static_cast<int>(change.attribute); };
  EXPECT_THROW(config->maxAgeIs(30), int);
  EXPECT_EQ(config->maxAge(), 30u);
  EXPECT_THROW(config->portConfigIs("p"), int);
  EXPECT_NE(config->portConfig("p"), nullptr);
  EXPECT_THROW(config->portConfigDel("p"), int);
  EXPECT_EQ(config->portConfig("p"), nullptr);
  for (uint16_t vlan = 1; vlan < 4; ++vlan) EXPECT_THROW(config->disabledVlanIs(vlan, true), int);
  // All go, though each one throws.
  EXPECT_THROW(config->disabledVlanDelAll(), int);
  EXPECT_TRUE(config->disabledVlan().empty());
  EXPECT_EQ(first.take(), second.take());
}

}  // namespace
