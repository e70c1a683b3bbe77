// What must not allocate: not the first time, and not later.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "Count.h"
#include "Stp/StpStatus.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "bench/MemoryLog.h"

namespace {

using Allocation::Count;
using Tovo::NboAttrLog::FlowOut;
using Tovo::NboAttrLog::In;
using Tovo::NboAttrLog::MountSide;
using Tovo::NboAttrLog::Out;

class Counting : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change&) override { ++calls; }
  size_t calls = 0;
};

class HotPath : public testing::Test {
 protected:
  /// Runs it some times, each with another number.
  template <class Work>
  void expectNone(const char* what, const Work& work) {
    const Count taken = Allocation::of([&] {
      for (uint32_t i = 0; i < rounds; ++i) work(++number_);
    });
    EXPECT_TRUE(taken == Count()) << what << " allocated: " << taken.heap << " heap, " << taken.slab
                                  << " slab in " << rounds << " rounds";
  }

  /// One setter of each kind that stores a value of fixed size, or a text that is there already.
  void setAll(uint32_t number) {
    vector_.extRootPathCostIs(Stp::PathCost(1 + number % 1000));
    times_.remainingHopsIs(static_cast<uint8_t>(number));
    port_->fdbFlushIs(number);
    port_->transitionsToForwardingCountInc(1);
    port_->portPriorityIs(vector_);
    port_->portTimesIs(times_);
    port_->syncIs(number % 2 == 0);
    port_->roleIs(number % 2 == 0 ? Port::Role::root : Port::Role::alternate);
    instance_->lastTopologyChangeIs(number);
    instance_->lastTopologyChangePortIs(number % 2 == 0 ? texts_[0] : texts_[1]);
    instance_->rootPortIs(number % 2 == 0 ? port_ : nullptr);
    status_->stableCounterInc(1);
  }

  static constexpr uint32_t rounds = 300;
  using Port = Stp::MstiPortStatus;

  uint32_t number_ = 0;
  Stp::PriorityVector vector_;
  Stp::TimesVector times_;
  const std::array<Pelmo::String, 2> texts_ = {
      Pelmo::String("an interface whose name is beyond any small buffer"),
      Pelmo::String("another interface whose name is beyond any small buffer")};
  Pelmo::Ptr<Stp::Status> status_ = Stp::statusFactory("status");
  Pelmo::Ptr<Stp::MstiStatus> instance_ =
      status_->stpiStatusIs("Mstp")->mstiStatusIs("Mst1", Stp::InstanceId(1));
  Pelmo::Ptr<Port> port_ = instance_->mstiPortStatusIs("Ethernet1", 1);
};

// Otherwise the other tests prove nothing.
TEST_F(HotPath, WhatAllocatesIsCounted) {
  const Count made = Allocation::of([&] { instance_->mstiPortStatusIs("Ethernet2", 1); });
  EXPECT_GE(made.slab, 1u);
  EXPECT_GE(made.heap, 1u);
  // As a call: a compiler may leave out a new whose object nobody needs.
  const Count block = Allocation::of([] { ::operator delete(::operator new(1000)); });
  EXPECT_EQ(block.slab, 0u);
  EXPECT_EQ(block.heap, 1u);
}

TEST_F(HotPath, Setters) {
  expectNone("unchanged", [&](uint32_t) { setAll(2); });
  expectNone("changed, not observed", [&](uint32_t number) { setAll(number); });

  std::array<Counting, 10> observers;
  for (Counting& observer : observers) observer.observe(port_->publisher());
  Counting above;
  above.observeRecursive(status_->publisher());
  expectNone("changed, observed", [&](uint32_t number) { setAll(number); });
  EXPECT_GE(observers.back().calls, 5 * rounds);
  EXPECT_GE(above.calls, 10 * rounds);
  expectNone("observers come and go", [&](uint32_t) {
    observers[0].detach();
    observers[0].observe(port_->publisher());
  });
}

TEST_F(HotPath, GettersAndLookUps) {
  for (int i = 2; i <= 200; ++i) instance_->mstiPortStatusIs("Ethernet" + std::to_string(i), 1);
  const auto directory = Stp::portCounterDirFactory("counters");
  const Pelmo::String name = Pelmo::String::interned("Ethernet7");
  directory->portCountersIs(name, Stp::PortCounters(1, 2, 3, 4, 5));
  size_t seen = 0;
  expectNone("getters", [&](uint32_t) {
    seen += port_->fdbFlush() + port_->sync() + port_->portPriority().extRootPathCost().value() +
            instance_->lastTopologyChangePort().size() + port_->name().size();
    seen += instance_->rootPort() ? 1 : 0;
  });
  expectNone("find", [&](uint32_t) {
    seen += instance_->mstiPortStatus(name)->enabledNonce();
    seen += directory->portCounters(name)->bpduTx();
  });
  expectNone("walk", [&](uint32_t) {
    for (const Port& port : instance_->mstiPortStatus()) seen += port.enabledNonce();
  });
  expectNone("reflection", [&](uint32_t) {
    const Tovo::TovoTypeBase type = Tovo::typeByName("Stp::MstiPortStatus");
    seen += Tovo::attributeById(type, 261).id();
  });
  EXPECT_GT(seen, 0u);
}

TEST_F(HotPath, ValuesAsBytes) {
  std::array<uint8_t, 128> room{};
  const Stp::PortCounters counters(1, 2, 3, 4, 5);
  expectNone("encode", [&](uint32_t number) {
    vector_.extRootPathCostIs(Stp::PathCost(number));
    Out out(room);
    out << vector_ << times_ << counters << number << true;
  });
  expectNone("decode", [&](uint32_t) {
    In in(room);
    const auto vector = in.next<Stp::PriorityVector>();
    const auto times = in.next<Stp::TimesVector>();
    ASSERT_EQ(in.next<Stp::PortCounters>(), counters);
    ASSERT_EQ(vector, vector_);
    ASSERT_EQ(times, times_);
  });
}

TEST_F(HotPath, ChangesFromTheAttributeLog) {
  const auto mirrored = Port::MstiPortStatusIs("Ethernet1", 1);
  Bench::MemoryLog in;
  const uint32_t id = in.carry(*mirrored, MountSide::guest, FlowOut::startNowhere);
  std::array<uint8_t, 64> room{};
  expectNone("applied", [&](uint32_t number) {
    vector_.extRootPathCostIs(Stp::PathCost(number));
    Out first(room);
    first << vector_;
    in.handleMessage(id, 264, {room.data(), 41});
    Out second(room);
    second << number;
    in.handleMessage(id, 261, {room.data(), 4});
    ASSERT_EQ(mirrored->fdbFlush(), number);
    ASSERT_EQ(mirrored->portPriority(), vector_);
  });
}

}  // namespace
