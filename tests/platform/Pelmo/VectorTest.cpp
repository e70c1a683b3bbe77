#include "Pelmo/Vector.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "Pelmo/String.h"
#include "Support.h"

namespace Pelmo {
namespace {

using platform::test::thrownBy;

struct Payer {};
struct OtherPayer {};
using List = BasicVector<String, Payer>;

TEST(BasicVector, ReportsIndexAndSizeAndStaysAsItWas) {
  BasicVector<int> list;
  for (const size_t size : {size_t{0}, size_t{1}, size_t{5}}) {
    while (list.size() < size) list.push(static_cast<int>(list.size()) * 10);
    const auto before = list;
    for (const size_t index : {size, size + 1, SIZE_MAX}) {
      for (int way = 0; way < 3; ++way) {
        const auto error = thrownBy<VectorOutOfRangeException>([&] {
          if (way == 0) list.at(index);
          if (way == 1) list[index];
          if (way == 2) list.set(index, 1);
        });
        ASSERT_TRUE(error);
        EXPECT_EQ(error->index(), index);
        EXPECT_EQ(error->size(), size);
      }
    }
    EXPECT_EQ(list, before);
  }
  list.clear();
  EXPECT_THROW(list.pop(), VectorEmptyException);
  EXPECT_THROW(list.front(), VectorEmptyException);
  EXPECT_THROW(list.back(), VectorEmptyException);
}

TEST(BasicVector, BehavesAsAVectorAndPaysBackWhatItHeld) {
  ASSERT_EQ(VectorMemory<Payer>::bytes, 0u);
  std::mt19937_64 random(2);
  for (int round = 0; round < 50; ++round) {
    List list;
    std::vector<String> oracle;
    for (int step = 0; step < 60; ++step) {
      switch (random() % 6) {
        case 0:
          if (!oracle.empty()) {
            EXPECT_EQ(list.pop(), oracle.back());
            oracle.pop_back();
          }
          break;
        case 1:
          if (!oracle.empty()) {
            const size_t index = random() % oracle.size();
            list.set(index, list.back());
            oracle[index] = oracle.back();
          }
          break;
        case 2:
          if (!oracle.empty()) {
            list.push(list.front());  // an element of its own, which growing moves
            oracle.push_back(oracle.front());
          }
          break;
        case 3: {
          List copy = list;
          list = std::move(copy);
          break;
        }
        default:
          oracle.emplace_back("element " + std::to_string(step));
          list.push(oracle.back());
      }
      ASSERT_EQ(list.size(), oracle.size());
      ASSERT_TRUE(std::equal(list.begin(), list.end(), oracle.begin(), oracle.end()));
      if (!oracle.empty()) {
        ASSERT_EQ(list.front(), oracle.front());
        ASSERT_EQ(list.back(), oracle.back());
      }
    }
  }
  EXPECT_EQ(VectorMemory<Payer>::bytes, 0u);
}

TEST(BasicVector, OneElementCostsNothingMoreAndEachTagPaysForItself) {
  List list;
  list.push("one");
  EXPECT_EQ(VectorMemory<Payer>::bytes, 0u);
  list.push("two");
  EXPECT_GE(VectorMemory<Payer>::bytes, 2 * sizeof(String));
  EXPECT_EQ(VectorMemory<OtherPayer>::bytes, 0u);
  BasicVector<String, OtherPayer> other;
  other.reserve(100);
  EXPECT_GE(VectorMemory<OtherPayer>::bytes, 100 * sizeof(String));
}

}  // namespace
}  // namespace Pelmo
