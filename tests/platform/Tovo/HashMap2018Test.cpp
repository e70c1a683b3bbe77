#include "Tovo/HashMap2018.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <vector>

namespace Tovo {
namespace {

int alive = 0;
uint32_t hashModulus = 0;  // a small one makes keys collide

struct Item {
  explicit Item(int key) : number(key) { ++alive; }
  ~Item() { --alive; }
  static uint32_t hash(int key) {
    const uint32_t full = hashOfNumber(static_cast<uint64_t>(key));
    return hashModulus ? full % hashModulus : full;
  }
  static const int& key(const void* node) { return static_cast<const Item*>(node)->number; }
  static const void* value(const void* node) { return node; }
  static void destroy(void* node) noexcept { delete static_cast<Item*>(node); }
  int number;
};
constexpr const HashMap2018VTable& ops = HashMap2018VTable::Impl<Item, int>::table;

class HashMapTest : public testing::Test {
 protected:
  ~HashMapTest() override {
    map.clear(ops);
    EXPECT_EQ(alive, 0);
    hashModulus = 0;
  }
  void insert(int key) { map.insert(ops, new Item(key)); }
  void erase(int key) { Item::destroy(map.deleteMemberG(ops, &key)); }
  Item* find(int key) { return static_cast<Item*>(map.find(ops, &key)); }
  static int numberOf(const void* node) { return node ? Item::key(node) : -1; }
  static std::vector<int> rest(HashMap2018::Iterator& at) {
    std::vector<int> keys;
    while (const void* node = at.next()) keys.push_back(numberOf(node));
    return keys;
  }
  std::vector<int> keys() {
    HashMap2018::Iterator at(map);
    return rest(at);
  }

  HashMap2018 map;
};

/// An iterator and what it promises: everything that was there when it started and still is, once,
/// in order, and never anything that is gone.
struct Walk {
  explicit Walk(const HashMap2018& map, std::vector<int> keys) : at(map), owed(std::move(keys)) {}
  HashMap2018::Iterator at;
  std::vector<int> owed;
  std::set<int> late;  // came in since; may be seen, once
};

TEST_F(HashMapTest, AgainstAPlainMapWithIteratorsOnTheWay) {
  std::mt19937_64 random(5);
  for (const uint32_t modulus : {0u, 1u, 7u, 64u}) {
    hashModulus = modulus;
    for (int round = 0; round < 12; ++round) {
      const int keyRange = round % 3 == 0 ? 12 : round % 3 == 1 ? 60 : 400;
      std::map<int, Item*> oracle;
      std::vector<int> order;
      std::vector<std::unique_ptr<Walk>> walks;
      const auto forget = [&](int key) {
        oracle.erase(key);
        std::erase(order, key);
        for (auto& walk : walks) {
          std::erase(walk->owed, key);
          walk->late.erase(key);
        }
      };
      for (int step = 0; step < 1500; ++step) {
        const int key = static_cast<int>(random() % keyRange);
        const bool known = oracle.count(key) > 0;
        // Towards many elements, then towards few.
        const bool growing = step / 300 % 2 == 0;
        const uint64_t dice = random() % 100;
        if (dice < 80) {
          if (!known && (growing || random() % 3 == 0)) {
            oracle[key] = new Item(key);
            map.insert(ops, oracle[key]);
            order.push_back(key);
            for (auto& walk : walks) walk->late.insert(key);
          } else if (known && (!growing || random() % 3 == 0)) {
            void* removed = map.deleteMemberG(ops, &key);
            ASSERT_EQ(removed, oracle[key]);
            forget(key);
            Item::destroy(removed);
          }
        } else if (dice < 82) {
          if (walks.size() < 3) walks.push_back(std::make_unique<Walk>(map, order));
        } else if (dice < 98) {
          if (!walks.empty()) {
            Walk& walk = *walks[random() % walks.size()];
            const void* node = walk.at.next();
            if (!node) {
              ASSERT_TRUE(walk.owed.empty());
              std::erase_if(walks, [&](const auto& each) { return each.get() == &walk; });
            } else if (!walk.owed.empty()) {
              ASSERT_EQ(numberOf(node), walk.owed.front());
              walk.owed.erase(walk.owed.begin());
            } else {
              ASSERT_EQ(walk.late.erase(numberOf(node)), 1u);
            }
          }
        } else if (random() % 20 == 0) {
          while (!order.empty()) forget(order.back());
          map.clear(ops);
        } else if (!walks.empty() && random() % 4 == 0) {
          walks.pop_back();
        }
        ASSERT_EQ(map.size(), oracle.size());
        const auto it = oracle.find(key);
        ASSERT_EQ(find(key), it == oracle.end() ? nullptr : it->second);
      }
      ASSERT_EQ(keys(), order);
      for (const auto& [key, item] : oracle) ASSERT_EQ(find(key), item);
      map.clear(ops);
      ASSERT_EQ(alive, 0);
    }
  }
}

TEST_F(HashMapTest, FewElementsThatComeAndGoInAMapThatWasLarge) {
  // Each change uses up a slot of the index; it must be made anew although so few would need none.
  for (const bool iterating : {false, true}) {
    for (const int peak : {9, 15, 200, 1000}) {
      for (int key = 0; key < peak; ++key) insert(key);
      std::optional<HashMap2018::Iterator> at;
      if (iterating) at.emplace(map);
      for (int key = 1; key < peak; ++key) erase(key);
      for (int key = peak; key < 5 * peak; ++key) {
        insert(key);
        ASSERT_NE(find(key), nullptr);
        ASSERT_EQ(find(-key), nullptr);
        erase(key);
      }
      EXPECT_EQ(keys(), std::vector<int>{0});
      map.clear(ops);
    }
  }
}

TEST_F(HashMapTest, AnyElementMayBeErasedWhileIterating) {
  for (const int count : {1, 5, 8, 9, 40}) {
    for (int at = 0; at < count; ++at) {
      for (int victim = 0; victim < count; ++victim) {
        for (int key = 0; key < count; ++key) insert(key);
        HashMap2018::Iterator iterator(map);
        std::vector<int> seen;
        while (const void* node = iterator.next()) {
          seen.push_back(numberOf(node));
          if (seen.back() == at) erase(victim);
        }
        std::vector<int> expected;
        for (int key = 0; key < count; ++key) {
          if (key != victim || victim <= at) expected.push_back(key);
        }
        ASSERT_EQ(seen, expected);
        map.clear(ops);
        ASSERT_EQ(iterator.next(), nullptr);
      }
    }
  }
}

TEST_F(HashMapTest, AnIteratorOutlivesTheMap) {
  auto mortal = std::make_unique<HashMap2018>();
  for (int key = 0; key < 20; ++key) mortal->insert(ops, new Item(key));
  HashMap2018::Iterator at(*mortal);
  at.next();
  HashMap2018::Iterator copy(at);
  EXPECT_EQ(numberOf(copy.next()), 1) << "it goes on where the other one is";
  mortal->clear(ops);
  mortal.reset();
  EXPECT_EQ(at.next(), nullptr);
  copy = HashMap2018::Iterator(map);
  EXPECT_EQ(copy.next(), nullptr);
}

TEST_F(HashMapTest, EndHereLeavesOutWhatComesLater) {
  for (int key = 0; key < 3; ++key) insert(key);
  HashMap2018::Iterator open(map);
  HashMap2018::Iterator ended(map);
  ended.endHere();
  for (int key = 3; key < 60; ++key) insert(key);  // the arrays move meanwhile
  erase(1);
  EXPECT_EQ(rest(ended), (std::vector<int>{0, 2}));
  EXPECT_EQ(rest(open).size(), 59u);
  HashMap2018 empty;
  HashMap2018::Iterator nothing(empty);
  nothing.endHere();
  empty.insert(ops, new Item(1));
  EXPECT_EQ(nothing.next(), nullptr);
  empty.clear(ops);
}

TEST_F(HashMapTest, MoveBehindGoesOnBehindAKey) {
  for (const int count : {6, 30}) {  // without and with an index
    for (int key = 0; key < count; ++key) insert(key);
    HashMap2018::Iterator at(map);
    for (int key = count - 1; key >= 0; --key) {
      ASSERT_TRUE(at.moveBehind(map, ops, &key));
      ASSERT_EQ(numberOf(at.next()), key + 1 < count ? key + 1 : -1);
    }
    const int gone = 2;
    erase(gone);
    EXPECT_FALSE(at.moveBehind(map, ops, &gone));
    EXPECT_EQ(numberOf(at.next()), 0);
    map.clear(ops);
    EXPECT_FALSE(at.moveBehind(map, ops, &gone));
    EXPECT_EQ(at.next(), nullptr);
  }
}

}  // namespace
}  // namespace Tovo
