#include "TovoPelmo/Render.h"

#include <gtest/gtest.h>

#include <string>

#include "SampleModule.h"
#include "Support.h"
#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"

namespace TovoPelmo {
namespace {

using namespace platform::test;
using Sample::Colour;
using Sample::Level;
using Sample::Mark;
using Sample::Nothing;
using Tovo::ParseException;
using Tovo::RangeException;
using Tovo::strepToValue;

template <class T>
std::string textOf(const T& value) {
  const Tovo::TovoTypeBase type = Tovo::TypeOf<T>::type();
  return std::string(Impl::valueToStrep(type.module, type.index, &value).view());
}

TEST(Render, NoneOneAndSeveralFields) {
  EXPECT_EQ(textOf(Nothing()), "Value('Sample::Nothing')");
  EXPECT_EQ(textOf(Level(12)), "12");
  Mark mark;
  mark.label = "it's";
  mark.at = 0.5;
  mark.colour = static_cast<Colour>(77);  // a number without a literal
  // Constants are no part of the text.
  EXPECT_EQ(textOf(mark), "Value('Sample::Mark', level=7, label='it\\'s', at=0.5, colour=77)");
}

TEST(Render, WhatIsPrintedReadsBack) {
  strepToValue<Nothing>("Value('Sample::Nothing')");
  EXPECT_EQ(strepToValue<Level>("200"), Level(200));
  Mark mark;
  mark.level = Level(1);
  mark.label = std::string_view("', at=1\0)", 9);
  mark.at = 1e-300;
  mark.colour = Colour::blue;
  EXPECT_EQ(strepToValue<Mark>(textOf(mark)), mark);
}

TEST(Render, FailuresNameFieldAndPlace) {
  const std::string pre = "Value('Sample::Mark', level=";
  const struct {
    std::string text;
    const char* field;
    size_t position;
  } cases[] = {
      {"Value('Sample::Mark')", "", 0},
      {"Value('Sample::Level', level=7)", "", 0},
      {pre, "level.level", 28},
      {pre + "256, label=''", "level.level", 28},
      {pre + "1, label=x", "label", 37},
      {pre + "1, label='', at=soon", "at", 44},
      {pre + "1, label='', at=1, colour=pink)", "colour", 54},
      {pre + "1, label='', at=1, colour=reddish)", "colour", 54},
      {pre + "1, label='', at=1, limit=500, colour=red)", "", 45},
      {pre + "1, label='', at=1, colour=red", "", 57},
      {pre + "1, label='', at=1, colour=red))", "", 58},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.text);
    const auto error = thrownBy<ParseException>([&] { strepToValue<Mark>(each.text); });
    if (!error) continue;
    EXPECT_EQ(error->field(), each.field) << error->what();
    EXPECT_EQ(error->position(), each.position) << error->what();
  }
  for (const char* level : {"0", "201", "255"}) {
    EXPECT_EQ(saidBy<RangeException>([&] { strepToValue<Level>(level); }), "a level is 1 to 200");
    EXPECT_EQ(saidBy<RangeException>(
                  [&] { strepToValue<Mark>(pre + level + ", label='', at=1, colour=red)"); }),
              "level: a level is 1 to 200");
  }
  for (const char* text : {"", "Value('Sample::Nothing'", "Value('Sample::Nothing', )"}) {
    thrownBy<ParseException>([&] { strepToValue<Nothing>(text); });
  }
}

}  // namespace
}  // namespace TovoPelmo
