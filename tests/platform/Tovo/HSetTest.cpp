// Sets of plain keys against a plain oracle.
#include "Tovo/HSet.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "Pelmo/String.h"

namespace {

TEST(HSet, HoldsEachKeyOnceInTheOrderOfArrival) {
  Tovo::HSet<uint16_t> set;
  std::vector<uint16_t> oracle;
  std::mt19937 random(11);
  for (int step = 0; step < 20000; ++step) {
    const auto key = static_cast<uint16_t>(random() % 300);
    const auto at = std::find(oracle.begin(), oracle.end(), key);
    if (random() % 2 == 0) {
      ASSERT_EQ(set.insert(key), at == oracle.end());
      if (at == oracle.end()) oracle.push_back(key);
    } else {
      ASSERT_EQ(set.erase(key), at != oracle.end());
      if (at != oracle.end()) oracle.erase(at);
    }
    ASSERT_EQ(set.size(), oracle.size());
  }
  std::vector<uint16_t> found;
  set.forEach([&](uint16_t key) { found.push_back(key); });
  EXPECT_EQ(found, oracle);
}

TEST(HSet, KeysMayGoWhileTheyAreVisited) {
  Tovo::HSet<Pelmo::String> set;
  for (const char* name : {"Ethernet1", "Ethernet2", "Ethernet3"}) set.insert(name);
  std::vector<Pelmo::String> seen;
  set.forEach([&](const Pelmo::String& name) {
    seen.push_back(name);
    set.erase("Ethernet2");
  });
  EXPECT_EQ(seen, (std::vector<Pelmo::String>{"Ethernet1", "Ethernet3"}));
  EXPECT_FALSE(set.contains("Ethernet2"));
}

}  // namespace
