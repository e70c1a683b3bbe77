// What holds for every value type, by random values made through reflection.
#include <algorithm>
#include <functional>
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

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::TypeDescriptor;
using Tovo::TypeKind;
namespace Code = Tovo::OperationCode;

class ValueTest : public ModelTest {
 protected:
  /// body(type, ops) for each value type, unions and, if asked for, enumerations included.
  template <class Body>
  static void forEachValue(bool enumerations, const Body& body) {
    forEachType({TypeKind::value, TypeKind::unionValue,
                 enumerations ? TypeKind::enumeration : TypeKind::value},
                [&](Tovo::TovoTypeBase type) { body(type, *Tovo::valueOps(type)); });
  }

  Samples samples{40};
};

bool isA(Tovo::TovoTypeBase type, TypeKind kind) { return typeDescriptor(type).kind == kind; }

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

bool hasNoTextConstructor(Tovo::TovoTypeBase type) {
  return std::string_view(typeName(type)).find("Container") != std::string_view::npos;
}

TEST_F(ValueTest, TextReadsBackEqual) {
  forEachValue(true, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const Tovo::GenericIfMethods& methods = *genericIf(type).methods;
    for (int round = 0; round < 300; ++round) {
      const Buffer value = samples.any(type);
      const Pelmo::String printed = methods.genericIfStrRep(type, value->get());
      EXPECT_EQ(printed.view(), text(ops, value->get()));
      if (!isA(type, TypeKind::enumeration)) {
        EXPECT_EQ(TovoPelmo::Impl::valueToStrep(type.module, type.index, value->get()), printed);
      }
      if (isA(type, TypeKind::value)) {
        EXPECT_EQ(fieldByField(type, value->get()), printed.view());
      }
      Tovo::ValueBuffer back(ops);
      back.constructDefault();
      if (hasNoTextConstructor(type)) {
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
  forEachValue(false, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    if (!isA(type, TypeKind::value) || hasNoTextConstructor(type)) return;
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
  forEachValue(true, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    for (int round = 0; round < 300; ++round) {
      const Buffer value = samples.any(type);
      std::vector<uint8_t> bytes = encoded(ops, value->get());
      if (typeDescriptor(type).encodedSize != TypeDescriptor::variableSize) {
        EXPECT_EQ(bytes.size(), typeDescriptor(type).encodedSize);
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
  forEachValue(true, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
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
  forEachValue(false, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    std::vector<Buffer> values;
    for (int i = 0; i < 24; ++i) values.push_back(samples.any(type));
    const auto less = [&](const Buffer& a, const Buffer& b) {
      bool answer = false;
      EXPECT_EQ(wholeOp(type, answer, a->get(), Code::less, b->get()), 0);
      return answer;
    };
    if ((typeDescriptor(type).flags & TypeDescriptor::ordered) == 0) {
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
  forEachValue(false, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const auto& methods = *genericIf(type).methods;
    for (int round = 0; round < 100; ++round) {
      const Buffer value = samples.any(type);
      if ((typeDescriptor(type).flags & TypeDescriptor::hashable) == 0) {
        EXPECT_THROW(methods.genericIfHash(value->get(), type), Tovo::UnhashableException);
        continue;
      }
      Tovo::ValueBuffer copy(ops);
      copy.constructFrom(value->get());
      EXPECT_EQ(methods.genericIfHash(value->get(), type), methods.genericIfHash(copy.get(), type));
      // That of an instance id is its number; the others are spread.
      const uint64_t number = ops.number(value->get());
      const auto word = static_cast<uint16_t>(number);
      const uint32_t spread = ops.encodedSize == 1
                                  ? Tovo::hashSingleAttr(0, static_cast<uint8_t>(number))
                                  : Tovo::hashSingleAttr(0, word);
      EXPECT_EQ(methods.genericIfHash(value->get(), type),
                type == Stp::InstanceId::tovoStaticType() ? number : spread);
    }
  });
}

TEST_F(ValueTest, ConstructorArgumentsAreTheFields) {
  forEachValue(false, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const bool none = (typeDescriptor(type).flags & TypeDescriptor::noArguments) != 0;
    std::vector<Attribute> fields;
    forEachAttribute(type, [&](Attribute each) {
      if (each.kind() == AttributeKind::field && !none) fields.push_back(each);
    });
    const auto isFixed = [](Attribute each) { return each.has(AttributeDescriptor::fixed); };
    const bool all = std::none_of(fields.begin(), fields.end(), isFixed);
    if (!all) std::erase_if(fields, std::not_fn(isFixed));
    for (int round = 0; round < 50; ++round) {
      const Buffer value = samples.any(type);
      std::vector<Buffer> arguments;
      std::vector<const void*> pointers;
      for (const Attribute field : fields) {
        arguments.push_back(std::make_unique<Tovo::ValueBuffer>(field.ops()));
        arguments.back()->constructDefault();
        EXPECT_EQ(attributeOp(type, arguments.back()->get(), value->get(), field.id(), Code::get),
                  0);
        pointers.push_back(arguments.back()->get());
      }
      Tovo::ValueBuffer made(ops);
      made.constructDefault();
      const std::string initial = hex(encoded(ops, made.get()));
      ops.destruct(made.get());
      genericIf(type).genericIfConstructFromCtorArgs(type, made.get(), pointers);
      if (fields.empty()) {
        EXPECT_EQ(hex(encoded(ops, made.get())), initial);
      } else if (all) {
        EXPECT_TRUE(ops.equal(made.get(), value->get()));
      }
      const auto refused = [&](const std::vector<const void*>& wrong) -> size_t {
        alignas(16) unsigned char room[256];
        try {
          genericIf(type).genericIfConstructFromCtorArgs(type, room, wrong);
        } catch (const Tovo::NewEntityArgsException& error) {
          EXPECT_EQ(&error.module(), type.module);
          return error.argument();
        }
        return 99;
      };
      pointers.push_back(&fields);
      EXPECT_EQ(refused(pointers), fields.size());
      if (fields.empty()) continue;
      pointers.resize(fields.size() - 1);
      EXPECT_EQ(refused(pointers), pointers.size());
    }
  });
}

TEST_F(ValueTest, ReflectionRefusesConstantsAndUnknownFields) {
  forEachValue(false, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const Buffer value = samples.any(type);
    const std::string before = text(ops, value->get());
    uint64_t room[32] = {};
    forEachAttribute(type, [&](Attribute each) {
      const AttributeKind kind = each.kind();
      if (kind == AttributeKind::constant || kind == AttributeKind::query ||
          each.has(AttributeDescriptor::readOnly)) {
        EXPECT_EQ(attributeOp(type, nullptr, value->get(), each.id(), Code::set, nullptr,
                              samples.any(each)->get()),
                  1)
            << each.name();
      }
      if (kind == AttributeKind::indexed) return;
      for (const uint32_t code : {Code::del, Code::isSet, Code::equal, Code::less, 99u}) {
        EXPECT_EQ(attributeOp(type, room, value->get(), each.id(), code, room, room), 1)
            << each.name();
      }
    });
    const unsigned behind = ownAttributes(type).back().id + 1u;
    for (const unsigned id : {0u, 1u, 154u, 155u, 257u, behind}) {
      EXPECT_EQ(attributeOp(type, room, value->get(), id, Code::get), 2) << id;
      EXPECT_EQ(attributeOp(type, nullptr, value->get(), id, Code::set, nullptr, room), 2) << id;
    }
    EXPECT_EQ(text(ops, value->get()), before);
  });
}

// A value is not one of another type.
TEST_F(ValueTest, OtherConversionsAreRefused) {
  const Tovo::TovoTypeBase cost = typeNamed("Stp::PathCost");
  const auto convert = genericIf(cost).methods->genericIfVoidPtrIs;
  Stp::PathCost value;
  EXPECT_EQ(convert(&value, cost, cost), &value);
  EXPECT_THROW(convert(&value, cost, typeNamed("Stp::PortId")), Tovo::TypeException);
}

// ------------------------------------------------------------------------------- the typed surface

template <class T>
constexpr bool hasOperators = requires(const T& a) {
  a <=> a;
}
|| requires(const T& a) { a < a; };

// What is or is not ordered, checked where it would be misused.
static_assert(!hasOperators<Stp::PriorityVector> && !hasOperators<Stp::TimesVector> &&
              !hasOperators<Stp::BridgePriority> && !hasOperators<Stp::PortNumber> &&
              !hasOperators<Stp::MstpConfigDigest> && !hasOperators<Stp::InterfaceConfig>);
static_assert(hasOperators<Stp::BridgeId> && hasOperators<Stp::PortId> &&
              hasOperators<Stp::PathCost> && hasOperators<Stp::VlanIdOrRange>);
static_assert(sizeof(Stp::MstpConfigDigest) == 16);

template <class T>
void expectTypedAgreement() {
  SCOPED_TRACE(typeName(T::tovoStaticType()));
  Samples samples(41);
  const Tovo::TovoTypeBase type = T::tovoStaticType();
  EXPECT_TRUE(!hasOperators<T> || (typeDescriptor(type).flags & TypeDescriptor::ordered) != 0);
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
  FIELD(BridgeId, address);
  FIELD(TimesVector, remainingHops);
  FIELD(PriorityVector, intRootPathCost);
  FIELD(MstpConfigDigest, configDigest15);
  FIELD(MstConfigSpec, configRevision);
  FIELD(MstConfigSpec, vidToMstiMap);
  FIELD(PortCounters, timestamp);
  FIELD(InterfaceConfig, edgePort);
  FIELD(InterfaceState, linkType);
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
}

TEST_F(ValueTest, ListsCheckTheirIndexAndKeepWhatTheyHad) {
  using Protocol = Stp::OcStpEnabledProtocol;
  Stp::OCGlobalConfigContainer container;
  try {
    container.enabledProtocolIs(0, Protocol::MSTP);
    ADD_FAILURE();
  } catch (const Pelmo::VectorOutOfRangeException& error) {
    EXPECT_EQ(error.index(), 0u);
    EXPECT_EQ(error.size(), 0u);
  }
  EXPECT_THROW(container.enabledProtocolPop(), Pelmo::VectorEmptyException);
  EXPECT_EQ(container, Stp::OCGlobalConfigContainer());
  container.enabledProtocolPush(Protocol::MSTP);
  container.enabledProtocolPush(Protocol::RSTP);
  Stp::OCGlobalConfigContainer reordered;
  reordered.enabledProtocolPush(Protocol::RSTP);
  reordered.enabledProtocolPush(Protocol::MSTP);
  EXPECT_NE(container, reordered);
  container.enabledProtocolIs(1, Protocol::RAPID_PVST);
  EXPECT_EQ(hexOf(container), "0000000201020000000000");
  EXPECT_EQ(container.enabledProtocolPop(), Protocol::RAPID_PVST);
  EXPECT_EQ(container.enabledProtocol().size(), 1u);
  EXPECT_EQ(container.enabledProtocol(0), Protocol::MSTP);
  container.enabledProtocolPopAll();
  EXPECT_EQ(container, Stp::OCGlobalConfigContainer());
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
}

TEST_F(ValueTest, OptionalsTravelAsPresenceAndWideNumber) {
  using namespace Stp;
  const std::string name = "0000000000000001";
  InterfaceState state(Nelka::IntfId(uint64_t{1}));
  EXPECT_EQ(hexOf(state), name + "00000000" + "0100000002" + "00");
  state.edgePortIs({});
  EXPECT_THROW(state.edgePort().value(), Tovo::BadOptionalAccessException);
  // Absent is another value than every present one.
  InterfaceState off = state;
  off.bpduGuardIs(false);
  EXPECT_NE(off, state);
  EXPECT_EQ(hexOf(off), name + "00000000" + "00" + "0100");
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
  for (const char* bytes : {"ffffffff0000", "00000000 00 7fffffff 000001"}) {
    EXPECT_THROW(fromHex<Stp::OCGlobalStateContainer>(bytes), Tovo::StreamException) << bytes;
  }
}

}  // namespace
