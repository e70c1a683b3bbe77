#include "Bridging/VlanId.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "Bridging/VlanIdOrNone.h"
#include "Bridging/VlanIdRange.h"
#include "Support.h"
#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"

namespace Bridging {
namespace {

using namespace platform::test;
using Tovo::ParseException;
using Tovo::RangeException;
using Tovo::strepToValue;

VlanIdRange range(uint16_t first, uint16_t last) { return {VlanId(first), VlanId(last)}; }

TEST(VlanId, TextsHaveTwelveBits) {
  for (const uint16_t value : {0, 1, 4094, 4095}) {
    const std::string text = std::to_string(value);
    EXPECT_EQ(strepToValue<VlanId>(text).value(), value);
    EXPECT_EQ(strepToValue<VlanIdOrNone>(text).value(), value);
    EXPECT_EQ(strepToValue<VlanIdOrNone>(text).isNone(), value == 0);
  }
  for (const char* text : {"4096", "65535"}) {
    thrownBy<RangeException>([&] { strepToValue<VlanId>(text); });
    thrownBy<RangeException>([&] { strepToValue<VlanIdOrNone>(text); });
  }
  for (const char* text : {"", "65536", "-1", "1 ", "one", "None"}) {
    thrownBy<ParseException>([&] { strepToValue<VlanId>(text); });
    thrownBy<ParseException>([&] { strepToValue<VlanIdOrNone>(text); });
  }
  EXPECT_EQ(VlanId(65535).value(), 65535);  // a number is taken as it is
}

TEST(VlanIdRange, Texts) {
  for (const char* text : {"0-0", "1-4095", "100-199"}) {
    std::string again;
    strepToValue<VlanIdRange>(text).appendText(again);
    EXPECT_EQ(again, text);
  }
  for (const char* text : {"2-1", "1-4096", "4096-4097"}) {
    thrownBy<RangeException>([&] { strepToValue<VlanIdRange>(text); });
  }
  for (const char* text : {"", "1", "1-", "-1", "1 - 2", "1-2-3", "1..2"}) {
    thrownBy<ParseException>([&] { strepToValue<VlanIdRange>(text); });
  }
}

TEST(VlanIdRange, TheWiderComesFirstThenTheLower) {
  const std::vector<VlanIdRange> ordered = {
      range(0, 65535), range(1, 4094), range(100, 199), range(200, 299), range(1, 2),
      range(5, 5),     range(7, 7),    range(3, 2),     range(9, 0),     range(65535, 0)};
  std::vector<VlanIdRange> shuffled = ordered;
  std::mt19937_64 random(11);
  std::shuffle(shuffled.begin(), shuffled.end(), random);
  std::sort(shuffled.begin(), shuffled.end());
  EXPECT_EQ(shuffled, ordered);
}

TEST(VlanIdRange, TheOrderIsTotalEvenOverWhatTheLogMayDeliver) {
  std::mt19937_64 random(12);
  std::vector<VlanIdRange> all;
  for (int i = 0; i < 60; ++i) {
    const uint16_t ends[] = {static_cast<uint16_t>(random() % 5), 4095, 65535, 32768};
    all.push_back(range(ends[random() % 4], ends[random() % 4]));
  }
  for (const VlanIdRange& a : all) {
    for (const VlanIdRange& b : all) {
      ASSERT_EQ((a < b) + (b < a) + (a == b), 1);
      for (const VlanIdRange& c : all) {
        if (a < b && b < c) {
          ASSERT_LT(a, c);
        }
      }
    }
  }
}

TEST(VlanId, PrintsTheSameWhateverTheStream) {
  EXPECT_EQ(printedOddly(VlanId(4094)), "4094");
  EXPECT_EQ(printedOddly(VlanIdOrNone(4094)), "4094");
  EXPECT_EQ(printedOddly(range(1000, 4094)), "1000-4094");
}

}  // namespace
}  // namespace Bridging
