#include "Pelmo/Publisher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Pelmo/Ptr.h"

namespace Pelmo {
namespace {

/// A node that holds its children, as collections of entities do.
class TreeNode : public ObservableNode {
 public:
  ~TreeNode() override {
    for (const Ptr<TreeNode>& child : children_) child->publisher_.upstreamIs(nullptr);
  }

  static Ptr<TreeNode> make() { return Ptr<TreeNode>::adopt(new TreeNode); }
  void add(const Ptr<TreeNode>& child) {
    children_.push_back(child);
    child->publisher_.upstreamIs(&publisher_);
  }
  void remove(const TreeNode* child) {
    const auto at = std::find_if(children_.begin(), children_.end(),
                                 [&](const Ptr<TreeNode>& each) { return each.get() == child; });
    const Ptr<TreeNode> removed = *at;
    children_.erase(at);
    removed->publisher_.upstreamIs(nullptr);
  }
  void change(uint16_t attribute) {
    publisher_.publishChangeRecursive(attribute, nullptr, nullptr, nullptr);
  }
  Publisher& publisher() { return publisher_; }

  static void walk(Publisher& parent, Publisher::Visit visit, void* context) {
    for (const Ptr<TreeNode>& child : static_cast<TreeNode&>(parent.node()).children_) {
      visit(child->publisher_, context);
    }
  }

 private:
  std::vector<Ptr<TreeNode>> children_;
};

/// Who was called, in order: "a1 b1 a gone".
using Calls = std::vector<std::string>;

std::string shown(const Calls& calls) {
  std::string text;
  for (const std::string& call : calls) text += (text.empty() ? "" : " ") + call;
  return text;
}

/// Notes each call as its name and the attribute, then does as it is told.
class Recorder : public Observer {
 public:
  Recorder(std::string name, Calls& calls) : name_(std::move(name)), calls_(calls) {}
  void handleChange(const Change& change) override {
    calls_.push_back(name_ + std::to_string(change.attribute));
    if (then) then(change);
  }
  void handlePublisherGone() override {
    calls_.push_back(name_ + (observed() ? " still attached" : " gone"));
    if (atTheEnd) atTheEnd();
  }
  std::function<void(const Change&)> then;
  std::function<void()> atTheEnd;

 private:
  std::string name_;
  Calls& calls_;
};

class PublisherTest : public testing::Test {
 protected:
  // Nothing else in this process observes from above.
  static void SetUpTestSuite() { Publisher::childWalkIs(&TreeNode::walk); }

  std::string changed(TreeNode& source, uint16_t attribute) {
    calls.clear();
    source.change(attribute);
    return shown(calls);
  }

  Calls calls;
  Recorder a{"a", calls}, b{"b", calls}, c{"c", calls}, d{"d", calls};
  Ptr<TreeNode> node = TreeNode::make();
};

TEST_F(PublisherTest, WhatAnObserverDoesToTheOthersWhileItIsCalled) {
  const auto other = TreeNode::make();
  Publisher &here = node->publisher(), &there = other->publisher();
  std::unique_ptr<Recorder> mortal;
  const struct {
    const char* what;
    std::function<void()> act;
    const char *now, *next;
  } cases[] = {
      {"nothing", [] {}, "a1 b1 c1 m1", "a2 b2 c2 m2"},
      {"detaches itself", [&] { b.detach(); }, "a1 b1 c1 m1", "a2 c2 m2"},
      {"detaches one before", [&] { a.detach(); }, "a1 b1 c1 m1", "b2 c2 m2"},
      {"detaches the next", [&] { c.detach(); }, "a1 b1 m1", "a2 b2 m2"},
      {"detaches itself and the next", [&] { b.detach(), c.detach(); }, "a1 b1 m1", "a2 m2"},
      {"detaches all behind it", [&] { mortal.reset(), c.detach(); }, "a1 b1", "a2 b2"},
      {"destroys one", [&] { mortal.reset(); }, "a1 b1 c1", "a2 b2 c2"},
      {"attaches one", [&] { d.observe(here); }, "a1 b1 c1 m1", "a2 b2 c2 m2 d2"},
      {"attaches itself again", [&] { b.observe(here); }, "a1 b1 c1 m1", "a2 c2 m2 b2"},
      {"attaches the next again", [&] { c.observe(here); }, "a1 b1 m1", "a2 b2 m2 c2"},
      {"moves the next elsewhere", [&] { c.observe(there); }, "a1 b1 m1", "a2 b2 m2"},
      {"sets", [&] { node->change(9); }, "a1 b1 a9 b9 c9 m9 c1 m1", "a2 b2 c2 m2"},
      {"sets and detaches the next", [&] { node->change(9), c.detach(); }, "a1 b1 a9 b9 c9 m9 m1",
       "a2 b2 m2"},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    mortal = std::make_unique<Recorder>("m", calls);
    for (Recorder* observer : {&a, &b, &c, mortal.get()}) observer->observe(node->publisher());
    b.then = [&](const Change& change) {
      if (change.attribute == 1) each.act();
    };
    EXPECT_EQ(changed(*node, 1), each.now);
    EXPECT_EQ(changed(*node, 2), each.next);
    for (Recorder* observer : {&a, &b, &c, &d}) observer->detach();
    mortal.reset();
    EXPECT_FALSE(node->publisher().observed());
  }
}

TEST_F(PublisherTest, ANestedChangeThatDetachesTheNextOfTheOuterOne) {
  // c is where two notifications stand; both must go on behind it.
  for (Recorder* observer : {&a, &b, &c, &d}) observer->observe(node->publisher());
  b.then = [&](const Change& change) {
    if (change.attribute == 1) node->change(9);
    if (change.attribute == 9) c.detach();
  };
  EXPECT_EQ(changed(*node, 1), "a1 b1 a9 b9 d9 d1");
}

TEST_F(PublisherTest, EveryObserverIsCalledAndTheFirstExceptionGoesOn) {
  const auto above = TreeNode::make();
  above->add(node);
  a.observe(node->publisher());
  b.observe(node->publisher());
  c.observe(node->publisher());
  d.observeRecursive(above->publisher());
  a.then = [](const Change&) { throw std::runtime_error("first"); };
  c.then = [](const Change&) { throw std::logic_error("second"); };
  try {
    node->change(1);
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "first");
  }
  EXPECT_EQ(shown(calls), "a1 b1 c1 d1");

  // Nothing is left of the notification that failed.
  a.then = [&](const Change&) { b.detach(); };
  c.then = nullptr;
  EXPECT_EQ(changed(*node, 2), "a2 c2 d2");
}

TEST_F(PublisherTest, ANodeDiesAlsoWhenItsNotificationEndsInAnException) {
  for (const char* who : {"the only one", "one of several", "one from above"}) {
    SCOPED_TRACE(who);
    for (const bool dropped : {false, true}) {  // while it is notified, or afterwards
      const auto above = TreeNode::make();
      node = TreeNode::make();
      above->add(node);
      Recorder& thrower = std::string(who) == "the only one" ? a : b;
      a.then = nullptr;
      a.observe(node->publisher());
      if (std::string(who) == "one of several") b.observe(node->publisher());
      if (std::string(who) == "one from above") b.observeRecursive(above->publisher());
      thrower.then = [&](const Change&) {
        if (dropped) {
          above->remove(node.get());
          node = nullptr;
        }
        throw std::runtime_error("thrown");
      };
      calls.clear();
      EXPECT_THROW(node.get()->change(1), std::runtime_error);
      if (!dropped) {
        above->remove(node.get());
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "a gone"), 0);
        node = nullptr;
      }
      EXPECT_EQ(std::count(calls.begin(), calls.end(), "a gone"), 1);
      b.detach();
    }
  }
}

TEST_F(PublisherTest, AnObserverSeesTheChangeAsItWasPublished) {
  const int key = 1, previous = 2;
  a.observe(node->publisher());
  a.then = [&](const Change& change) {
    EXPECT_EQ(&change.source, &node->publisher());
    EXPECT_EQ(&change.source.node(), node.get());
    EXPECT_EQ(change.key, &key);
    EXPECT_EQ(change.previous, &previous);
  };
  node->publisher().publishChangeRecursive(258, &key, &previous, nullptr);
  EXPECT_EQ(shown(calls), "a258");
}

TEST_F(PublisherTest, ObserversOutliveTheNodeAndAreTold) {
  auto mortal = std::make_unique<Recorder>("m", calls);
  a.observe(node->publisher());
  mortal->observe(node->publisher());
  b.observeRecursive(node->publisher());
  c.observe(node->publisher());
  mortal.reset();
  node = nullptr;
  EXPECT_EQ(shown(calls), "a gone b gone c gone");
  EXPECT_EQ(a.observed(), nullptr);
  node = TreeNode::make();
  a.observe(node->publisher());
  EXPECT_EQ(changed(*node, 1), "a1");
}

TEST_F(PublisherTest, EveryObserverHearsOfTheEndWhateverTheOthersDo) {
  auto mortal = std::make_unique<Recorder>("m", calls);
  for (Recorder* observer : {&a, mortal.get(), &b, &c, &d}) observer->observe(node->publisher());
  a.atTheEnd = [&] {
    c.detach();
    throw std::runtime_error("dropped");
  };
  mortal->atTheEnd = [&] { mortal.reset(); };
  node = nullptr;
  EXPECT_EQ(shown(calls), "a gone m gone b gone d gone");
}

// On the heap, where a sanitizer sees each look beside it.
TEST_F(PublisherTest, OneWithoutANodeCallsItsObserversAllTheSame) {
  struct Catcher final : ChangeCatcher {
    void handleCaught(const Change&) override { ADD_FAILURE() << "nothing can be held of it"; }
  } catcher;
  auto alone = std::make_unique<Publisher>();
  EXPECT_FALSE(alone->observed());
  const auto publish = [&](uint16_t attribute) {
    alone->publishChangeRecursive(attribute, nullptr, nullptr, nullptr);
    return shown(std::exchange(calls, {}));
  };
  EXPECT_EQ(publish(1), "");
  a.observe(*alone);
  EXPECT_EQ(publish(2), "a2");
  b.observeRecursive(*alone);
  EXPECT_EQ(publish(3), "a3 b3");
  Publisher::catcherIs(&catcher);
  EXPECT_EQ(publish(4), "a4 b4");
  Publisher::catcherIs(nullptr);
  node->publisher().upstreamIs(alone.get());
  EXPECT_EQ(changed(*node, 5), "b5");
  node->publisher().upstreamIs(nullptr);
  EXPECT_TRUE(alone->observed());
  calls.clear();
  alone = nullptr;
  EXPECT_EQ(shown(calls), "a gone b gone");
}

TEST_F(PublisherTest, DroppingTheLastReferenceInANotification) {
  for (const bool fromAbove : {false, true}) {
    node = TreeNode::make();
    auto above = TreeNode::make();
    above->add(node);
    a.observe(node->publisher());
    b.observe(node->publisher());
    if (fromAbove) c.observeRecursive(above->publisher());
    TreeNode* plain = node.get();
    node = nullptr;
    a.then = [&](const Change&) {
      above->remove(plain);
      above = nullptr;
    };
    calls.clear();
    plain->change(1);
    const std::string expected =
        fromAbove ? "a1 b1 c1 a gone b gone c gone" : "a1 b1 a gone b gone";
    std::sort(calls.begin() + (fromAbove ? 3 : 2), calls.end());  // who dies first is open
    EXPECT_EQ(shown(calls), expected);
  }
}

TEST_F(PublisherTest, ANodeWithoutReferencesLivesUntilItsOutermostNotificationEnds) {
  Ptr<TreeNode> kept;
  const struct {
    const char* what;
    std::function<void(TreeNode&)> act;  // behind the drop of the last reference
    const char* expected;
  } cases[] = {
      {"nothing", [](TreeNode&) {}, "a1 end a gone"},
      {"sets", [](TreeNode& dying) { dying.change(2); }, "a1 a2 end a gone"},
      {"takes and drops references",
       [](TreeNode& dying) {
         for (int i = 0; i < 3; ++i) const Ptr<Node> visitor(&dying);
       },
       "a1 end a gone"},
      {"keeps it after all", [&](TreeNode& dying) { kept = Ptr<TreeNode>(&dying); }, "a1 end"},
  };
  for (const bool many : {false, true}) {  // an only observer goes a way of its own
    for (const auto& each : cases) {
      SCOPED_TRACE(each.what);
      node = TreeNode::make();
      a.observe(node->publisher());
      if (many) d.observe(node->publisher());
      a.then = [&](const Change& change) {
        if (change.attribute != 1) return;
        node = nullptr;
        each.act(static_cast<TreeNode&>(change.source.node()));
        calls.push_back("end");
      };
      calls.clear();
      node->change(1);
      std::erase_if(calls, [](const std::string& call) { return call[0] == 'd'; });
      EXPECT_EQ(shown(calls), each.expected);
      if (kept) {
        EXPECT_EQ(kept->references(), 1u);
        kept = nullptr;
        EXPECT_EQ(calls.back(), many ? "d gone" : "a gone");
      }
    }
  }
}

TEST_F(PublisherTest, ALongChainOfAncestorsIsCalledUpwards) {
  constexpr int depth = 25;
  std::vector<Ptr<TreeNode>> chain;
  std::vector<std::unique_ptr<Recorder>> observers;
  for (int i = 0; i < depth; ++i) {
    chain.push_back(TreeNode::make());
    if (i > 0) chain[i]->add(chain[i - 1]);
    observers.push_back(std::make_unique<Recorder>(std::to_string(i) + ":", calls));
    observers.back()->observeRecursive(chain.back()->publisher());
  }
  Calls expected;
  for (int i = 0; i < depth; ++i) expected.push_back(std::to_string(i) + ":7");
  EXPECT_EQ(changed(*chain.front(), 7), shown(expected));
}

// Random trees and observers against the plain definition: who observes a node, or observes
// recursively above it, is called, nearest first and in the order of attachment.
TEST_F(PublisherTest, RecursiveObserversFollowEveryChangeOfTheTree) {
  constexpr int nodeCount = 9;
  constexpr int observerCount = 6;
  std::mt19937_64 random(3);
  for (int round = 0; round < 60; ++round) {
    std::vector<Ptr<TreeNode>> nodes;
    std::vector<int> parent(nodeCount, -1);
    std::vector<std::unique_ptr<Recorder>> observers;
    struct Attachment {
      int observer, node;
      bool recursive;
    };
    std::vector<Attachment> attached;
    for (int i = 0; i < nodeCount; ++i) nodes.push_back(TreeNode::make());
    for (int i = 0; i < observerCount; ++i) {
      observers.push_back(std::make_unique<Recorder>("o" + std::to_string(i) + ":", calls));
    }
    for (int step = 0; step < 80; ++step) {
      const int at = static_cast<int>(random() % nodeCount);
      const int who = static_cast<int>(random() % observerCount);
      switch (random() % 4) {
        case 0: {  // moves a node, below a smaller one or to the top
          if (parent[at] >= 0) nodes[parent[at]]->remove(nodes[at].get());
          parent[at] = at > 0 && random() % 4 ? static_cast<int>(random() % at) : -1;
          if (parent[at] >= 0) nodes[parent[at]]->add(nodes[at]);
          break;
        }
        case 1:
        case 2: {
          const bool recursive = random() % 2 == 0;
          std::erase_if(attached, [&](const Attachment& each) { return each.observer == who; });
          attached.push_back({who, at, recursive});
          if (recursive) {
            observers[who]->observeRecursive(nodes[at]->publisher());
          } else {
            observers[who]->observe(nodes[at]->publisher());
          }
          break;
        }
        default:
          std::erase_if(attached, [&](const Attachment& each) { return each.observer == who; });
          observers[who]->detach();
      }
      for (int source = 0; source < nodeCount; ++source) {
        Calls expected;
        for (int above = source; above >= 0; above = parent[above]) {
          for (const Attachment& each : attached) {
            if (each.node != above || (above != source && !each.recursive)) continue;
            expected.push_back("o" + std::to_string(each.observer) + ":5");
          }
        }
        ASSERT_EQ(changed(*nodes[source], 5), shown(expected))
            << "round " << round << " step " << step;
        ASSERT_EQ(nodes[source]->publisher().observed(), !expected.empty());
      }
    }
  }
}

}  // namespace
}  // namespace Pelmo
