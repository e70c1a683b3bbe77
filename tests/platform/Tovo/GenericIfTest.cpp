#include "Tovo/GenericIf.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "Bridging/VlanIdRange.h"
#include "Interface/IntfLoggingMode.h"
#include "Nelka/EthAddr.h"
#include "Nelka/IntfId.h"
#include "SampleModule.h"
#include "Support.h"
#include "Tovo/Exceptions.h"
#include "Tovo/HashHelper.h"
#include "Tovo/ValueReflection.h"

namespace Tovo {
namespace {

using namespace platform::test;
using Sample::Colour;
using Sample::Level;
using Sample::Mark;

/// The answer of a question about a whole value: 0 or 1, or -1 where it is not supported.
template <class T>
int ask(const T& object, uint32_t code, const T* other = nullptr) {
  uint8_t answer = 99;
  T copy = object;
  const uint8_t result =
      TypeImpl<T>::genericIfAttributeOp(&answer, &copy, nullptr, code, other, nullptr);
  if (result == ResultCode::done) return answer;
  EXPECT_EQ(result, ResultCode::notSupported);
  EXPECT_EQ(answer, 99);
  return -1;
}

/// "Is set", equality and order of a default and another value that orders behind it.
template <class T>
void expectQuestions(const T& other, bool ordered) {
  const T initial{};
  EXPECT_EQ(ask(initial, OperationCode::isSet), 0);
  EXPECT_EQ(ask(other, OperationCode::isSet), 1);
  EXPECT_EQ(ask(initial, OperationCode::equal, &initial), 1);
  EXPECT_EQ(ask(initial, OperationCode::equal, &other), 0);
  EXPECT_EQ(ask(initial, OperationCode::less, &other), ordered ? 1 : -1);
  EXPECT_EQ(ask(other, OperationCode::less, &initial), ordered ? 0 : -1);
  EXPECT_EQ(ask(initial, OperationCode::less, &initial), ordered ? 0 : -1);
  for (const uint32_t code : {0u, 1u, 2u, 3u, 10u, 14u, 0xffffffffu}) {
    EXPECT_EQ(ask(initial, code, &other), -1) << code;
  }
}

TEST(GenericIf, QuestionsAboutWholeValues) {
  expectQuestions(Nelka::EthAddr("00:00:00:00:00:01"), true);
  expectQuestions(Nelka::IntfId("Vlan1"), true);
  expectQuestions(Interface::IntfLoggingMode::on, true);
  expectQuestions(Colour::green, true);
  // A range that is wider comes first; the default has one VLAN.
  expectQuestions(Bridging::VlanIdRange(Bridging::VlanId(5), Bridging::VlanId(5)), true);
  expectQuestions(Level(8), true);
  Mark mark;
  mark.label = "x";
  expectQuestions(mark, false);

  // The default need not be zero.
  EXPECT_EQ(ask(Level(0), OperationCode::isSet), 1);
  EXPECT_EQ(ask(Level(7), OperationCode::isSet), 0);
}

TEST(GenericIf, HashesAreThoseOfTheTypeOrRefused) {
  const Nelka::IntfId id("Ethernet1");
  const auto hash = [](TovoTypeBase type, const void* value) {
    return genericIf(type).methods->genericIfHash(value, type);
  };
  EXPECT_EQ(hash(Nelka::IntfId::tovoStaticType(), &id), HashHelper<Nelka::IntfId>::hash(id));
  const Bridging::VlanIdRange range;
  EXPECT_EQ(
      saidBy<UnhashableException>([&] { hash(Bridging::VlanIdRange::tovoStaticType(), &range); }),
      "Bridging::VlanIdRange has no hash");
}

TEST(GenericIf, TextsAreReadWholeOrNothingIsConstructed) {
  const TovoTypeBase type = Nelka::IntfId::tovoStaticType();
  const GenericIfMethods& methods = *genericIf(type).methods;
  alignas(Nelka::IntfId) unsigned char storage[sizeof(Nelka::IntfId)];
  methods.genericIfStrepToValue(type, "Ethernet3/1", storage);
  EXPECT_EQ(methods.genericIfStrRep(type, storage), "Ethernet3/1");
  methods.genericIfDestruct(type, storage);

  unsigned char untouched[sizeof storage];
  std::fill(std::begin(untouched), std::end(untouched), 0xcc);
  const std::pair<const char*, size_t> wrong[] = {
      {"Ethernet3/1 ", 11}, {"Ethernet3/1x", 11}, {"Ethernet", 0}, {" Ethernet1", 0}};
  for (const auto& [text, position] : wrong) {
    EXPECT_EQ(faultAt([&, text = text] { methods.genericIfStrepToValue(type, text, untouched); }),
              position)
        << text;
    thrownBy<ParseException>([text = text] { strepToValue<Nelka::IntfId>(text); });
  }
  for (const unsigned char byte : untouched) EXPECT_EQ(byte, 0xcc);

  // What was read before the trailing text is given back: the leak checker looks on.
  const std::string full = "Value('Sample::Mark', level=1, label='long enough', at=0, colour=red)";
  EXPECT_EQ(strepToValue<Mark>(full).label, "long enough");
  thrownBy<ParseException>([&] { strepToValue<Mark>(full + "x"); });
}

TEST(GenericIf, PointersAreGivenAsTheTypeItselfOnly) {
  const TovoTypeBase type = Nelka::EthAddr::tovoStaticType();
  const GenericIfMethods& methods = *genericIf(type).methods;
  Nelka::EthAddr address;
  EXPECT_EQ(methods.genericIfVoidPtrIs(&address, type, type), &address);
  EXPECT_EQ(saidBy<TypeException>([&] {
              methods.genericIfVoidPtrIs(&address, type, Nelka::IntfId::tovoStaticType());
            }),
            "Nelka::EthAddr is not a Nelka::IntfId");
}

class FieldTest : public testing::Test {
 protected:
  template <class T>
  uint8_t get(uint16_t id, T& result) {
    const Pelmo::FieldDescriptor field(&id);
    return TypeImpl<Mark>::genericIfAttributeOp(&result, &mark, &field, OperationCode::get, nullptr,
                                                nullptr);
  }
  template <class T>
  uint8_t set(uint16_t id, const T& value, uint32_t code = OperationCode::set) {
    const Pelmo::FieldDescriptor field(&id);
    return TypeImpl<Mark>::genericIfAttributeOp(nullptr, &mark, &field, code, nullptr, &value);
  }
  Mark mark;
};

TEST_F(FieldTest, GetCopiesAndSetChecks) {
  mark.label = "here";
  mark.at = 2.5;
  Pelmo::String label("assigned over");
  EXPECT_EQ(get(3, label), ResultCode::done);
  EXPECT_EQ(label, "here");
  Seconds at = 0;
  EXPECT_EQ(get(4, at), ResultCode::done);
  EXPECT_EQ(at, 2.5);
  uint16_t limit = 0;
  EXPECT_EQ(get(5, limit), ResultCode::done);
  EXPECT_EQ(limit, 500);

  EXPECT_EQ(set(3, Pelmo::String("there")), ResultCode::done);
  EXPECT_EQ(mark.label, "there");
  EXPECT_EQ(set(6, Colour::blue), ResultCode::done);
  EXPECT_EQ(mark.colour, Colour::blue);
  EXPECT_EQ(set(4, Seconds{9}), ResultCode::notSupported);   // read-only
  EXPECT_EQ(set(5, uint16_t{9}), ResultCode::notSupported);  // a constant
  EXPECT_EQ(mark.at, 2.5);
  for (const uint32_t code : {2u, 11u, 12u, 13u, 99u}) {
    EXPECT_EQ(set(3, Pelmo::String("no"), code), ResultCode::notSupported) << code;
  }
  EXPECT_EQ(mark.label, "there");
  for (const uint16_t id : {0, 1, 7, 258, 0xffff}) {
    EXPECT_EQ(get(id, limit), ResultCode::unknownField) << id;
    EXPECT_EQ(set(id, limit), ResultCode::unknownField) << id;
  }
}

TEST_F(FieldTest, ASetOutsideTheRangeThrowsAndChangesNothing) {
  Level level;
  const uint16_t id = 2;
  const Pelmo::FieldDescriptor field(&id);
  const auto setLevel = [&](uint8_t value) {
    return TypeImpl<Level>::genericIfAttributeOp(nullptr, &level, &field, OperationCode::set,
                                                 nullptr, &value);
  };
  for (const uint8_t good : {1, 200}) EXPECT_EQ(setLevel(good), ResultCode::done);
  for (const uint8_t bad : {0, 201, 255}) {
    EXPECT_EQ(saidBy<RangeException>([&] { setLevel(bad); }), "a level is 1 to 200");
  }
  EXPECT_EQ(level.level, 200);
  // Enumerations have none.
  Colour colour = Colour::red;
  EXPECT_EQ(TypeImpl<Colour>::genericIfAttributeOp(&level, &colour, &field, OperationCode::get,
                                                   nullptr, nullptr),
            ResultCode::unknownField);
}

TEST(ConstructorArguments, AreTheFieldsInOrderAndChecked) {
  const Level level(9);
  const Pelmo::String label("label");
  const Seconds at = 3;
  const Colour colour = Colour::green;
  const void* const all[] = {&level, &label, &at, &colour, &level};
  for (size_t count = 0; count <= 5; ++count) {
    alignas(Mark) unsigned char storage[sizeof(Mark)];
    const auto construct = [&] {
      TypeImpl<Mark>::genericIfConstructFromCtorArgs(storage, ConstructorArguments(all, count));
    };
    if (count == 4) {
      construct();
      auto* mark = reinterpret_cast<Mark*>(storage);
      EXPECT_EQ(mark->level, level);
      EXPECT_EQ(mark->label, label);
      EXPECT_EQ(mark->at, at);
      EXPECT_EQ(mark->colour, colour);
      mark->~Mark();
      continue;
    }
    const auto error = thrownBy<NewEntityArgsException>(construct);
    if (error) {
      EXPECT_EQ(error->argument(), count < 4 ? count : 4);
    }
  }

  unsigned char storage = 0xcc;
  for (const uint8_t bad : {0, 201}) {
    const void* const argument[] = {&bad};
    thrownBy<RangeException>(
        [&] { TypeImpl<Level>::genericIfConstructFromCtorArgs(&storage, argument); });
  }
  EXPECT_EQ(storage, 0xcc);

  // Types that are not described take none.
  Nelka::EthAddr address("00:00:00:00:00:01");
  TypeImpl<Nelka::EthAddr>::genericIfConstructFromCtorArgs(&address, {});
  EXPECT_TRUE(address.isZero());
  thrownBy<NewEntityArgsException>(
      [&] { TypeImpl<Nelka::EthAddr>::genericIfConstructFromCtorArgs(&address, all); });
}

}  // namespace
}  // namespace Tovo
