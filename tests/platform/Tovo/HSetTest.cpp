#include "Tovo/HSet.h"

#include <gtest/gtest.h>

#include <vector>

#include "Pelmo/String.h"

namespace {

TEST(HSet, KeysMayGoWhileTheyAreVisited) {
  Tovo::HSet<Pelmo::String> set;
  for (const char* name : {"Ethernet1", "Ethernet2", "Ethernet3"}) EXPECT_TRUE(set.insert(name));
  EXPECT_FALSE(set.insert("Ethernet2"));
  std::vector<Pelmo::String> seen;
  set.forEach([&](const Pelmo::String& name) {
    seen.push_back(name);
    EXPECT_EQ(set.erase("Ethernet2"), seen.size() == 1);
  });
  EXPECT_EQ(seen, (std::vector<Pelmo::String>{"Ethernet1", "Ethernet3"}));
  EXPECT_FALSE(set.contains("Ethernet2"));
  EXPECT_EQ(set.size(), 2u);
}

}  // namespace
