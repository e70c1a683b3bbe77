// Reference counts, names and the slab with several threads at once; made for
// ThreadSanitizer.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <string>
#include <vector>

#include "Morsa/Slab.h"
#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"
#include "Pelmo/String.h"
#include "Pelmo/ThreadControl.h"
#include "tests/Together.h"

namespace Pelmo {
namespace {

constexpr int rounds = 20000;

class ThreadsTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { ThreadControl::tsp_ = true; }
};

std::atomic<int> alive{0};

struct Shared : Node {
  Shared() { ++alive; }
  ~Shared() override {
    // What the other threads wrote before they let go is visible.
    for (const int each : written) EXPECT_EQ(each, 1);
    --alive;
  }
  std::array<int, threadCount> written{};
};

TEST_F(ThreadsTest, ANodeDiesOnceAndAfterAllItsUsers) {
  {
    const auto node = Ptr<Shared>::adopt(new Shared);
    together([&](int number) {
      node->written[number] = 1;
      for (int i = 0; i < rounds; ++i) {
        Ptr<Node> copy = node;
        const Ptr<Node> moved = std::move(copy);
      }
    });
    EXPECT_EQ(node->references(), 1u);
  }
  EXPECT_EQ(alive, 0);

  for (int round = 0; round < 200; ++round) {  // the threads hold the last references
    auto node = Ptr<Shared>::adopt(new Shared);
    std::array<Ptr<Shared>, threadCount> shares;
    shares.fill(node);
    node = nullptr;
    together([&](int number) {
      shares[number]->written[number] = 1;
      shares[number] = nullptr;
    });
    ASSERT_EQ(alive, 0);
  }
}

TEST_F(ThreadsTest, StringsAreSharedAndHashedByAll) {
  const String text("shared by all");
  const uint32_t hash = String::hashOf(text);
  together([&](int) {
    for (int i = 0; i < rounds; ++i) {
      const String copy = text;
      ASSERT_EQ(copy.hash(), hash);
    }
  });
}

TEST_F(ThreadsTest, NamesComeAndGoInThePool) {
  // Few names, so that one thread finds a name just as another lets its last user go.
  together([&](int number) {
    std::array<String, 2> held;
    for (int i = 0; i < rounds; ++i) {
      const std::string name = "name" + std::to_string((i + number) % 3);
      String interned = String::interned(name);
      ASSERT_EQ(interned.view(), name);
      ASSERT_EQ(String::interned(name).data(), interned.data());
      held[static_cast<size_t>(i) % held.size()] = std::move(interned);
    }
  });
}

TEST_F(ThreadsTest, TheSlabServesAllThreads) {
  const Morsa::Usage before = Morsa::usage();
  std::vector<void*> handedOver(threadCount);
  together([&](int number) {
    std::array<void*, 16> objects{};
    for (int i = 0; i < rounds; ++i) {
      void*& object = objects[static_cast<size_t>(i) % objects.size()];
      if (object) {
        ASSERT_EQ(*static_cast<int*>(object), number);
        Morsa::slabFree(object);
      }
      object = Morsa::slabAlloc(16 + static_cast<size_t>(i) % 3 * 600);
      *static_cast<int*>(object) = number;
    }
    handedOver[number] = objects[0];
    for (size_t i = 1; i < objects.size(); ++i) Morsa::slabFree(objects[i]);
  });
  together([&](int number) { Morsa::slabFree(handedOver[(number + 1) % threadCount]); });
  EXPECT_EQ(Morsa::usage().objects, before.objects);
  EXPECT_EQ(Morsa::usage().slotBytes, before.slotBytes);
}

// A mark that the node is publishing would not be seen by another thread that lets it go.
TEST_F(ThreadsTest, ANotificationHoldsAReference) {
  struct Subject : ObservableNode {};
  struct Counter : Observer {
    void handleChange(const Change& change) override { seen = change.source.node().references(); }
    uint32_t seen = 0;
  };
  const auto node = Ptr<Subject>::adopt(new Subject);
  Counter first;
  Counter second;
  for (Counter* each : {&first, &second}) {  // an only observer goes a way of its own
    each->observe(node->nodePublisher());
    node->nodePublisher().publishChangeRecursive(1, nullptr, nullptr, nullptr);
    EXPECT_EQ(each->seen, 2u);
  }
  EXPECT_EQ(node->references(), 1u);
}

}  // namespace
}  // namespace Pelmo
