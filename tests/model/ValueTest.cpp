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

using Tovo::Attribute;
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

// Lists forbid these to be read from text; asking is an error of the program.
bool hasNoTextConstructor(Tovo::TovoTypeBase type) {
  return std::string_view(typeName(type)).find("Container") != std::string_view::npos;
}

TEST_F(ValueTest, TextAndBytesReadBackEqual) {
  forEachValue(true, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    const Tovo::GenericIfMethods& methods = *genericIf(type).methods;
    const uint32_t size = typeDescriptor(type).encodedSize;
    for (int round = 0; round < 300; ++round) {
      const Buffer value = samples.any(type);
      const Buffer other = samples.any(type);
      std::vector<uint8_t> bytes = encoded(ops, value->get());
      EXPECT_TRUE(size == TypeDescriptor::variableSize || bytes.size() == size);
      Tovo::NboAttrLog::In in(bytes);
      Tovo::ValueBuffer received(ops);
      received.read(in);
      EXPECT_EQ(in.remaining(), 0u);
      EXPECT_EQ(encoded(ops, received.get()), bytes);
      // Equal are those of the same bytes; zero has two encodings as Seconds, which no sample has.
      bool answer = false;
      EXPECT_EQ(wholeOp(type, answer, value->get(), Code::equal, received.get()), 0);
      EXPECT_TRUE(answer);
      EXPECT_EQ(wholeOp(type, answer, value->get(), Code::equal, other->get()), 0);
      EXPECT_EQ(answer, encoded(ops, other->get()) == bytes);
      EXPECT_EQ(wholeOp(type, answer, value->get(), 14), 1);
      if (!isA(type, TypeKind::enumeration)) {
        Tovo::ValueBuffer initial(ops);
        initial.constructDefault();
        EXPECT_EQ(wholeOp(type, answer, value->get(), Code::isSet), 0);
        EXPECT_EQ(answer, !ops.equal(value->get(), initial.get()));
      }
      if (!bytes.empty()) {
        bytes.pop_back();
        Tovo::NboAttrLog::In cut(bytes);
        Tovo::ValueBuffer none(ops);
        EXPECT_THROW(none.read(cut), Tovo::StreamException);
      }

      const Pelmo::String printed = methods.genericIfStrRep(type, value->get());
      EXPECT_EQ(printed.view(), text(ops, value->get()));
      if (isA(type, TypeKind::value)) {
        EXPECT_EQ(fieldByField(type, value->get()), printed.view());
      }
      alignas(16) unsigned char room[256];
      if (hasNoTextConstructor(type)) {
        const AssertionsThrow guard;
        EXPECT_THROW(methods.genericIfStrepToValue(type, printed, room), Tovo::AssertionError);
        continue;
      }
      methods.genericIfStrepToValue(type, printed, room);
      EXPECT_TRUE(ops.equal(room, value->get())) << printed;
      methods.genericIfDestruct(type, room);
      // Nothing may stand behind it.
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

// Seconds that are no number equal nothing, but a value that holds them is still the same value.
TEST_F(ValueTest, AnObjectEqualsItselfWhateverItHolds) {
  Stp::PortCounters counters;
  counters.timestampIs(std::numeric_limits<double>::quiet_NaN());
  const Stp::PortCounters copy = counters;
  EXPECT_TRUE(Stp::PortCounters::isEq(&counters, &counters));
  EXPECT_FALSE(Stp::PortCounters::isEq(&counters, &copy));
  EXPECT_TRUE(std::as_const(counters) == counters);
  EXPECT_FALSE(counters == copy);
  const auto status = Stp::statusFactory("sw");
  const auto port = status->stpiStatusIs("Mstp")->stpiPortStatusIs("Ethernet1", 5.0);
  port->countersIs(counters);
  Recorder changes(*port);
  port->countersIs(port->counters());
  EXPECT_EQ(changes.take(), Lines());
  port->countersIs(copy);
  EXPECT_EQ(changes.take().size(), 1u);
}

TEST_F(ValueTest, OrderAndHashAreThoseOfTheValueOrNotSupported) {
  forEachValue(false, [&](Tovo::TovoTypeBase type, const Tovo::ValueOps& ops) {
    std::vector<Buffer> values;
    for (int i = 0; i < 24; ++i) values.push_back(samples.any(type));
    const uint8_t flags = typeDescriptor(type).flags;
    const auto hash = [&](const Buffer& value) {
      return genericIf(type).methods->genericIfHash(value->get(), type);
    };
    for (const Buffer& value : values) {
      if ((flags & TypeDescriptor::hashable) == 0) {
        EXPECT_THROW(hash(value), Tovo::UnhashableException);
        continue;
      }
      // That of an instance id is its number; the others are spread.
      const uint64_t number = ops.number(value->get());
      const uint32_t spread = ops.encodedSize == 1
                                  ? Tovo::hashSingleAttr(0, static_cast<uint8_t>(number))
                                  : Tovo::hashSingleAttr(0, static_cast<uint16_t>(number));
      EXPECT_EQ(hash(value), type == Stp::InstanceId::tovoStaticType() ? number : spread);
    }
    const bool ordered = (flags & TypeDescriptor::ordered) != 0;
    const auto less = [&](const Buffer& a, const Buffer& b) {
      bool answer = false;
      EXPECT_EQ(wholeOp(type, answer, a->get(), Code::less, b->get()), ordered ? 0 : 1);
      return answer;
    };
    for (const Buffer& a : values) {
      for (const Buffer& b : values) {
        const bool ab = less(a, b);
        const bool ba = less(b, a);
        EXPECT_FALSE(ab && ba);
        EXPECT_TRUE(!ordered || (!ab && !ba) == ops.equal(a->get(), b->get()));
        for (const Buffer& c : values) EXPECT_TRUE(!ab || !less(b, c) || less(a, c));
      }
    }
  });
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
  EXPECT_THROW(container.enabledProtocolIs(0, Protocol::MSTP), Pelmo::VectorOutOfRangeException);
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
