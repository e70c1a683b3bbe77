#include "Pelmo/String.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <map>
#include <random>
#include <sstream>
#include <unordered_set>
#include <vector>

namespace Pelmo {
namespace {

TEST(String, CopiesShareTheirCharacters) {
  const String text("Ethernet3/1");
  const String copy = text;
  String assigned;
  assigned = copy;
  EXPECT_EQ(copy.data(), text.data());
  EXPECT_EQ(assigned.data(), text.data());
  const String moved = std::move(assigned);
  EXPECT_EQ(moved.data(), text.data());
  EXPECT_TRUE(assigned.empty());
  EXPECT_EQ(text, String(std::string("Ethernet3/1")));
  EXPECT_NE(String("Ethernet3/1").data(), text.data());
}

TEST(String, HoldsAnyBytesAndEndsInAZero) {
  const std::string bytes("a\0b\xff", 4);
  const String text(bytes);
  EXPECT_EQ(text.size(), 4u);
  EXPECT_EQ(text.view(), bytes);
  EXPECT_EQ(text.data()[4], '\0');
  EXPECT_NE(text, String("a"));
  EXPECT_NE(String::interned(text), String::interned("a"));
  std::ostringstream out;
  out << std::setw(6) << text << '|';
  EXPECT_EQ(out.str(), "  " + bytes + "|");
}

TEST(String, EqualityOrderAndHashFollowTheBytes) {
  // Every pair of random short texts over a small alphabet, interned or not, against std::string.
  std::mt19937_64 random(1);
  std::vector<std::pair<std::string, String>> texts;
  for (int i = 0; i < 120; ++i) {
    std::string text;
    const size_t length = random() % 19;  // around the eight bytes that the hash takes at once
    for (size_t at = 0; at < length; ++at) text += "ab\0\x80"[random() % (length < 4 ? 4 : 2)];
    texts.emplace_back(text, random() % 2 ? String::interned(text) : String(text));
  }
  for (const auto& [a, stringA] : texts) {
    EXPECT_EQ(stringA.hash(), String::hashOf(a));
    EXPECT_NE(stringA.hash(), 0u);
    for (const auto& [b, stringB] : texts) {
      EXPECT_EQ(stringA == stringB, a == b);
      EXPECT_EQ(stringA < stringB, a < b);  // bytes are unsigned
      EXPECT_EQ(stringA == std::string_view(b), a == b);
    }
  }
}

TEST(String, HashesOfNumberedNamesSpread) {
  std::unordered_set<uint32_t> low;
  std::unordered_set<uint32_t> all;
  for (int i = 0; i < 4096; ++i) {
    const uint32_t hash = String("Ethernet" + std::to_string(i)).hash();
    low.insert(hash & 4095);
    all.insert(hash);
  }
  EXPECT_GE(all.size(), 4090u);
  EXPECT_GE(low.size(), 2400u);  // a random function reaches 2589 of 4096
}

TEST(String, OneBlockForAllInternedOfATextWhileAnyLives) {
  String first = String::interned("Mst1");
  EXPECT_EQ(String::interned("Mst1").data(), first.data());
  EXPECT_EQ(String::interned(String("Mst1")).data(), first.data());
  EXPECT_EQ(String::interned(first).data(), first.data());
  String second = first;
  first = String();
  EXPECT_EQ(String::interned("Mst1").data(), second.data());
}

TEST(String, AForgottenNameLeavesThePool) {
  // The memory of a name that is gone goes to other strings; asking for the name again must not
  // find it there.
  for (int round = 0; round < 50; ++round) {
    for (int i = 0; i < 20; ++i) String::interned("name" + std::to_string(i));
    std::vector<String> others;
    for (int i = 0; i < 20; ++i) others.emplace_back("else" + std::to_string(i));
    for (int i = 0; i < 20; ++i) {
      const std::string name = "name" + std::to_string(i);
      const String again = String::interned(name);
      ASSERT_EQ(again.view(), name);
      ASSERT_EQ(std::count_if(others.begin(), others.end(),
                              [&](const String& other) { return other.data() == again.data(); }),
                0);
    }
  }
}

}  // namespace
}  // namespace Pelmo
