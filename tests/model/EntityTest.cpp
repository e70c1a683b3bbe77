// Every attribute of every entity type on a real object: who may write, bounds, publication.
#include "Stp/StpConfig.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/Inspect.h"

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
namespace Code = Tovo::OperationCode;

class EntityTest : public ModelTest {
 protected:
  /// body(entity, type) for an entity of each type.
  template <class Body>
  void forEachEntity(const Body& body) {
    forEachType({Tovo::TypeKind::entity}, [&](Tovo::TovoTypeBase type) {
      const auto entity = newEntity(type, samples);
      body(*entity, type);
    });
  }

  Samples samples{20};
};

bool settable(Attribute attribute) {
  return attribute.kind() == AttributeKind::attribute &&
         !attribute.has(AttributeDescriptor::readOnly);
}

uint8_t set(Tovo::Entity& entity, Attribute attribute, const void* value) {
  return attributeOp(entity.tovoType(), nullptr, &entity, attribute.id(), Code::set, nullptr,
                     value);
}

TEST_F(EntityTest, RefusesWhatReflectionMayNotSet) {
  forEachEntity([&](Tovo::Entity& entity, Tovo::TovoTypeBase type) {
    Recorder recorder(entity);
    forEachAttribute(type, [&](Attribute attribute) {
      SCOPED_TRACE(attribute.name());
      const std::string before = gotFrom(type, &entity, attribute);
      const bool pointer = attribute.kind() == AttributeKind::pointer;
      const bool entities = attribute.kind() == AttributeKind::ownCollection ||
                            attribute.kind() == AttributeKind::refCollection;
      for (const uint32_t code : {1u, 2u, 11u, 12u, 13u, 99u}) {
        if (code == Code::set && (settable(attribute) || pointer)) continue;
        uint64_t room[16] = {};
        const Buffer value = pointer || entities ? nullptr : samples.any(attribute);
        EXPECT_EQ(attributeOp(type, room, &entity, attribute.id(), code, room,
                              value ? value->get() : room),
                  1)
            << code;
        EXPECT_EQ(gotFrom(type, &entity, attribute), before);
      }
    });
    // Neighbours of what is there, ids of the base, of values and of removals.
    for (unsigned id = 0; id < 700; ++id) {
      if (attributeById(type, static_cast<Tovo::AttributeId>(id))) continue;
      uint64_t room[16] = {};
      EXPECT_EQ(attributeOp(type, room, &entity, id, Code::get), 2) << id;
      EXPECT_EQ(attributeOp(type, room, &entity, id, Code::set, nullptr, room), 2) << id;
    }
    for (const uint32_t code : {0u, 1u, 2u, 11u, 12u, 13u}) {
      bool answer = false;
      EXPECT_EQ(wholeOp(type, answer, &entity, code, &entity), 1) << code;
    }
    EXPECT_EQ(recorder.take(), Lines{});
  });
}

TEST_F(EntityTest, PublishesEachChangeOnceWithTheValueBefore) {
  size_t changes = 0;
  forEachEntity([&](Tovo::Entity& entity, Tovo::TovoTypeBase type) {
    const std::string prefix = std::string(entity.nameString().view()) + ".";
    Recorder recorder(entity);
    std::string told;  // what an observer reads
    recorder.then = [&](const Pelmo::Change& change) { told = got(entity, change.attribute); };
    forEachAttribute(type, [&](Attribute attribute) {
      if (!settable(attribute)) return;
      SCOPED_TRACE(attribute.name());
      for (int round = 0; round < 12; ++round) {
        const std::string before = gotFrom(type, &entity, attribute);
        const Buffer value = samples.any(attribute);
        const std::string after = text(attribute.ops(), value->get());
        for (const bool again : {false, true}) {
          EXPECT_EQ(set(entity, attribute, value->get()), 0);
          EXPECT_EQ(gotFrom(type, &entity, attribute), after);
          const bool changed = after != before && !again;
          if (changed) {
            EXPECT_EQ(told, after);
          }
          EXPECT_EQ(recorder.take(),
                    changed ? Lines{prefix + attribute.name() + " was " + before} : Lines{});
          changes += changed ? 1 : 0;
        }
      }
    });
  });
  EXPECT_GT(changes, 1000u);
}

TEST_F(EntityTest, BoundsAreInclusiveAndAFailureChangesNothing) {
  size_t ranged = 0;
  forEachEntity([&](Tovo::Entity& entity, Tovo::TovoTypeBase type) {
    Recorder recorder(entity);
    Receiver receiver(entity);
    forEachAttribute(type, [&](Attribute attribute) {
      if (!attribute.has(AttributeDescriptor::ranged)) return;
      ++ranged;
      SCOPED_TRACE(attribute.name());
      const auto& [low, high] = std::pair(attribute.detail().low, attribute.detail().high);
      const std::string prefix = std::string("1.") + attribute.name() + " was ";
      const auto setNumber = [&](uint64_t number) {
        Tovo::ValueBuffer value(attribute.ops());
        const std::string digits = std::to_string(number);
        Tovo::CharRange range(digits);
        value.parse(range);
        return rangeError([&] { EXPECT_EQ(set(entity, attribute, value.get()), 0); });
      };
      std::string now = Tovo::defaultText(attribute);
      for (const uint64_t number : {low - 1, low, high, high + 1}) {
        const bool inside = number >= low && number <= high;
        EXPECT_EQ(setNumber(number), inside ? "none" : attribute.detail().rangeMessage) << number;
        EXPECT_EQ(recorder.take(), inside ? Lines{prefix + now} : Lines{});
        if (inside) now = std::to_string(number);
        EXPECT_EQ(gotFrom(type, &entity, attribute), now);
      }
      // The log delivers anything; setting that again is no change and therefore no error.
      std::string payload;
      for (size_t i = attribute.ops().encodedSize; i > 0; --i) payload += i == 1 ? "00" : "ff";
      receiver.apply(attribute.id(), payload);
      const std::string odd = gotFrom(type, &entity, attribute);
      EXPECT_EQ(recorder.take(), Lines{prefix + now});
      receiver.apply(attribute.id(), payload);
      EXPECT_EQ(setNumber(std::stoull(odd)), "none");
      EXPECT_EQ(recorder.take(), Lines{});
      EXPECT_EQ(setNumber(low), "none");
      EXPECT_EQ(recorder.take(), Lines{prefix + odd});
    });
  });
  // Six of the bridge in four types, one of the port.
  EXPECT_EQ(ranged, 25u);
}

// ----------------------------------------------------------------------------------- typed setters

TEST_F(EntityTest, TypedSettersCompareBeforeTheyCheck) {
  const auto config = Stp::configFactory("c");
  Receiver receiver(*config);
  Recorder changes(*config);
  const auto refused = [&](uint32_t age) {
    const std::string error = rangeError([&] { config->maxAgeIs(age); });
    EXPECT_TRUE(error == "none" || error == Stp::ConfigBase::maxAgeRange) << error;
    return error != "none";
  };
  EXPECT_TRUE(refused(5) && refused(41));
  EXPECT_EQ(changes.take(), Lines{});
  EXPECT_FALSE(refused(6) || refused(40) || refused(40));
  EXPECT_EQ(changes.take(), (Lines{"c.maxAge was 20", "c.maxAge was 6"}));
  // What the log has brought is out of range, and yet no change when it is set again.
  receiver.apply(261, "000000ff");
  EXPECT_EQ(changes.take(), Lines{"c.maxAge was 40"});
  EXPECT_FALSE(refused(255));
  EXPECT_TRUE(refused(254));
  const uint32_t same = 255;
  Tovo::attributeKept(*config, attributeByName(config->tovoType(), "maxAge"), &same);
  EXPECT_EQ(changes.take(), Lines{});
  EXPECT_EQ(config->maxAge(), 255u);
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
  target = twin;
  EXPECT_EQ(attributeOp(type, nullptr, quiesce.get(), 261, Code::set, nullptr, &target), 0);
  EXPECT_EQ(recorder.take(), Lines{});
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
  forEachEntity([&](Tovo::Entity&, Tovo::TovoTypeBase type) {
    const size_t parameters = Tovo::constructorParameters(type).size();
    // One too many: the index of the one that is too much. None takes more than one.
    ASSERT_LE(parameters, 1u);
    const Pelmo::String argument("1");
    const std::vector<const void*> tooMany(parameters + 1, &argument);
    const std::vector<const void*> andAName(parameters + 2, &argument);
    const Attribute key = Tovo::keyParameter(type);
    const Pelmo::String name = key && key.type() ? "Vlan7" : "7";
    Pelmo::Ptr<Tovo::Entity> made;
    const auto refused = [&](const auto& action) -> size_t {
      try {
        action();
      } catch (const Tovo::NewEntityArgsException& error) {
        EXPECT_EQ(&error.module(), type.module);
        return error.argument();
      }
      return 99;
    };
    const auto create = [&](const std::vector<const void*>& arguments) {
      return refused([&] { genericIf(type).newEntityForDir(type, name, arguments); });
    };
    const auto construct = [&](const std::vector<const void*>& arguments) {
      return refused(
          [&] { genericIf(type).genericIfConstructFromCtorArgs(type, &made, arguments); });
    };
    EXPECT_EQ(create(tooMany), parameters);
    EXPECT_EQ(create({}), parameters > 0 ? 0u : 99u);
    EXPECT_EQ(construct({}), 0u);
    EXPECT_EQ(construct(andAName), parameters + 1);
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
  EXPECT_EQ(Stp::OCMsti::OCMstiIs(65535)->nameString(), "65535");
}

}  // namespace
