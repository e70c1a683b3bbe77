#include "Interface/IntfLoggingMode.h"

#include <gtest/gtest.h>

#include <string>

#include "SampleModule.h"
#include "Support.h"
#include "Tovo/EnumType.h"
#include "Tovo/Exceptions.h"

namespace Interface {
namespace {

using namespace platform::test;
using Tovo::ParseException;
using Tovo::RangeException;

TEST(IntfLoggingMode, ByNumberAndName) {
  const std::pair<IntfLoggingMode, const char*> literals[] = {
      {IntfLoggingMode::off, "off"},
      {IntfLoggingMode::on, "on"},
      {IntfLoggingMode::useGlobal, "useGlobal"}};
  for (const auto& [mode, name] : literals) {
    EXPECT_EQ(IntfLoggingModeInstance(static_cast<unsigned>(mode)), mode);
    EXPECT_EQ(IntfLoggingModeInstance(Pelmo::String(name)), mode);
    EXPECT_EQ(stringValue(mode), name);
    EXPECT_EQ(printedOddly(mode), name);
  }
  // 256 must not be taken for 0.
  for (const unsigned number : {3u, 255u, 256u, 0xffffffffu}) {
    EXPECT_EQ(saidBy<RangeException>([&] { IntfLoggingModeInstance(number); }),
              std::to_string(number) +
                  " is not a number of Interface::IntfLoggingMode; allowed "
                  "are off (0), on (1), useGlobal (2)");
  }
  for (const char* name : {"", "On", "useGlobal ", "1"}) {
    thrownBy<RangeException>([&] { IntfLoggingModeInstance(Pelmo::String(name)); });
  }
}

TEST(IntfLoggingMode, ANumberWithoutALiteralPrintsAsItself) {
  const auto unknown = static_cast<IntfLoggingMode>(200);
  EXPECT_EQ(printedOddly(unknown), "200");
  thrownBy<RangeException>([&] { stringValue(unknown); });
}

TEST(IntfLoggingMode, ReadsTheLongestIdentifier) {
  IntfLoggingMode mode = IntfLoggingMode::off;
  Tovo::CharRange good("useGlobal, on)");
  sequenceToValue(good, &mode);
  EXPECT_EQ(mode, IntfLoggingMode::useGlobal);
  EXPECT_TRUE(good.accept(", "));
  sequenceToValue(good, &mode);
  EXPECT_EQ(mode, IntfLoggingMode::on);
  EXPECT_EQ(good.rest(), ")");
  for (const char* text : {"", "onward", "on_", "on1", "ON", "0", "use"}) {
    SCOPED_TRACE(text);
    Tovo::CharRange bad(text);
    thrownBy<ParseException>([&] { sequenceToValue(bad, &mode); });
    EXPECT_EQ(bad.position(), 0u);
    EXPECT_EQ(mode, IntfLoggingMode::on);
  }
}

TEST(EnumType, NegativeLiteralsKeepTheirSign) {
  const Tovo::TovoTypeBase type = Tovo::TypeOf<Sample::Colour>::type();
  EXPECT_EQ(Tovo::EnumType::instance(-1, type), -1);
  EXPECT_EQ(Tovo::EnumType::instance(Pelmo::String("blue"), type), -1);
  EXPECT_EQ(Tovo::EnumType::stringValue(-1, type), "blue");
  thrownBy<RangeException>([&] { Tovo::EnumType::instance(0xffffffff, type); });
}

}  // namespace
}  // namespace Interface
