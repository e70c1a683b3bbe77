// What holds for every value type, by random values made through reflection.
#include <algorithm>
#include <limits>
#include <random>
#include <utility>

#include "Stp/StpConfig.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpStatus.h"
#include "Stp/StpTypes.h"
#include "Support.h"
#include "TovoPelmo/Render.h"

namespace {

using ExpectedModel::Member;
using ExpectedModel::Type;
using Tovo::Attribute;
namespace Code = Tovo::OperationCode;

class ValueTest : public ModelTest {
 protected:
  /// body(expected, type, ops) for each value type, unions and, if asked for, enumerations
  /// included.
  template <class Body>
  void forEachType(bool enumerations, const Body& body) {
    for (const Type& expected : ExpectedModel::types()) {
      if (expected.kind == "entity" || (expected.kind == "enum" && !enumerations)) continue;
      SCOPED_TRACE(expected.name);
      const Tovo::TovoTypeBase type = typeNamed(expected.name);
      body(expected, type, *Tovo::valueOps(type));
    }
  }

  Samples samples{40};
};

/// The text of a record as it is defined: a single field bare, several behind their names.
std::string fieldByField(Tovo::TovoTypeBase type, const void* value) {
  std::vector<std::pair<std::string, std::string>> fields;
  for (const Tovo::AttributeDescriptor& own : Tovo::ownAttributes(type)) {
    if (own.kind != Tovo::AttributeKind::field) continue;
    const Attribute field(*type.module, own);
    fields.emplace_back(field.name(),
                        text(field.ops(), static_cast<const char*>(value) + own.offset));
  }
  if (fields.size() == 1) return fields.front().second;
  std::string out = std::string("Value('") + typeName(type) + "'";
  for (const auto& [name, each] : fields) out += ", " + name + "=" + each;
  return out + ")";
}

bool hasLists(const Type& type) {
  return std::any_of(type.members.begin(), type.members.end(),
                     [](const Member& member) { return member.kind == "list"; });
}
bool hasNoTextConstructor(const Type& type) {
  return type.name.find("Container") != std::string::npos;
}

TEST_F(ValueTest, DefaultsEncodeAsStatedAndAreNotSet) {
  forEachType(false, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    alignas(16) unsigned char storage[256];
    std::fill(std::begin(storage), std::end(storage), 0xee);
    ASSERT_LE(ops.size, sizeof storage);
    const Tovo::GenericIfMethods& methods = *genericIf(type).methods;
    methods.genericIfConstruct(type, storage, nullptr);
    EXPECT_EQ(hex(encoded(ops, storage)), expected.bytes);
    bool set = true;
    EXPECT_EQ(wholeOp(type, set, storage, Code::isSet), 0);
    EXPECT_FALSE(set);
    for (const Member& member : expected.members) {
      if (!member.text) continue;
      const Attribute attribute = attributeById(type, static_cast<Tovo::AttributeId>(member.id));
      Tovo::ValueBuffer result(attribute.ops());
      result.constructDefault();
      EXPECT_EQ(attributeOp(type, result.get(), storage, member.id, Code::get), 0);
      EXPECT_EQ(text(attribute.ops(), result.get()), *member.text) << member.name;
    }
    methods.genericIfDestruct(type, storage);
  });
}

TEST_F(ValueTest, TextReadsBackEqual) {
  forEachType(true, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const Tovo::GenericIfMethods& methods = *genericIf(type).methods;
    for (int round = 0; round < 300; ++round) {
      const Buffer value = samples.any(type);
      const Pelmo::String printed = methods.genericIfStrRep(type, value->get());
      EXPECT_EQ(printed.view(), text(ops, value->get()));
      if (expected.kind != "enum") {
        EXPECT_EQ(TovoPelmo::Impl::valueToStrep(type.module, type.index, value->get()), printed);
      }
      if (expected.kind == "value") {
        EXPECT_EQ(fieldByField(type, value->get()), printed.view());
      }
      Tovo::ValueBuffer back(ops);
      back.constructDefault();
      if (hasNoTextConstructor(expected)) {
        const AssertionsThrow guard;
        EXPECT_THROW(methods.genericIfStrepToValue(type, printed, back.get()),
                     Tovo::AssertionError);
        continue;
      }
      ops.destruct(back.get());
      methods.genericIfStrepToValue(type, printed, back.get());
      EXPECT_TRUE(ops.equal(back.get(), value->get())) << printed;
      // Nothing may stand behind it.
      alignas(16) unsigned char room[256];
      EXPECT_THROW(methods.genericIfStrepToValue(type, std::string(printed) + "\x01", room),
                   Tovo::ParseException);
    }
  });
}

// A text with a fault: refused, or read as the same value as one field after the other.
TEST_F(ValueTest, FaultyTextIsReadAsFieldByField) {
  std::mt19937 random(7);
  size_t accepted = 0;
  forEachType(false, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    if (expected.kind != "value" || hasNoTextConstructor(expected)) return;
    for (int round = 0; round < 300; ++round) {
      std::string faulty = text(ops, samples.any(type)->get());
      if (faulty.empty()) continue;
      const size_t at = random() % faulty.size();
      const char digit = static_cast<char>('0' + random() % 10);
      switch (random() % 4) {
        case 0:
          faulty.erase(at, 1);
          break;
        case 1:
          faulty.insert(at, 1, digit);
          break;
        case 2:
          faulty.resize(at);
          break;
        default:
          faulty[at] = round % 2 ? digit : static_cast<char>(random());
          break;
      }
      Tovo::CharRange whole(faulty);
      Tovo::CharRange careful(faulty);
      Tovo::ValueBuffer read(ops);
      try {
        read.parse(whole);
      } catch (const Tovo::RangeException&) {
        continue;
      }
      ++accepted;
      Tovo::ValueBuffer again(ops);
      again.constructDefault();
      TovoPelmo::Impl::parseFields(careful, type, again.get());
      EXPECT_TRUE(ops.equal(read.get(), again.get())) << faulty;
      EXPECT_EQ(whole.position(), careful.position()) << faulty;
    }
  });
  EXPECT_GT(accepted, 100u);
}

TEST_F(ValueTest, BytesReadBackEqualAndNeverBeyondTheEnd) {
  forEachType(true, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    for (int round = 0; round < 300; ++round) {
      const Buffer value = samples.any(type);
      std::vector<uint8_t> bytes = encoded(ops, value->get());
      if (expected.kind != "enum" && !expected.varies) {
        EXPECT_EQ(bytes.size(), expected.bytes.size() / 2);
      }
      Tovo::NboAttrLog::In in(bytes);
      Tovo::ValueBuffer back(ops);
      back.read(in);
      EXPECT_EQ(in.remaining(), 0u);
      EXPECT_TRUE(ops.equal(back.get(), value->get()));
      EXPECT_EQ(encoded(ops, back.get()), bytes);
      if (bytes.empty()) continue;
      bytes.pop_back();
      Tovo::NboAttrLog::In cut(bytes);
      Tovo::ValueBuffer none(ops);
      EXPECT_THROW(none.read(cut), Tovo::StreamException);
    }
  });
}

TEST_F(ValueTest, EqualityIsThatOfTheBytes) {
  forEachType(true, [&](const Type&, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    for (int round = 0; round < 300; ++round) {
      const Buffer a = samples.any(type);
      const Buffer b = samples.any(type);
      const bool same = encoded(ops, a->get()) == encoded(ops, b->get());
      bool equal = false;
      EXPECT_EQ(wholeOp(type, equal, a->get(), Code::equal, b->get()), 0);
      // Zero has two encodings as Seconds, which no sample has.
      EXPECT_EQ(equal, same);
      Tovo::ValueBuffer copy(ops);
      copy.constructFrom(a->get());
      EXPECT_EQ(wholeOp(type, equal, a->get(), Code::equal, copy.get()), 0);
      EXPECT_TRUE(equal);
      Tovo::ValueBuffer initial(ops);
      initial.constructDefault();
      bool set = false;
      EXPECT_EQ(wholeOp(type, set, a->get(), Code::isSet), 0);
      if (typeDescriptor(type).kind != Tovo::TypeKind::enumeration) {
        EXPECT_EQ(set, !ops.equal(a->get(), initial.get()));
      }
      EXPECT_EQ(wholeOp(type, set, a->get(), 14), 1);
    }
  });
}

// Seconds that are no number equal nothing, but a value that holds them is still the same value.
TEST_F(ValueTest, AnObjectEqualsItselfWhateverItHolds) {
  Stp::PortCounters counters;
  counters.timestampIs(std::numeric_limits<double>::quiet_NaN());
  const Stp::PortCounters copy = counters;
  for (const Stp::PortCounters* other : {&std::as_const(counters), &copy}) {
    const bool same = other == &counters;
    bool equal = !same;
    EXPECT_EQ(wholeOp(Stp::PortCounters::tovoStaticType(), equal, &counters, Code::equal, other),
              0);
    EXPECT_EQ(equal, same);
    EXPECT_EQ(Stp::PortCounters::isEq(&counters, other), same);
    EXPECT_EQ(counters == *other, same);
  }

  const auto status = Stp::statusFactory("sw");
  const auto port = status->stpiStatusIs("Mstp")->stpiPortStatusIs("Ethernet1", 5.0);
  port->countersIs(counters);
  Recorder changes(*port);
  port->countersIs(port->counters());
  EXPECT_EQ(attributeOp(port->tovoType(), nullptr, port.get(), 267, Code::set, nullptr,
                        &port->counters()),
            0);
  EXPECT_EQ(changes.take(), Lines());
  port->countersIs(copy);
  EXPECT_EQ(changes.take().size(), 1u);
}

TEST_F(ValueTest, OrderIsTotalOrNotSupported) {
  forEachType(false, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    std::vector<Buffer> values;
    for (int i = 0; i < 24; ++i) values.push_back(samples.any(type));
    const auto less = [&](const Buffer& a, const Buffer& b) {
      bool answer = false;
      EXPECT_EQ(wholeOp(type, answer, a->get(), Code::less, b->get()), 0);
      return answer;
    };
    if (expected.order == "none") {
      bool answer = false;
      EXPECT_EQ(wholeOp(type, answer, values[0]->get(), Code::less, values[1]->get()), 1);
      return;
    }
    for (const Buffer& a : values) {
      for (const Buffer& b : values) {
        const bool ab = less(a, b);
        const bool ba = less(b, a);
        EXPECT_FALSE(ab && ba);
        EXPECT_EQ(!ab && !ba, ops.equal(a->get(), b->get()));
        for (const Buffer& c : values) {
          if (ab && less(b, c)) {
            EXPECT_TRUE(less(a, c));
          }
        }
      }
    }
  });
}

TEST_F(ValueTest, HashIsThatOfTheValueOrUnhashable) {
  forEachType(false, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const auto& methods = *genericIf(type).methods;
    for (int round = 0; round < 100; ++round) {
      const Buffer value = samples.any(type);
      if (expected.hash == "none") {
        EXPECT_THROW(methods.genericIfHash(value->get(), type), Tovo::UnhashableException);
        continue;
      }
      Tovo::ValueBuffer copy(ops);
      copy.constructFrom(value->get());
      EXPECT_EQ(methods.genericIfHash(value->get(), type), methods.genericIfHash(copy.get(), type));
      const uint64_t number = ops.number(value->get());
      if (expected.hash == "identity") {
        EXPECT_EQ(methods.genericIfHash(value->get(), type), number);
      } else if (ops.encodedSize == 1) {
        const auto octet = static_cast<uint8_t>(number);
        EXPECT_EQ(methods.genericIfHash(value->get(), type), Tovo::hashSingleAttr(0, octet));
      } else {
        const auto word = static_cast<uint16_t>(number);
        EXPECT_EQ(methods.genericIfHash(value->get(), type), Tovo::hashSingleAttr(0, word));
      }
    }
  });
}

TEST_F(ValueTest, ConstructorArgumentsAreTheFields) {
  forEachType(false, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    for (int round = 0; round < 50; ++round) {
      const Buffer value = samples.any(type);
      std::vector<Buffer> arguments;
      std::vector<const void*> pointers;
      bool all = true;
      for (const Member& member : expected.members) {
        if (member.kind != "field" && member.kind != "counter") continue;
        if (arguments.size() == expected.argumentCount) {
          all = false;
          break;
        }
        const Attribute attribute = attributeById(type, static_cast<Tovo::AttributeId>(member.id));
        arguments.push_back(std::make_unique<Tovo::ValueBuffer>(attribute.ops()));
        arguments.back()->constructDefault();
        EXPECT_EQ(attributeOp(type, arguments.back()->get(), value->get(), member.id, Code::get),
                  0);
        pointers.push_back(arguments.back()->get());
      }
      ASSERT_EQ(pointers.size(), expected.argumentCount);
      Tovo::ValueBuffer made(ops);
      made.constructDefault();
      ops.destruct(made.get());
      genericIf(type).genericIfConstructFromCtorArgs(type, made.get(), pointers);
      if (all && !hasLists(expected) && expected.kind == "value") {
        EXPECT_TRUE(ops.equal(made.get(), value->get()));
      }
      // What no argument gave has its default.
      if (expected.argumentCount == 0) {
        EXPECT_EQ(hex(encoded(ops, made.get())), expected.bytes);
      }
      const auto refused = [&](std::vector<const void*> wrong) -> size_t {
        alignas(16) unsigned char room[256];
        try {
          genericIf(type).genericIfConstructFromCtorArgs(type, room, wrong);
        } catch (const Tovo::NewEntityArgsException& error) {
          EXPECT_EQ(&error.module(), type.module);
          return error.argument();
        }
        return 99;
      };
      std::vector<const void*> more = pointers;
      more.push_back(&expected);
      EXPECT_EQ(refused(more), pointers.size());
      if (pointers.empty()) continue;
      pointers.pop_back();
      EXPECT_EQ(refused(pointers), pointers.size());
    }
  });
}

TEST_F(ValueTest, ReflectionRefusesConstantsAndUnknownFields) {
  forEachType(false, [&](const Type& expected, Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const Buffer value = samples.any(type);
    const std::string before = text(ops, value->get());
    uint64_t room[32] = {};
    for (const Member& member : expected.members) {
      const Attribute attribute = attributeById(type, static_cast<Tovo::AttributeId>(member.id));
      if (member.kind == "const" || member.kind == "query" || member.readOnly) {
        EXPECT_EQ(attributeOp(type, nullptr, value->get(), member.id, Code::set, nullptr,
                              samples.any(attribute)->get()),
                  1)
            << member.name;
      }
      if (member.kind == "indexed") continue;
      for (const uint32_t code : {Code::del, Code::isSet, Code::equal, Code::less, 99u}) {
        EXPECT_EQ(attributeOp(type, room, value->get(), member.id, code, room, room), 1)
            << member.name;
      }
    }
    for (const unsigned id : {0u, 1u, 154u, 155u, 257u, expected.members.back().id + 1}) {
      EXPECT_EQ(attributeOp(type, room, value->get(), id, Code::get), 2) << id;
      EXPECT_EQ(attributeOp(type, nullptr, value->get(), id, Code::set, nullptr, room), 2) << id;
    }
    EXPECT_EQ(text(ops, value->get()), before);
  });
}

// The message format exists for other kinds of type only, and a value is not another one.
TEST_F(ValueTest, OtherConversionsAreRefused) {
  const Tovo::TovoTypeBase cost = typeNamed("Stp::PathCost");
  const Tovo::GenericIfMethods& methods = *genericIf(cost).methods;
  Stp::PathCost value;
  EXPECT_EQ(methods.genericIfVoidPtrIs(&value, cost, cost), &value);
  EXPECT_THROW(methods.genericIfVoidPtrIs(&value, cost, typeNamed("Stp::PortId")),
               Tovo::TypeException);
  const AssertionsThrow guard;
  const auto assertion = [&](bool write) -> std::string {
    try {
      methods.genericIfPbMessageSerDes(nullptr, &value, write);
    } catch (const Tovo::AssertionError& error) {
      return error.what();
    }
    return {};
  };
  EXPECT_NE(assertion(true).find("\"Only value types support witePbMessage\""), std::string::npos);
  EXPECT_NE(assertion(false).find("\"Only value types support constructFromPbMessage\""),
            std::string::npos);
}

// ------------------------------------------------------------------------------- the typed surface

template <class T>
constexpr bool hasOperators = requires(const T& a) {
  a <=> a;
}
|| requires(const T& a) { a < a; };

// What is or is not ordered, checked where it would be misused.
static_assert(!hasOperators<Stp::PriorityVector> && !hasOperators<Stp::TimesVector>);
static_assert(!hasOperators<Stp::BridgePriority> && !hasOperators<Stp::BridgeSystemId> &&
              !hasOperators<Stp::PortPriority> && !hasOperators<Stp::PortNumber>);
static_assert(!hasOperators<Stp::StpBpduType> && !hasOperators<Stp::MstpConfigDigest> &&
              !hasOperators<Stp::PortChannelPortIdAlloc> && !hasOperators<Stp::Constants>);
static_assert(!hasOperators<Stp::PortCounters> && !hasOperators<Stp::MstiCounters> &&
              !hasOperators<Stp::InterfaceConfig> && !hasOperators<Stp::OCMstiState>);
static_assert(hasOperators<Stp::BridgeId> && hasOperators<Stp::PortId> &&
              hasOperators<Stp::PathCost> && hasOperators<Stp::TimerVal> &&
              hasOperators<Stp::VlanIdOrRange> && hasOperators<Stp::MstConfigSpec> &&
              hasOperators<Stp::OCBridgePriority> && hasOperators<Stp::InstanceId>);
static_assert(sizeof(Stp::MstpConfigDigest) == 16);

template <class T>
void expectTypedAgreement() {
  SCOPED_TRACE(typeName(T::tovoStaticType()));
  Samples samples(41);
  const Tovo::TovoTypeBase type = T::tovoStaticType();
  const bool declared = ExpectedModel::type(typeName(type)).order == "declared";
  EXPECT_EQ(hasOperators<T>, declared);
  for (int round = 0; round < 200; ++round) {
    const Buffer first = samples.any(type);
    const Buffer second = samples.any(type);
    const T& a = *static_cast<const T*>(first->get());
    const T& b = *static_cast<const T*>(second->get());
    bool answer = false;
    EXPECT_EQ(wholeOp(type, answer, &a, Code::equal, &b), 0);
    EXPECT_EQ(T::isEq(&a, &b), answer);
    EXPECT_EQ(a == b, answer);
    EXPECT_TRUE(T::isEq(&a, &a));
    const uint8_t done = wholeOp(type, answer, &a, Code::less, &b);
    if constexpr (hasOperators<T>) {
      EXPECT_EQ(a < b, answer);
    } else if constexpr (requires { a.value(); }) {
      EXPECT_TRUE(done == 1 || answer == (a.value() < b.value()));
    }
    EXPECT_EQ(fromHex<T>(hexOf(a)), a);
  }
}

template <class... T>
void expectTypedAgreementOfAll() {
  (expectTypedAgreement<T>(), ...);
}

TEST_F(ValueTest, TypedEqualityAndOrderAgreeWithReflection) {
  using namespace Stp;
  expectTypedAgreementOfAll<BridgePriority, BridgeSystemId, BridgeId, PortPriority, PortNumber,
                            PortId, PathCost, TimerVal, TimesVector, PriorityVector, StpBpduVersion,
                            StpBpduType, StpBpduFlags, RstpBpduFlags, MstpConfigDigest, InstanceId,
                            PacketsPerSecond, PortChannelPortIdAlloc, VlanIdOrRange, Constants,
                            MstConfigSpec, OCGlobalConfigContainer, OCGlobalStateContainer,
                            PortCounters, MstiCounters, InterfaceConfig, InterfaceState,
                            OCBridgePriority, OCMstiConfig, OCMstiState>();
}

template <class T, class Get, class Set>
void expectField(const char* name, const Get& get, const Set& set) {
  SCOPED_TRACE(name);
  Samples samples(42);
  const Tovo::TovoTypeBase type = T::tovoStaticType();
  const Attribute attribute = attributeByName(type, name);
  using Field = std::decay_t<decltype(get(std::declval<const T&>()))>;
  for (int round = 0; round < 50; ++round) {
    const Buffer start = samples.any(type);
    const Buffer field = samples.any(attribute);
    const Field& value = *static_cast<const Field*>(field->get());
    T typed = *static_cast<const T*>(start->get());
    T reflected = typed;
    set(typed, value);
    EXPECT_EQ(attributeOp(type, nullptr, &reflected, attribute.id(), Code::set, nullptr, &value),
              0);
    EXPECT_EQ(typed, reflected);
    EXPECT_EQ(get(typed), value);
    Field read{};
    EXPECT_EQ(attributeOp(type, &read, &reflected, attribute.id(), Code::get), 0);
    EXPECT_EQ(read, value);
  }
}

#define FIELD(T, x)                                 \
  expectField<T>(                                   \
      #x, [](const T& value) { return value.x(); }, \
      [](T& value, const auto& field) { value.x##Is(field); })

TEST_F(ValueTest, TypedFieldsAgreeWithReflection) {
  using namespace Stp;
  FIELD(BridgePriority, value);
  FIELD(BridgeId, priority);
  FIELD(BridgeId, systemId);
  FIELD(BridgeId, address);
  FIELD(PortId, portPriority);
  FIELD(PortId, portNumber);
  FIELD(TimesVector, helloTime);
  FIELD(TimesVector, remainingHops);
  FIELD(PriorityVector, regionalRootBridgeId);
  FIELD(PriorityVector, intRootPathCost);
  FIELD(PriorityVector, portId);
  FIELD(MstpConfigDigest, configDigest15);
  FIELD(InstanceId, value);
  FIELD(PortChannelPortIdAlloc, reservedRangeMax);
  FIELD(MstConfigSpec, regionId);
  FIELD(MstConfigSpec, configRevision);
  FIELD(MstConfigSpec, vidToMstiMap);
  FIELD(PortCounters, bpduTaggedError);
  FIELD(PortCounters, timestamp);
  FIELD(MstiCounters, learningPortCount);
  FIELD(InterfaceConfig, name);
  FIELD(InterfaceConfig, linkType);
  FIELD(InterfaceConfig, edgePort);
  FIELD(InterfaceState, linkType);
  FIELD(InterfaceState, bpduGuard);
  FIELD(OCMstiConfig, mstId);
  FIELD(OCMstiState, bridgePriority);
}

// --------------------------------------------------------------------------------- single findings

TEST_F(ValueTest, SpanningTreeComparisons) {
  using namespace Stp;
  const auto bridge = [](uint16_t priority, uint16_t systemId, Nelka::EthAddr address) {
    return BridgeId(BridgePriority(priority), BridgeSystemId(systemId), address);
  };
  constexpr Nelka::EthAddr low("00:00:00:00:00:01");
  constexpr Nelka::EthAddr high("ff:00:00:00:00:00");
  EXPECT_LT(bridge(4096, 65535, high), bridge(8192, 0, low));
  EXPECT_LT(bridge(4096, 1, high), bridge(4096, 2, low));
  EXPECT_LT(bridge(4096, 1, low), bridge(4096, 1, high));
  EXPECT_LT(PortId(PortPriority(16), PortNumber(4095)), PortId(PortPriority(32), PortNumber(1)));
  EXPECT_LT(PortId(PortPriority(16), PortNumber(1)), PortId(PortPriority(16), PortNumber(2)));
  EXPECT_LT(TimerVal(2, 255), TimerVal(3, 0));
  EXPECT_EQ(hexOf(bridge(0x8000, 1, Nelka::EthAddr("00:00:5e:00:53:99"))), "8000000100005e005399");
  EXPECT_EQ(hexOf(PortId(PortPriority(128), PortNumber(5))), "800005");
}

TEST_F(ValueTest, CountersWrapAndTheTimestampTakesPartInEquality) {
  Stp::PortCounters counters;
  counters.bpduRxIs(4294967295);
  EXPECT_EQ(counters.bpduRxInc(1), 0u);
  EXPECT_EQ(counters.bpduTaggedErrorInc(7), 7u);
  EXPECT_EQ(counters.timestamp(), 0.0);
  Stp::PortCounters later = counters;
  later.timestampIs(0.5);
  EXPECT_NE(later, counters);
  later.timestampIs(-0.0);
  EXPECT_EQ(later, counters);
}

TEST_F(ValueTest, ListsCheckTheirIndexAndKeepWhatTheyHad) {
  Stp::OCGlobalConfigContainer container;
  try {
    container.enabledProtocolIs(0, Stp::OcStpEnabledProtocol::MSTP);
    ADD_FAILURE();
  } catch (const Pelmo::VectorOutOfRangeException& error) {
    EXPECT_EQ(error.index(), 0u);
    EXPECT_EQ(error.size(), 0u);
  }
  EXPECT_THROW(container.disabledVlanPop(), Pelmo::VectorEmptyException);
  EXPECT_THROW(container.enabledProtocolPop(), Pelmo::VectorEmptyException);
  EXPECT_EQ(container, Stp::OCGlobalConfigContainer());
  for (const auto protocol : {Stp::OcStpEnabledProtocol::MSTP, Stp::OcStpEnabledProtocol::RSTP}) {
    container.enabledProtocolPush(protocol);
  }
  EXPECT_EQ(hexOf(container), "0000000201000000000000");
  EXPECT_EQ(container.enabledProtocolPop(), Stp::OcStpEnabledProtocol::RSTP);
  EXPECT_EQ(container.enabledProtocol().size(), 1u);
  // Beyond the room inside the value, the field pays for the memory.
  const auto& bytes = Pelmo::VectorMemory<Stp::OCGlobalConfigContainer::VE_DisabledVlan>::bytes;
  EXPECT_EQ(bytes, 0u);
  {
    Stp::OCGlobalConfigContainer one, other;
    for (int i = 0; i < 50; ++i) {
      one.disabledVlanPush({});
      other.disabledVlanPush({});
      EXPECT_EQ(one, other);
    }
    EXPECT_GE(bytes, 100 * sizeof(Stp::VlanIdOrRange));
  }
  EXPECT_EQ(bytes, 0u);
  container.enabledProtocolPopAll();
  EXPECT_EQ(container, Stp::OCGlobalConfigContainer());

  Stp::OCMstiConfig config;
  Stp::VlanIdOrRange five;
  five.singleIs(Bridging::VlanId(5));
  config.vlanPush(five);
  config.vlanPush(Stp::VlanIdOrRange());
  EXPECT_THROW(config.vlanIs(2, five), Pelmo::VectorOutOfRangeException);
  Stp::OCMstiConfig reordered;
  reordered.vlanPush(Stp::VlanIdOrRange());
  reordered.vlanPush(five);
  EXPECT_NE(config, reordered);
  EXPECT_EQ(config.vlanPop(), Stp::VlanIdOrRange());
  EXPECT_EQ(config.vlan(0).single(), Bridging::VlanId(5));
  EXPECT_EQ(hexOf(config), "0000800000000001000005");
}

TEST_F(ValueTest, OptionalsTravelAsPresenceAndWideNumber) {
  using namespace Stp;
  InterfaceConfig config;
  config.nameIs(Nelka::IntfId(uint64_t{1}));
  const std::string name = "0000000000000001";
  EXPECT_EQ(hexOf(config), name + "00" + "0100000002" + "00");
  config.linkTypeIs(OcStpLinkType::SHARED);
  config.edgePortIs({});
  config.bpduGuardIs(true);
  EXPECT_NE(config, InterfaceConfig());
  EXPECT_EQ(hexOf(config), name + "0100000001" + "00" + "0101");
  EXPECT_THROW(config.edgePort().value(), Tovo::BadOptionalAccessException);
  // Absent is another value than every present one.
  InterfaceConfig off = config;
  off.bpduGuardIs({});
  config.bpduGuardIs(false);
  EXPECT_NE(off, config);

  InterfaceState state(Nelka::IntfId(uint64_t{1}));
  EXPECT_EQ(hexOf(state), name + "00000000" + "0100000002" + "00");
  state.edgePortIs({});
  state.bpduGuardIs(false);
  EXPECT_EQ(hexOf(state), name + "00000000" + "00" + "0100");
  // A number that one byte cannot hold is no enumerator, and 255 stands for absent.
  for (const char* number : {"000000ff", "00000100", "ffffffff"}) {
    EXPECT_THROW(fromHex<InterfaceState>(name + number + "0000"), Tovo::StreamException) << number;
  }
  EXPECT_EQ(fromHex<InterfaceState>(name + "000000fe" + "0000").linkType(),
            static_cast<OcStpLinkType>(254));
}

// A length or count beyond the bytes that follow is refused before anything is taken.
TEST_F(ValueTest, HostileLengthsAreRefused) {
  for (const char* bytes : {"ffffffff", "00000005ab", "0000000100 0000 ffffffff"}) {
    EXPECT_THROW(fromHex<Stp::MstConfigSpec>(bytes), Tovo::StreamException) << bytes;
  }
  for (const char* bytes : {"ffffffff0000", "00000002 00", "00000000 00 7fffffff 000001"}) {
    EXPECT_THROW(fromHex<Stp::OCGlobalStateContainer>(bytes), Tovo::StreamException) << bytes;
  }
}

}  // namespace
