// What connections hold, one by one and together, and who is turned away when it is too much.
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "RawPeer.h"
#include "Stp/StpHw.h"
#include "Support.h"

namespace Mirror {
namespace {

using Tovo::NboAttrLog::Budget;
using Tovo::NboAttrLog::Ending;

class BudgetTest : public Test {};

constexpr size_t smallConnection = 4096;

void fill(Stp::Hw& hw, int instances) {
  for (int i = 0; i < instances; ++i) {
    hw.mstiHwIs(Pelmo::String("Mst" + std::to_string(i)))->mstiPortHwIs("Et1")->activeIs(true);
  }
}

TEST_F(BudgetTest, WhatABurstTookIsGivenBack) {
  Budget all("all clients", 64 << 20);
  {
    Pair pair;
    pair.host->budgetIs(all);
    const auto hw = Stp::hwFactory("hw");
    fill(*hw, 1000);
    pair.hostDirectory.mount("/hw", hw);
    auto& mirror = static_cast<Stp::Hw&>(pair.mirror("/hw", false));
    const Tovo::NboAttrLog::Held carrying = pair.host->held();
    EXPECT_GT(carrying.entities, 2000u * 128);
    EXPECT_EQ(carrying.input + carrying.output, 0u);
    // A large turn in each direction, with the keys that make it.
    fill(mirror, 5000);
    pair.settle();
    hw->mstiHwDelAll();
    EXPECT_GT(pair.host->log().carrier().queue().heldBytes(), 0u);
    EXPECT_GT(all.held(), carrying.sum());
    pair.settle();
    pair.expectOpen();
    pair.hostDirectory.unmount("/hw");
    pair.settle();
    for (const Connection* end : {pair.host.get(), pair.guest.get()}) {
      EXPECT_LT(end->held().sum(), smallConnection);
      EXPECT_EQ(end->held().sum(), end->held().itself);
    }
    EXPECT_EQ(all.held(), pair.host->held().sum());
  }
  EXPECT_EQ(all.held(), 0u);
  EXPECT_GT(all.peak(), 1u << 19);
}

TEST_F(BudgetTest, TheLastByteIsThereAndNoneBehindIt) {
  Budget above("all", 100);
  Budget budget("one", 10, &above);
  EXPECT_EQ(budget.take(10), nullptr);
  EXPECT_EQ(budget.take(1), &budget);
  budget.takeAnyway(5);
  EXPECT_EQ(budget.take(1), &budget) << "beyond its bound already";
  budget.give(15);
  EXPECT_EQ(budget.held() + above.held(), 0u);
  EXPECT_EQ(budget.peak(), 15u);
}

// Each kind of greed ends the one whose it is, in words; a neighbour goes on.
TEST_F(BudgetTest, GreedIsTurnedAwayAndOthersGoOn) {
  const std::string mount = message(0, 5, text("/hw") + u8(0));
  std::string many;
  for (uint32_t i = 1; i <= 5000; ++i) {
    const std::string name = text("Mst" + std::to_string(i));
    many += message(0x80000001, 258, name + name + u32(i));
  }
  const struct {
    const char* what;
    std::string bytes;
  } greeds[] = {
      {"a turn that is not whole", mount + message(77, 258, std::string(1 << 20, 'x'))},
      {"a message that is not whole", mount + u32(16 << 20) + std::string(1 << 20, 'x')},
      {"many entities", mount + many + message(0, 9)},
  };
  for (const auto& greed : greeds) {
    SCOPED_TRACE(greed.what);
    Budget all("all clients", 1 << 20);
    Budget user("user 7", 512 * 1024, &all);
    Directory directory;
    const auto hw = Stp::hwFactory("hw");
    directory.mount("/hw", hw);
    RawPeer neighbour(directory);
    neighbour.connection().budgetIs(all);
    neighbour.send(greeting() + mount);
    {
      RawPeer greedy(directory);
      greedy.connection().budgetIs(user);
      greedy.send(greeting() + greed.bytes);
      EXPECT_EQ(greedy.goodBye(), "user 7 would hold more than the 524288 bytes that are allowed");
      EXPECT_EQ(greedy.connection().ending(), Ending::budget);
      EXPECT_LE(user.peak(), user.most());
      EXPECT_LT(user.held(), smallConnection) << "given back when it ends";
    }
    EXPECT_EQ(user.held(), 0u);
    neighbour.send(message(0x80000001, 258, text("Here") + text("Here") + u32(1)) + message(0, 9));
    EXPECT_TRUE(hw->mstiHwContains("Here"));
  }
}

// What is used up keeps newcomers out, but nobody who holds little.
TEST_F(BudgetTest, NewcomersAreTurnedAwayFirst) {
  Directory directory;
  const auto hw = Stp::hwFactory("hw");
  directory.mount("/hw", hw);
  Budget all("all clients", 60000);
  std::vector<std::unique_ptr<RawPeer>> peers;
  for (bool room = true; room && peers.size() < 100;) {
    peers.push_back(std::make_unique<RawPeer>(directory));
    peers.back()->connection().budgetIs(all);
    room = !peers.back()->connection().closed();
  }
  EXPECT_GT(peers.size(), 5u);
  EXPECT_EQ(peers.back()->goodBye(),
            "all clients would hold more than the 60000 bytes that are allowed");
  RawPeer& first = *peers.front();
  first.send(greeting() + message(0, 5, text("/hw") + u8(0)));
  first.send(message(0x80000001, 258, text("Here") + text("Here") + u32(1)) + message(0, 9));
  EXPECT_TRUE(hw->mstiHwContains("Here")) << first.connection().closeReason();
  peers.clear();
  EXPECT_EQ(all.held(), 0u);
}

}  // namespace
}  // namespace Mirror
