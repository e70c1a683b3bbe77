#include "Morsa/Slab.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <random>
#include <vector>

namespace Morsa {
namespace {

/// A sanitized build gives every object a block of its own, and then there are no pages to count.
bool hasPages() {
  const size_t before = usage().objects;
  void* object = slabAlloc(1);
  const bool counted = usage().objects == before + 1;
  slabFree(object);
  return counted;
}

TEST(Slab, ObjectsAreAlignedApartAndKeepTheirBytes) {
  const Usage before = usage();
  struct Object {
    unsigned char* at;
    size_t size;
    unsigned char mark;
  };
  std::vector<Object> objects;
  std::mt19937_64 random(4);
  const auto drop = [&](size_t index) {
    const Object object = objects[index];
    for (size_t i = 0; i < object.size; ++i) ASSERT_EQ(object.at[i], object.mark);
    slabFree(object.at, 7);
    objects[index] = objects.back();
    objects.pop_back();
  };
  size_t slotBytes = 0;
  for (int step = 0; step < 20000; ++step) {
    // Long stretches of growing and of shrinking, so that pages fill, open again and go.
    const bool growing = step / 2000 % 2 == 0;
    if (objects.empty() || random() % 10 < (growing ? 7u : 3u)) {
      const size_t sizes[] = {random() % 65, 16 + random() % 1010, 1000 + random() % 50,
                              random() % 50 == 0 ? random() % 200000 : 48};
      const size_t size = sizes[random() % 4];
      auto* at = static_cast<unsigned char*>(slabAlloc(size));
      ASSERT_EQ(reinterpret_cast<uintptr_t>(at) % 16, 0u);
      const auto mark = static_cast<unsigned char>(random());
      std::memset(at, mark, size);
      objects.push_back({at, size, mark});
    } else {
      drop(random() % objects.size());
    }
    slotBytes = usage().slotBytes;
  }
  if (hasPages()) {
    size_t asked = 0;
    for (const Object& object : objects) asked += object.size;
    EXPECT_EQ(usage().objects, before.objects + objects.size());
    EXPECT_GE(slotBytes - before.slotBytes, asked);
    EXPECT_LE(slotBytes - before.slotBytes, asked + 16 * objects.size());
    EXPECT_GE(usage().pageBytes, usage().slotBytes);
  }
  while (!objects.empty()) drop(objects.size() - 1);
  EXPECT_EQ(usage().objects, before.objects);
  EXPECT_EQ(usage().slotBytes, before.slotBytes);
}

TEST(Slab, EmptyPagesGoBackButForOneOfAClass) {
  if (!hasPages()) GTEST_SKIP() << "objects stand alone in this build";
  constexpr size_t page = 64 * 1024;
  for (const size_t size : {size_t{16}, size_t{112}, size_t{1024}}) {
    slabFree(slabAlloc(size));  // the page that stays
    const Usage before = usage();
    for (const bool backwards : {false, true}) {
      std::vector<void*> objects;
      while (usage().pageBytes < before.pageBytes + 10 * page) objects.push_back(slabAlloc(size));
      EXPECT_GE(objects.size(), 9 * (page - 64) / size);
      if (backwards) std::reverse(objects.begin(), objects.end());
      for (void* object : objects) slabFree(object);
      EXPECT_LE(usage().pageBytes, before.pageBytes);
      EXPECT_EQ(usage().objects, before.objects);
    }
  }
}

bool isMapped(const void* address) {
  unsigned char resident = 0;
  const auto page = reinterpret_cast<uintptr_t>(address) & -uintptr_t{4096};
  return ::mincore(reinterpret_cast<void*>(page), 1, &resident) == 0;
}

TEST(Slab, ChunksOfFreePagesGoBackToTheSystem) {
  if (!hasPages()) GTEST_SKIP() << "objects stand alone in this build";
  constexpr size_t most = 64 * 1024 * 1024;
  constexpr size_t size = 1024;
  std::vector<void*> objects(most / size);
  for (void*& object : objects) object = slabAlloc(size);
  for (void* object : objects) slabFree(object);
  const auto left = std::count_if(objects.begin(), objects.end(), isMapped);
  // Pages come and go by the chunk of 2 MiB; those that were there before have others in them.
  EXPECT_LE(static_cast<size_t>(left), objects.size() / 4);
}

TEST(Slab, LargeObjectsTakeAndGiveBackTheirOwnPages) {
  if (!hasPages()) GTEST_SKIP() << "objects stand alone in this build";
  const Usage before = usage();
  for (const size_t size :
       {size_t{1025}, size_t{65536 - 64}, size_t{65536 - 63}, size_t{65536}, size_t{3000000}}) {
    void* object = slabAlloc(size);
    std::memset(object, 0xaa, size);
    EXPECT_GE(usage().pageBytes - before.pageBytes, size + 64);
    EXPECT_LT(usage().pageBytes - before.pageBytes, size + 64 + 65536);
    EXPECT_EQ(usage().slotBytes - before.slotBytes, size);
    slabFree(object);
    EXPECT_EQ(usage().pageBytes, before.pageBytes);
    EXPECT_EQ(usage().slotBytes, before.slotBytes);
  }
  EXPECT_THROW(slabAlloc(SIZE_MAX), std::bad_alloc);
  EXPECT_EQ(usage().objects, before.objects);
  EXPECT_EQ(usage().pageBytes, before.pageBytes);
}

/// Lets the process have so many bytes of addresses more than it has now; false: it cannot.
bool addressesAre(size_t more) {
  size_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  rlimit limit{};
  if (pages == 0 || ::getrlimit(RLIMIT_AS, &limit) != 0) return false;
  limit.rlim_cur = pages * static_cast<size_t>(::getpagesize()) + more;
  return ::setrlimit(RLIMIT_AS, &limit) == 0;
}

// In a process of its own: one that is short of addresses is good for nothing else.
[[noreturn]] void runOutOfAddresses() {
  constexpr size_t size = 112;
  constexpr size_t more = 16 * 1024 * 1024;
  std::vector<void*> objects;
  objects.reserve(2 * more / size);
  if (!addressesAre(more)) std::exit(2);
  const auto fill = [&] {
    for (;;) {
      const Usage before = usage();
      try {
        objects.push_back(slabAlloc(size));
      } catch (const std::bad_alloc&) {
        const Usage after = usage();
        return after.objects == before.objects && after.slotBytes == before.slotBytes &&
               after.pageBytes == before.pageBytes;
      }
    }
  };
  const bool unchanged = fill();
  const size_t most = objects.size();
  bool largeRefused = false;
  try {
    slabFree(slabAlloc(more));
  } catch (const std::bad_alloc&) {
    largeRefused = true;
  }
  for (void* object : objects) slabFree(object);
  objects.clear();
  // What was given back is there again.
  const bool again = fill() && objects.size() == most;
  std::exit(unchanged && largeRefused && most > 0 && again ? 0 : 1);
}

TEST(SlabDeathTest, WhereTheSystemRefusesAPageNothingHasChanged) {
  if (!hasPages()) GTEST_SKIP() << "objects stand alone in this build";
  EXPECT_EXIT(runOutOfAddresses(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Morsa
