// The map between numbers and what is carried, against the standard one.
#include "Mirror/log/FlatMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <unordered_map>

#include "Pelmo/Node.h"
#include "Pelmo/Ptr.h"

namespace {

using Tovo::NboAttrLog::FlatMap;

// Numbers in a row, numbers that all want the same place, and both mixed.
TEST(FlatMap, HoldsWhatTheStandardMapHolds) {
  for (const uint32_t stride : {1u, 64u, 1u << 20, 0x01000001u}) {
    SCOPED_TRACE(stride);
    std::mt19937 random(stride);
    FlatMap<uint32_t, uint64_t> map;
    std::unordered_map<uint32_t, uint64_t> known;
    for (uint64_t step = 1; step <= 20000; ++step) {
      const uint32_t key = (1 + random() % 700) * stride;
      if (random() % 5 < 2) {
        map.erase(key);
        known.erase(key);
      } else {
        map[key] = step;
        known[key] = step;
      }
      const uint32_t other = (1 + random() % 700) * stride;
      const uint64_t* found = map.find(other);
      const auto wanted = known.find(other);
      ASSERT_EQ(found ? *found : 0, wanted == known.end() ? 0 : wanted->second) << step;
    }
    map.forEach([&](uint32_t key, uint64_t value) {
      EXPECT_EQ(known.at(key), value);
      known.erase(key);
    });
    EXPECT_TRUE(known.empty());
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_FALSE(map.contains(stride));
  }
}

// A peer that chooses its numbers well must not make each message cost what all before it cost.
TEST(FlatMap, ChosenNumbersStayCheap) {
  FlatMap<uint32_t, uint64_t> map;
  constexpr uint32_t count = 1 << 17;
  size_t most = 0;
  size_t all = 0;
  for (uint32_t i = 1; i <= count; ++i) {
    const size_t steps = map.probes(i << 14);
    most = std::max(most, steps);
    all += steps;
    map[i << 14] = i;
  }
  EXPECT_EQ(*map.find(count / 2 << 14), count / 2);
  EXPECT_LT(most, 1000u);
  EXPECT_LT(all, 10u * count);
}

// What is erased may be the last reference to something that looks into the map when it goes.
TEST(FlatMap, ValuesThatLookAtTheMapWhenTheyGo) {
  struct Watcher : Pelmo::Node {
    explicit Watcher(FlatMap<uint32_t, Pelmo::Ptr<Watcher>>& map) : map_(map) {}
    ~Watcher() override {
      EXPECT_EQ(map_.find(7), nullptr);
      EXPECT_NE(map_.find(8), nullptr);
    }
    FlatMap<uint32_t, Pelmo::Ptr<Watcher>>& map_;
  };
  FlatMap<uint32_t, Pelmo::Ptr<Watcher>> map;
  map[8] = nullptr;
  map[7] = Pelmo::Ptr<Watcher>::adopt(new Watcher(map));
  map.erase(7);
  EXPECT_EQ(map.size(), 1u);
}

}  // namespace
