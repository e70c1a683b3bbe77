// Every attribute of every entity type on a real object: initial values, who may write, bounds,
// publication.
#include <map>

#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpProtoStatus.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpQuiesceStatus.h"
#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/AttrLog/EntityHooks.h"

namespace {

using ExpectedModel::Member;
using ExpectedModel::Type;
using Tovo::Attribute;
using Tovo::AttributeKind;
namespace Code = Tovo::OperationCode;

class EntityTest : public ModelTest {
 protected:
  template <class Body>
  void forEachType(const Body& body) {
    for (const Type& expected : ExpectedModel::types()) {
      if (expected.kind != "entity") continue;
      SCOPED_TRACE(expected.name);
      body(expected, newEntity(typeNamed(expected.name), samples));
    }
  }

  Samples samples{20};
};

bool collection(const Member& member) {
  return member.kind == "own" || member.kind == "ref" || member.kind == "map" ||
         member.kind == "set";
}
bool settable(const Member& member) {
  return (member.kind == "attr" || member.kind == "counter") && !member.readOnly;
}

TEST_F(EntityTest, StartsWithTheStatedValues) {
  forEachType([&](const Type& expected, const Pelmo::Ptr<Tovo::Entity>& entity) {
    const Tovo::TovoTypeBase type = typeNamed(expected.name);
    EXPECT_EQ(entity->tovoType(), type);
    EXPECT_EQ(entity->typeData(), type.module);
    EXPECT_EQ(moduleName(*entity->typeData()), expected.module);
    EXPECT_EQ(entity->parent(), nullptr);
    const bool keyed = !attributeById(type, 154);
    EXPECT_EQ(got(*entity, 154), keyed ? "(2)" : "'1'");
    EXPECT_EQ(got(*entity, 155), "'" + std::string(entity->nameString().view()) + "'");
    for (const Member* member : allMembers(expected)) {
      SCOPED_TRACE(member->name);
      const std::string value = got(*entity, member->id);
      if (collection(*member)) {
        EXPECT_EQ(value, "(1)");
      } else if (member->kind == "ptr" || member->kind == "cptr") {
        EXPECT_EQ(value, "None");
      } else if (member->kind == "query") {
        EXPECT_EQ(value, "false");
      } else if (member->kind != "param" && member->kind != "key") {
        const Tovo::ValueOps& ops =
            attributeById(type, static_cast<Tovo::AttributeId>(member->id)).ops();
        Tovo::ValueBuffer initial(ops);
        initial.constructDefault();
        EXPECT_EQ(value, member->text ? *member->text : text(ops, initial.get()));
      }
    }
  });
}

TEST_F(EntityTest, RefusesWhatReflectionMayNotSet) {
  forEachType([&](const Type& expected, const Pelmo::Ptr<Tovo::Entity>& entity) {
    const Tovo::TovoTypeBase type = entity->tovoType();
    Recorder recorder(*entity);
    for (const Member* member : allMembers(expected)) {
      SCOPED_TRACE(member->name);
      const Attribute attribute = attributeById(type, static_cast<Tovo::AttributeId>(member->id));
      const std::string before = got(*entity, member->id);
      const bool pointer = attribute.kind() == AttributeKind::pointer;
      for (const uint32_t code : {1u, 2u, 11u, 12u, 13u, 99u}) {
        if (code == Code::set && (settable(*member) || pointer)) continue;
        const bool entities = attribute.kind() == AttributeKind::ownCollection ||
                              attribute.kind() == AttributeKind::refCollection;
        uint64_t room[16] = {};
        const Buffer value = pointer || entities ? nullptr : samples.any(attribute);
        EXPECT_EQ(attributeOp(type, room, entity.get(), member->id, code, room,
                              value ? value->get() : room),
                  1)
            << code;
        EXPECT_EQ(got(*entity, member->id), before);
      }
    }
    // Neighbours of what is there, ids of the base, of values and of removals.
    std::map<unsigned, bool> known = {{155, true}};
    if (attributeById(type, 154)) known[154] = true;
    for (const Member* member : allMembers(expected)) known[member->id] = true;
    for (unsigned id : {0u, 2u, 153u, 154u, 155u, 156u, 257u, 385u, 386u, 513u, 514u, 65278u}) {
      for (const unsigned at : {id, known.rbegin()->first + 1}) {
        if (known.count(at) != 0) continue;
        uint64_t room[16] = {};
        EXPECT_EQ(attributeOp(type, room, entity.get(), at, Code::get), 2) << at;
        EXPECT_EQ(attributeOp(type, room, entity.get(), at, Code::set, nullptr, room), 2) << at;
      }
    }
    for (const uint32_t code : {0u, 1u, 2u, 11u, 12u, 13u}) {
      bool answer = false;
      EXPECT_EQ(wholeOp(type, answer, entity.get(), code, entity.get()), 1) << code;
    }
    EXPECT_EQ(recorder.take(), Lines{});
  });
}

TEST_F(EntityTest, PublishesEachChangeOnceWithTheValueBefore) {
  size_t changes = 0;
  forEachType([&](const Type& expected, const Pelmo::Ptr<Tovo::Entity>& entity) {
    const Tovo::TovoTypeBase type = entity->tovoType();
    const std::string prefix = std::string(entity->nameString().view()) + ".";
    Recorder recorder(*entity);
    std::string told;  // what an observer reads
    recorder.then = [&](const Pelmo::Change& change) { told = got(*entity, change.attribute); };
    for (const Member* member : allMembers(expected)) {
      if (!settable(*member)) continue;
      SCOPED_TRACE(member->name);
      const Attribute attribute = attributeById(type, static_cast<Tovo::AttributeId>(member->id));
      for (int round = 0; round < 12; ++round) {
        const std::string before = got(*entity, member->id);
        const Buffer value = samples.any(attribute);
        const bool same = text(attribute.ops(), value->get()) == before;
        for (const bool again : {false, true}) {
          EXPECT_EQ(attributeOp(type, nullptr, entity.get(), member->id, Code::set, nullptr,
                                value->get()),
                    0);
          EXPECT_EQ(got(*entity, member->id), text(attribute.ops(), value->get()));
          if (!same) {
            EXPECT_EQ(told, got(*entity, member->id));
          }
          EXPECT_EQ(recorder.take(),
                    same || again ? Lines{} : Lines{prefix + member->name + " was " + before});
        }
        changes += same ? 0 : 1;
      }
    }
  });
  EXPECT_GT(changes, 1000u);
}

TEST_F(EntityTest, BoundsAreInclusiveAndAFailureChangesNothing) {
  size_t ranged = 0;
  forEachType([&](const Type& expected, const Pelmo::Ptr<Tovo::Entity>& entity) {
    const Tovo::TovoTypeBase type = entity->tovoType();
    Recorder recorder(*entity);
    Receiver receiver(*entity);
    for (const Member* member : allMembers(expected)) {
      if (member->low.empty()) continue;
      ++ranged;
      SCOPED_TRACE(member->name);
      const Type& declared = declaringType(expected, *member);
      const uint64_t low = bound(declared, member->low);
      const uint64_t high = bound(declared, member->high);
      const Attribute attribute = attributeById(type, static_cast<Tovo::AttributeId>(member->id));
      const auto set = [&](uint64_t number) {
        Tovo::ValueBuffer value(attribute.ops());
        const std::string digits = std::to_string(number);
        Tovo::CharRange range(digits);
        value.parse(range);
        return rangeError([&] {
          EXPECT_EQ(
              attributeOp(type, nullptr, entity.get(), member->id, Code::set, nullptr, value.get()),
              0);
        });
      };
      std::string now = *member->text;
      for (const uint64_t number : {low - 1, low, high, high + 1}) {
        const bool inside = number >= low && number <= high;
        EXPECT_EQ(set(number), inside ? "none" : rangeMessage(declared, *member)) << number;
        EXPECT_EQ(recorder.take(), inside ? Lines{"1." + member->name + " was " + now} : Lines{});
        if (inside) now = std::to_string(number);
        EXPECT_EQ(got(*entity, member->id), now);
      }
      // The log delivers anything; setting that again is no change and therefore no error.
      std::string payload;
      for (size_t i = attribute.ops().encodedSize; i > 0; --i) payload += i == 1 ? "00" : "ff";
      receiver.apply(member->id, payload);
      const std::string odd = got(*entity, member->id);
      EXPECT_EQ(recorder.take(), Lines{"1." + member->name + " was " + now});
      receiver.apply(member->id, payload);
      EXPECT_EQ(set(std::stoull(odd)), "none");
      EXPECT_EQ(recorder.take(), Lines{});
      EXPECT_EQ(set(low), "none");
      EXPECT_EQ(recorder.take(), Lines{"1." + member->name + " was " + odd});
    }
  });
  // Six of the bridge in four types, one of the port.
  EXPECT_EQ(ranged, 25u);
}

TEST(RangeMessages, AreWordForWord) {
  EXPECT_STREQ(Stp::ConfigBase::maxAgeRange,
               "Stp::ConfigBase::maxAge < Stp::ConfigBase::maxAgeLow or > "
               "Stp::ConfigBase::maxAgeHigh not allowed");
  EXPECT_STREQ(Stp::ConfigBase::maxPvstPerPortRange,
               "Stp::ConfigBase::maxPvstPerPort < Stp::ConfigBase::maxPvstPerPortLow or > "
               "Stp::ConfigBase::maxPvstPerPortHigh not allowed");
  EXPECT_STREQ(Stp::PortConfig::portHelloTimeRange,
               "Stp::PortConfig::portHelloTime < Stp::PortConfig::minPortHelloTime or > "
               "Stp::PortConfig::maxPortHelloTime not allowed");
}

// --------------------------------------------------------------------- typed and reflected setters

// The same random values through both, into two objects: same results, same publications.
template <class T, class Get, class Set>
void expectAgreement(const char* name, const Get& get, const Set& set) {
  SCOPED_TRACE(name);
  Samples samples(30);
  const Tovo::TovoTypeBase type = T::tovoStaticType();
  const Attribute attribute = attributeByName(type, name);
  const Pelmo::Ptr<Tovo::Entity> one = newEntity(type, samples);
  const Pelmo::Ptr<Tovo::Entity> other = newEntity(type, samples);
  auto& typed = static_cast<T&>(*one);
  Recorder typedChanges(*one);
  Recorder reflectedChanges(*other);
  Receiver typedLog(*one);
  Receiver reflectedLog(*other);
  using Value = std::decay_t<decltype(get(typed))>;
  for (int round = 0; round < 40; ++round) {
    // Numbers also outside their range.
    Buffer value = samples.any(attribute);
    if (attribute.has(Tovo::AttributeDescriptor::ranged) && round % 3 == 0) {
      if constexpr (std::is_integral_v<Value>) {
        const auto number = static_cast<Value>(samples.number(0, attribute.detail().high + 3) &
                                               std::numeric_limits<Value>::max());
        value = std::make_unique<Tovo::ValueBuffer>(attribute.ops());
        value->constructFrom(&number);
        // What the log has delivered may be set again, out of range as it is.
        if (round % 2 == 0) {
          const std::string delivered = hex(encoded(attribute.ops(), &number));
          typedLog.apply(attribute.id(), delivered);
          reflectedLog.apply(attribute.id(), delivered);
        }
      }
    }
    const std::string typedError =
        rangeError([&] { set(typed, *static_cast<const Value*>(value->get())); });
    const std::string reflectedError = rangeError([&] {
      EXPECT_EQ(
          attributeOp(type, nullptr, other.get(), attribute.id(), Code::set, nullptr, value->get()),
          0);
    });
    EXPECT_EQ(typedError, reflectedError);
    EXPECT_EQ(typedChanges.take(), reflectedChanges.take());
    EXPECT_EQ(got(*one, attribute.id()), got(*other, attribute.id()));
    const Value now = get(typed);
    EXPECT_EQ(text(attribute.ops(), &now), got(*one, attribute.id()));
  }
}

#define AGREES(T, x)                                  \
  expectAgreement<T>(                                 \
      #x, [](const T& entity) { return entity.x(); }, \
      [](T& entity, const auto& value) { entity.x##Is(value); })

TEST_F(EntityTest, TypedAndReflectedSettersAgree) {
  using namespace Stp;
  AGREES(Config, maxAge);
  AGREES(Config, bridgeForwardDelay);
  AGREES(Config, txHoldCount);
  AGREES(Config, maxHops);
  AGREES(Config, bridgeHelloTime);
  AGREES(Config, maxPvstPerPort);
  AGREES(Config, forceProtocolVersion);
  AGREES(Config, rateLimitInterval);
  AGREES(Config, bridgeAssurance);
  AGREES(Config, portChannelPortIdAlloc);
  AGREES(Config, mstConfigSpec);
  AGREES(Config, spanTreeLogging);
  AGREES(Config, mismatchedBpduMode);
  AGREES(Config, bridgeAddr);
  AGREES(Config, bridgeName);
  AGREES(Input::ExternalConfig, maxAge);
  AGREES(Input::ExternalConfig, bridgeAddr);
  AGREES(Input::ExternalConfig, rcvdInfoWhileReset);
  AGREES(Input::ExternalConfig, rcvdInfoWhileExpiryDefault);
  AGREES(PortConfig, portHelloTime);
  AGREES(PortConfig, extPathCost);
  AGREES(PortConfig, mcheckVer);
  AGREES(PortConfig, guard);
  AGREES(PortConfig, portPriority);
  AGREES(PortConfig, allowedTag);
  AGREES(PortConfig, portNumber);
  AGREES(MstiConfig, bridgePriority);
  AGREES(BackupIntfConfig, dstMacAddress);
  AGREES(OCGlobalConfig, config);
  AGREES(Status, version);
  AGREES(Status, mstpConfigDigest);
  AGREES(Status, lastRestart);
  AGREES(Status, stableCounter);
  AGREES(StpiStatus, bridgeTimes);
  AGREES(StpiPortStatus, counters);
  AGREES(StpiPortStatus, protocolMigrationState);
  AGREES(MstiStatus, designatedRoot);
  AGREES(MstiStatus, counters);
  AGREES(MstiPortStatus, portId);
  AGREES(MstiPortStatus, designatedPriority);
  AGREES(MstiPortStatus, infoIs);
  AGREES(MstiPortStatus, bridgeAssureInconsistent);
  AGREES(BackupIntfStatus, primaryState);
  AGREES(OCGlobalState, state);
  AGREES(MstiPortHw, portState);
  AGREES(ProtoStatus, runMode);
  AGREES(QuiesceConfig, overriddenBy);
  AGREES(QuiesceStatus, quiesceMode);
  AGREES(OCInterface, config);
  AGREES(OCMsti, config);
}

// A node that is no entity has nothing below it that a recursive observer could be told of.
TEST_F(EntityTest, OtherNodesAreObservedFromAboveLikeThemselves) {
  struct Plain : Pelmo::ObservableNode {};
  struct Counter : Pelmo::Observer {
    void handleChange(const Pelmo::Change&) override { ++changes; }
    int changes = 0;
  };
  const auto plain = Pelmo::Ptr<Plain>::adopt(new Plain);
  Counter counter;
  counter.observeRecursive(plain->nodePublisher());
  plain->nodePublisher().publishChangeRecursive(1, nullptr, nullptr, nullptr);
  EXPECT_EQ(counter.changes, 1);
}

// Reflection may only read these; their owner writes them.
TEST_F(EntityTest, TypedSettersReachWhatReflectionMayNotSet) {
  const auto config = Stp::configFactory("c");
  const auto port = config->portConfigIs("p");
  Recorder recorder(*config);
  config->defaultForceProtocolVersionIs(Stp::Version::rapidPvstp);
  port->defaultAdminPointToPointIs(Stp::PortConfigBase::AdminPointToPointMacType::forceFalse);
  EXPECT_EQ(recorder.take(), (Lines{"c.defaultForceProtocolVersion was mstp",
                                    "p.defaultAdminPointToPoint was autoDetect"}));
  EXPECT_EQ(got(*config, 266), "rapidPvstp");
  EXPECT_EQ(got(*port, 259), "forceFalse");
}

TEST_F(EntityTest, PointersCompareByIdentityAndTakeOnlyTheirType) {
  const auto quiesce = Stp::quiesceConfigFactory("q");
  const auto config = Stp::configFactory("c");
  const auto twin = Stp::configFactory("c");
  const auto status = Stp::statusFactory("s");
  Recorder recorder(*quiesce);
  quiesce->stpConfigIs(config);
  quiesce->stpConfigIs(config);
  EXPECT_EQ(recorder.take(), Lines{"q.stpConfig was None"});
  quiesce->stpConfigIs(twin);
  EXPECT_EQ(recorder.take(), Lines{"q.stpConfig was c"});
  const auto type = quiesce->tovoType();
  Pelmo::Ptr<Tovo::Entity> target(status.get());
  EXPECT_THROW(attributeOp(type, nullptr, quiesce.get(), 261, Code::set, nullptr, &target),
               Tovo::TypeException);
  EXPECT_EQ(quiesce->stpConfig(), twin);
  target = nullptr;
  EXPECT_EQ(attributeOp(type, nullptr, quiesce.get(), 261, Code::set, nullptr, &target), 0);
  EXPECT_EQ(quiesce->stpConfig(), nullptr);
  EXPECT_EQ(recorder.take(), Lines{"q.stpConfig was c"});
}

TEST_F(EntityTest, PointersConvertToTheirBasesOnly) {
  const auto config = Stp::Input::externalConfigFactory("c");
  const Tovo::TovoTypeBase own = config->tovoType();
  const auto convert = genericIf(own).methods->genericIfVoidPtrIs;
  for (const char* base : {"Stp::Input::ExternalConfig", "Stp::Input::Config", "Stp::ConfigBase"}) {
    EXPECT_EQ(convert(config.get(), own, typeNamed(base)), config.get());
  }
  EXPECT_THROW(convert(config.get(), own, typeNamed("Stp::Config")), Tovo::TypeException);
  EXPECT_THROW(convert(config.get(), typeNamed("Stp::ConfigBase"), own), Tovo::TypeException);
}

// ---------------------------------------------------------------------------------------- creation

TEST_F(EntityTest, CreationRefusesOtherArguments) {
  forEachType([&](const Type& expected, const Pelmo::Ptr<Tovo::Entity>&) {
    const Tovo::TovoTypeBase type = typeNamed(expected.name);
    size_t parameters = 0;
    bool keyed = false;
    for (const Member* member : allMembers(expected)) {
      parameters += member->kind == "param" ? 1 : 0;
      keyed = keyed || member->kind == "key";
    }
    // One too many: the index of the one that is too much. None takes more than one.
    ASSERT_LE(parameters, 1u);
    const Pelmo::String argument("1");
    std::vector<const void*> arguments(parameters + 1, &argument);
    const Pelmo::String key = keyed ? (attributeById(type, 258).type() ? "Vlan7" : "7") : "n";
    const auto refused = [&](const auto& action) -> size_t {
      try {
        action();
      } catch (const Tovo::NewEntityArgsException& error) {
        EXPECT_EQ(&error.module(), type.module);
        return error.argument();
      }
      return 99;
    };
    EXPECT_EQ(refused([&] { genericIf(type).newEntityForDir(type, key, arguments); }), parameters);
    if (parameters > 0) {
      EXPECT_EQ(refused([&] { genericIf(type).newEntityForDir(type, key, {}); }), 0u);
    }
    Pelmo::Ptr<Tovo::Entity> made;
    EXPECT_EQ(refused([&] { genericIf(type).genericIfConstructFromCtorArgs(type, &made, {}); }),
              0u);
    arguments.push_back(&argument);
    EXPECT_EQ(
        refused([&] { genericIf(type).genericIfConstructFromCtorArgs(type, &made, arguments); }),
        parameters + 1);
  });
}

TEST_F(EntityTest, CreationPassesNameAndParameters) {
  const Tovo::TovoTypeBase type = typeNamed("Stp::MstiStatus");
  const Pelmo::String name("m");
  const Stp::InstanceId instance(7);
  const std::vector<const void*> arguments = {&name, &instance};
  Pelmo::Ptr<Tovo::Entity> made;
  genericIf(type).genericIfConstructFromCtorArgs(type, &made, arguments);
  EXPECT_EQ(made->name(), name);
  EXPECT_EQ(static_cast<Stp::MstiStatus&>(*made).instanceId(), instance);
  EXPECT_EQ(made->references(), 1u);

  const auto membership = Stp::VlanMembership::VlanMembershipIs(Nelka::IntfId("Ethernet3/1"));
  EXPECT_EQ(membership->nameString(), "Ethernet3/1");
  EXPECT_TRUE(membership->name().empty());
  const auto msti = Stp::OCMsti::OCMstiIs(65535);
  EXPECT_EQ(msti->nameString(), "65535");
  EXPECT_EQ(got(*msti, 258), "65535");
  EXPECT_EQ(msti->config().mstId(), 0);
}

// The log form of constructor parameters: the name and they, or the key alone.
TEST_F(EntityTest, ConstructorParametersTravelInTheStatedSizes) {
  const auto logged = [](const Tovo::Entity& entity) {
    const Tovo::EntityHooks& hooks = *Tovo::entityHooks(entity.tovoType());
    std::vector<uint8_t> bytes(hooks.attrLogSizeCtorParams(entity));
    Tovo::NboAttrLog::Out out(bytes);
    hooks.serializeConstructorParams(out, entity);
    EXPECT_EQ(out.left(), 0u);
    Tovo::NboAttrLog::In in(bytes);
    const auto copy = hooks.newEntityForAttrLog(entity.tovoType(), &in);
    EXPECT_EQ(copy->nameString(), entity.nameString());
    EXPECT_EQ(in.remaining(), 0u);
    return hex(bytes);
  };
  EXPECT_EQ(logged(*Stp::quiesceStatusFactory("ab")), "000000026162");
  EXPECT_EQ(logged(*Stp::MstiConfig::MstiConfigIs("m", Stp::InstanceId(258))), "000000016d0102");
  EXPECT_EQ(logged(*Stp::backupIntfConfigFactory("p", "qr")), "0000000170000000027172");
  EXPECT_EQ(logged(*Stp::MstiPortStatus::MstiPortStatusIs("e", 9)), "000000016500000009");
  EXPECT_EQ(logged(*Stp::StpiPortStatus::StpiPortStatusIs("e", 1.0)), "00000001653ff0000000000000");
  EXPECT_EQ(logged(*Stp::OCMsti::OCMstiIs(513)), "0201");
  EXPECT_EQ(logged(*Stp::OCInterface::OCInterfaceIs(Nelka::IntfId(uint64_t{5}))),
            "0000000000000005");
  EXPECT_EQ(logged(*Stp::VlanMembership::VlanMembershipIs(Nelka::IntfId())), "0000000000000000");
}

}  // namespace
