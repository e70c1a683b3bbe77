// Trees in several threads at once, with the thread flag set; made for ThreadSanitizer.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "Pelmo/Publisher.h"
#include "Pelmo/ThreadControl.h"
#include "Stp/StpConfig.h"
#include "Stp/StpStatus.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "tests/Together.h"

namespace {

constexpr int rounds = 100;

class ModelThreads : public testing::Test {
 protected:
  static void SetUpTestSuite() { Pelmo::ThreadControl::tsp_ = true; }
  void SetUp() override { liveBefore_ = Tovo::AllocTrackTypeInfo::totalLiveObjects(); }
  void TearDown() override { EXPECT_EQ(Tovo::AllocTrackTypeInfo::totalLiveObjects(), liveBefore_); }

 private:
  size_t liveBefore_ = 0;
};

struct Counter : Pelmo::Observer {
  void handleChange(const Pelmo::Change&) override { ++changes; }
  int changes = 0;
};

Pelmo::Ptr<Stp::Status> newStatus(int ports) {
  auto status = Stp::statusFactory("status");
  const auto msti = status->stpiStatusIs("Mstp")->mstiStatusIs("Mst1", Stp::InstanceId(1));
  for (int port = 0; port < ports; ++port) {
    msti->mstiPortStatusIs("Ethernet" + std::to_string(port), 1);
  }
  return status;
}

// What they share is below the surface: names, pages of the slab, types, counts of what is alive.
TEST_F(ModelThreads, EachWithATreeOfItsOwn) {
  std::array<int, threadCount> changes{};
  together([&](int number) {
    for (int round = 0; round < rounds; ++round) {
      const auto status = newStatus(5);
      Counter counter;
      counter.observeRecursive(status->publisher());
      const auto msti = status->stpiStatus("Mstp")->mstiStatus("Mst1");
      const auto port = msti->mstiPortStatus("Ethernet3");
      const Tovo::TovoTypeBase type = Tovo::typeByName("Stp::MstiPortStatus");
      ASSERT_EQ(port->tovoType(), type);
      Tovo::attributeFromText(*port, Tovo::attributeByName(type, "state"), "forwarding");
      Tovo::attributeFromText(*port, Tovo::attributeByName(type, "operIntPathCost"),
                              std::to_string(number + 2));
      EXPECT_THROW(Stp::BridgePriority(61441), Tovo::RangeException);
      msti->rootPortIs(port);
      msti->mstiPortStatusDel("Ethernet3");
      EXPECT_GE(Tovo::AllocTrackTypeInfo::totalLiveObjects(), 8u);
      EXPECT_EQ(port->operIntPathCost().value(), static_cast<uint32_t>(number + 2));
      changes[number] += counter.changes;
    }
  });
  for (const int each : changes) EXPECT_EQ(each, changes[0]);
  EXPECT_EQ(changes[0], 4 * rounds);
}

// Nobody writes any more: then all may read, copy, and be the last to let go.
TEST_F(ModelThreads, OneTreeThatAllReadAndTheLastOneDeletes) {
  for (int round = 0; round < rounds; ++round) {
    auto status = newStatus(3);
    status->mstpConfigNameIs("a name that is no short string by any measure");
    std::array<Pelmo::Ptr<Stp::Status>, threadCount> shares;
    shares.fill(status);
    status = nullptr;
    together([&](int number) {
      Pelmo::Ptr<Stp::Status> share = std::move(shares[number]);
      const Pelmo::String name = share->mstpConfigName();
      const auto port = share->stpiStatus("Mstp")->mstiStatus("Mst1")->mstiPortStatus("Ethernet1");
      share = nullptr;
      EXPECT_EQ(name.view(), "a name that is no short string by any measure");
      EXPECT_EQ(port->nameString().view(), "Ethernet1");
    });
  }
}

}  // namespace
