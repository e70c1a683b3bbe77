// What one port in one instance takes does not depend on how many there are, and what is gone takes
// nothing.
#include <gtest/gtest.h>
#include <malloc.h>

#include <memory>
#include <string>

#include "Count.h"
#include "Morsa/Slab.h"
#include "Pelmo/String.h"
#include "bench/LocalMirror.h"
#include "bench/Switch.h"

namespace {

/// For each port.
struct Taken {
  double heapAllocations;
  double slabAllocations;
  double heapBytes;
  double slabBytes;
};

template <class Work>
Taken takenBy(size_t ports, const Work& work) {
  const auto heapBytes = [] { return static_cast<double>(::mallinfo2().uordblks); };
  const auto slabBytes = [] { return static_cast<double>(Morsa::usage().slotBytes); };
  const double heapBefore = heapBytes();
  const double slabBefore = slabBytes();
  const Allocation::Count count = Allocation::of(work);
  const auto each = static_cast<double>(ports);
  return {static_cast<double>(count.heap) / each, static_cast<double>(count.slab) / each,
          (heapBytes() - heapBefore) / each, (slabBytes() - slabBefore) / each};
}

void expectNoMore(const Taken& many, const Taken& few) {
  // Tables grow by doubling, so what is free in them differs.
  constexpr double tolerated = 1.3;
  EXPECT_LE(many.heapAllocations, tolerated * few.heapAllocations);
  EXPECT_LE(many.slabAllocations, tolerated * few.slabAllocations);
  EXPECT_LE(many.heapBytes, tolerated * few.heapBytes);
  EXPECT_LE(many.slabBytes, tolerated * few.slabBytes);
}

TEST(Growth, OfAPortInATreeTenTimesAsLarge) {
  struct Both {
    Taken tree;
    Taken mirror;
  };
  const auto measure = [](size_t instances) {
    const size_t ports = Bench::Switch::portCount * instances;
    std::unique_ptr<Bench::Switch> tree;
    std::unique_ptr<Bench::LocalMirror> mirror;
    const Taken built = takenBy(ports, [&] { tree = std::make_unique<Bench::Switch>(instances); });
    const Taken mirrored =
        takenBy(ports, [&] { mirror = std::make_unique<Bench::LocalMirror>("/s", tree->root()); });
    EXPECT_EQ(mirror->carried(), tree->entities());
    return Both{built, mirrored};
  };
  measure(4);
  const Both few = measure(20);
  const Both many = measure(200);
  {
    SCOPED_TRACE("the tree");
    expectNoMore(many.tree, few.tree);
    // The object and its place; the name is there already.
    EXPECT_LE(many.tree.slabAllocations, 1.1);
    EXPECT_LE(many.tree.heapAllocations, 0.5);
  }
  SCOPED_TRACE("the mirror");
  expectNoMore(many.mirror, few.mirror);
}

TEST(Growth, OfThePoolOfNamesByThoseThatAreThere) {
  const auto held = [] {
    const auto memory = ::mallinfo2();
    return memory.uordblks + memory.hblkhd;
  };
  const size_t before = held();
  for (int i = 0; i < 200'000; ++i) Pelmo::String::interned(std::to_string(i));
  constexpr size_t few = 512 * 1024;
  EXPECT_LE(held(), before + few);
}

}  // namespace
