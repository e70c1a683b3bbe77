#include "Pelmo/Ptr.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>
#include <vector>

namespace Pelmo {
namespace {

int alive = 0;

class Animal : public Node {
 public:
  Animal() { ++alive; }
  ~Animal() override { --alive; }
};
class Dog : public Animal {};

TEST(Ptr, CountsOneReferenceForEachPointerAndNoneForAMove) {
  auto dog = Ptr<Dog>::adopt(new Dog);
  EXPECT_EQ(dog->references(), 1u);

  Ptr<Animal> animal = dog;  // to the base, counted
  EXPECT_EQ(dog->references(), 2u);
  EXPECT_TRUE(animal == dog);
  Ptr<const Animal> constant = std::move(animal);  // a converting move
  EXPECT_EQ(dog->references(), 2u);
  EXPECT_TRUE(animal == nullptr);

  Ptr<Animal> again(dog.get());  // from a plain pointer: a reference of its own
  EXPECT_EQ(dog->references(), 3u);
  const Ptr<Animal>& same = again;
  again = same;
  EXPECT_EQ(dog->references(), 3u);
  again = nullptr;
  constant = nullptr;
  EXPECT_EQ(dog->references(), 1u);

  EXPECT_TRUE(dynamicCast<Dog>(Ptr<Animal>(dog)) == dog);
  EXPECT_TRUE(dynamicCast<Dog>(Ptr<Animal>::adopt(new Animal)) == nullptr);
  EXPECT_TRUE(dynamicCast<Dog>(Ptr<Animal>()) == nullptr);

  Dog* plain = dog.detach();  // the count goes along
  EXPECT_FALSE(dog);
  EXPECT_EQ(plain->references(), 1u);
  plain->release();
  EXPECT_EQ(alive, 0);
}

TEST(Ptr, AssigningWhatHangsBelowTheOldNodeIsSafe) {
  struct Link : Animal {
    Ptr<Link> next;
  };
  auto head = Ptr<Link>::adopt(new Link);
  head->next = Ptr<Link>::adopt(new Link);
  head = head->next;
  EXPECT_EQ(head->references(), 1u);
  EXPECT_EQ(alive, 1);
  head = nullptr;
  EXPECT_EQ(alive, 0);
}

TEST(Node, DiesOnceWhateverPointersComeAndGoWhileItDies) {
  struct Popular : Animal {
    ~Popular() override {
      for (int i = 0; i < 3; ++i) {
        const Ptr<Popular> visitor(this);
        const std::vector<Ptr<Animal>> more(100, visitor);
      }
      ++deaths;
    }
    static int& count() {
      static int value = 0;
      return value;
    }
    int& deaths = count();
  };
  Ptr<Popular>::adopt(new Popular);
  EXPECT_EQ(Popular::count(), 1);
  EXPECT_EQ(alive, 0);
}

TEST(Node, LastUserGoneMayKeepTheMemoryElsewhere) {
  // A node on the stack is never freed, however many pointers let it go.
  struct Resting : Node {
    void lastUserGone() noexcept override { ++gone; }
    int gone = 0;
  };
  Resting resting;
  { const Ptr<Resting> visitor(&resting); }
  EXPECT_EQ(resting.gone, 0);
  { const auto owner = Ptr<Resting>::adopt(&resting); }
  EXPECT_EQ(resting.gone, 1);
}

TEST(Node, AThrowingConstructorLeavesNothing) {
  struct Failing : Animal {
    Failing() {
      const Ptr<Failing> handedOut(this);  // as a constructor does that registers itself
      throw std::runtime_error("no");
    }
  };
  EXPECT_THROW(Ptr<Failing>::adopt(new Failing), std::runtime_error);
  EXPECT_EQ(alive, 0);
}

}  // namespace
}  // namespace Pelmo
