#include "Tovo/CharRange.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>

#include "Support.h"
#include "Tovo/Exceptions.h"

namespace Tovo {
namespace {

using namespace platform::test;

template <class T>
void expectFails(std::string_view text, size_t position, const char* says = "") {
  SCOPED_TRACE(std::string(text));
  CharRange range(text);
  const auto error = thrownBy<ParseException>([&] { deserializeAttr<T>(range, "speed"); });
  ASSERT_TRUE(error);
  EXPECT_EQ(error->field(), "speed");
  EXPECT_EQ(error->position(), position);
  EXPECT_EQ(std::string(error->what()), "speed: " + error->message());
  EXPECT_NE(error->message().find(says), std::string::npos) << error->message();
}

template <class T>
void expectReads(std::string_view text, T expected, std::string_view rest = "") {
  SCOPED_TRACE(std::string(text));
  CharRange range(text);
  EXPECT_EQ(deserializeAttr<T>(range, "speed"), expected);
  EXPECT_EQ(range.rest(), rest);
}

template <class T>
class Number : public testing::Test {};
using Widths = testing::Types<uint8_t, uint16_t, uint32_t>;
TYPED_TEST_SUITE(Number, Widths);

TYPED_TEST(Number, DecimalDigitsUpToTheWidth) {
  const uint64_t highest = std::numeric_limits<TypeParam>::max();
  expectReads<TypeParam>("0", 0);
  expectReads<TypeParam>("007", 7);
  expectReads<TypeParam>("12, next=", 12, ", next=");
  expectReads<TypeParam>("0x12", 0, "x12");
  expectReads<TypeParam>("1e3", 1, "e3");
  expectReads<TypeParam>(std::to_string(highest), static_cast<TypeParam>(highest));
  expectReads<TypeParam>("000000000000" + std::to_string(highest), static_cast<TypeParam>(highest));
  expectFails<TypeParam>(std::to_string(highest + 1), 0, " is above ");
  expectFails<TypeParam>(std::to_string(highest) + "0", 0);
  expectFails<TypeParam>("18446744073709551616", 0);  // wraps to 0 in 64 bits
  for (const char* text : {"", " 1", "+1", "-1", "-0", "a", "'1'", "\xb2"}) {
    expectFails<TypeParam>(text, 0);
  }
}

TEST(CharRange, ReadsBoolAndSeconds) {
  expectReads("true", true);
  expectReads("True)", true, ")");
  expectReads("false", false);
  expectReads("False", false);
  for (const char* text : {"", "TRUE", "tru", "1", "yes", " true"}) expectFails<bool>(text, 0);

  expectReads("0", 0.0);
  expectReads("1.5, x", 1.5, ", x");
  expectReads("-2e3", -2000.0);
  expectReads("inf", std::numeric_limits<double>::infinity());
  for (const char* text : {"", "s", "1e999", "-1e999", "+1", " 1", "."}) {
    expectFails<Seconds>(text, 0);
  }
}

TEST(CharRange, ReadsQuotedStrings) {
  const auto reads = [](std::string_view text, std::string_view expected, std::string_view rest) {
    expectReads<Pelmo::String>(text, Pelmo::String(expected), rest);
  };
  reads("''", "", "");
  reads("'a', b", "a", ", b");
  reads(R"('it\'s')", "it's", "");
  reads(R"('\\')", "\\", "");
  reads(R"('\\'')", "\\", "'");
  reads(R"('\x00\xfF\x41b')",
        std::string_view("\0\xff"
                         "Ab",
                         4),
        "");
  reads("'\xc3\xa4\n'", "\xc3\xa4\n", "");  // what is not escaped is taken as it is

  for (const auto& [text, position] :
       std::initializer_list<std::pair<const char*, size_t>>{{"", 0},
                                                             {"a'", 0},
                                                             {"'abc", 0},
                                                             {"'abc\\'", 0},
                                                             {"'ab\\n'", 4},
                                                             {"'ab\\", 4},
                                                             {"'\\x4'", 2},
                                                             {"'\\xg0'", 2},
                                                             {"'\\x", 2}}) {
    expectFails<Pelmo::String>(text, position);
  }
}

TEST(CharRange, EveryTextSurvivesQuoting) {
  std::mt19937_64 random(6);
  for (int round = 0; round < 2000; ++round) {
    std::string bytes;
    const size_t length = random() % 40;
    for (size_t i = 0; i < length; ++i) {
      bytes += random() % 3 ? static_cast<char>(random()) : "'\\x0a\0"[random() % 6];
    }
    std::string text;
    appendText(text, Pelmo::String(bytes));
    for (const char c : text) ASSERT_TRUE(c >= 0x20 && c < 0x7f);
    expectReads<Pelmo::String>(text + "'rest", Pelmo::String(bytes), "'rest");
  }
}

TEST(CharRange, SecondsPrintShortAndReadBackTheSame) {
  const std::pair<Seconds, const char*> cases[] = {{0, "0"},     {0.1, "0.1"},
                                                   {15, "15"},   {1e6, "1e+06"},
                                                   {-0.0, "-0"}, {1.0 / 3, "0.3333333333333333"}};
  for (const auto& [value, expected] : cases) {
    std::string text;
    appendText(text, value);
    EXPECT_EQ(text, expected);
  }
  std::mt19937_64 random(7);
  for (int round = 0; round < 20000; ++round) {
    const auto value = std::bit_cast<Seconds>(random());  // subnormals and infinities as well
    std::string text;
    appendText(text, value);
    CharRange range(text);
    const auto again = deserializeAttr<Seconds>(range, "");
    ASSERT_TRUE(range.empty()) << text;
    if (std::isnan(value)) {
      ASSERT_TRUE(std::isnan(again));
    } else {
      ASSERT_EQ(std::bit_cast<uint64_t>(again), std::bit_cast<uint64_t>(value)) << text;
    }
  }
}

TEST(CharRange, PartsOfARecordAreDemandedExactly) {
  const auto read = [](std::string_view all) {
    CharRange text(all);
    const CharRangeCheckAllDataConsumed check(text);
    const DesAttrPost post(text);
    needPre(text, "A::B", "x");
    deserializeAttr<uint8_t>(text, "x");
    needSep(text, "yy");
    deserializeAttr<uint8_t>(text, "yy");
  };
  read("Value('A::B', x=1, yy=22)");
  const std::pair<const char*, size_t> wrong[] = {
      {"", 0},
      {"Value('A::C', x=1, yy=22)", 0},
      {"Value('A::B', yy=1, x=22)", 0},
      {"value('A::B', x=1, yy=22)", 0},
      {"Value('A::B', x=1,yy=22)", 17},
      {"Value('A::B', x=1)", 17},
      {"Value('A::B', x=, yy=22)", 16},
      {"Value('A::B', x=1, yy=22", 24},
      {"Value('A::B', x=1, yy=22]", 24},
      {"Value('A::B', x=1, yy=22) ", 25},
      {"Value('A::B', x=1, yy=22))", 25},
  };
  for (const auto& [text, position] : wrong) {
    EXPECT_EQ(faultAt([&, text = text] { read(text); }), position) << text;
  }
}

TEST(CharRange, GuardsAreSilentWhileAnotherExceptionPasses) {
  CharRange text("left behind");
  thrownBy<std::runtime_error>([&] {
    const CharRangeCheckAllDataConsumed check(text);
    const DesAttrPost post(text);
    throw std::runtime_error("the first one");
  });
  // Inside a destructor that runs because of an exception they speak, for a text of their own.
  struct Reads {
    explicit Reads(int& heardOf) : heard(heardOf) {}
    ~Reads() {
      CharRange own("x");
      try {
        const CharRangeCheckAllDataConsumed check(own);
      } catch (const ParseException&) {
        ++heard;
      }
      try {
        const DesAttrPost post(own);
      } catch (const ParseException&) {
        ++heard;
      }
    }
    int& heard;
  };
  int heard = 0;
  thrownBy<std::runtime_error>([&] {
    const Reads reads(heard);
    throw std::runtime_error("the first one");
  });
  EXPECT_EQ(heard, 2);
}

TEST(RangeException, KeepsClassAndPositionBelowOuterFields) {
  const auto below = [](const RangeException& error) {
    try {
      rethrowFromDeserializeAttr(error, "inner");
    } catch (const RangeException& once) {
      rethrowFromDeserializeAttr(once, "outer");
    }
  };
  const auto parse = thrownBy<ParseException>([&] { below(ParseException("bad", 12, "value")); });
  ASSERT_TRUE(parse);
  EXPECT_STREQ(parse->what(), "outer.inner.value: bad");
  EXPECT_EQ(parse->position(), 12u);
  EXPECT_EQ(saidBy<RangeException>([&] { below(RangeException("high")); }), "outer.inner: high");
}

}  // namespace
}  // namespace Tovo
