// Setting an attribute of an entity four levels deep, with and without observers.
#include <benchmark/benchmark.h>

#include <array>
#include <boost/signals2/dummy_mutex.hpp>
#include <boost/signals2/signal_type.hpp>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Stp/StpStatus.h"

/// Visible outside and implemented twice, so that the compiler cannot know who is called.
namespace Bench {
struct HandObserver {
  HandObserver* next = nullptr;
  virtual ~HandObserver() = default;
  virtual void changed(unsigned attribute, const void* previous) = 0;
};
/// What every observer does: enough to be a call, and no more.
uint64_t calls = 0;
struct HandCounting : HandObserver {
  void changed(unsigned attribute, const void*) override { calls += attribute; }
};
struct HandIgnoring : HandObserver {
  void changed(unsigned, const void*) override {}
};
struct Counting : Pelmo::Observer {
  void handleChange(const Pelmo::Change& change) override { calls += change.attribute; }
};
struct Ignoring : Pelmo::Observer {
  void handleChange(const Pelmo::Change&) override {}
};
}  // namespace Bench

namespace {

using Bench::calls;
constexpr unsigned attribute = 261;  // MstiPortStatus::fdbFlush

struct Tree {
  Pelmo::Ptr<Stp::Status> root = Stp::Status::StatusIs("status");
  Pelmo::Ptr<Stp::MstiStatus> instance =
      root->stpiStatusIs("cist")->mstiStatusIs("mst1", Stp::InstanceId(1));
  Pelmo::Ptr<Stp::MstiPortStatus> port = instance->mstiPortStatusIs("Ethernet1", 1);
};

/// By hand: lists of observers and a setter that knows nothing else.
template <class T>
struct Hand {
  Bench::HandObserver* first = nullptr;
  Hand* above = nullptr;
  T value{};

  void valueIs(const T& wanted) {
    if (std::memcmp(&value, &wanted, sizeof wanted) == 0) return;
    const T previous = value;
    value = wanted;
    for (auto* at = first; at; at = at->next) at->changed(attribute, &previous);
    for (Hand* level = above; level; level = level->above) {
      for (auto* at = level->first; at; at = at->next) at->changed(attribute, &previous);
    }
  }
};

/// The usual way.
struct Functions {
  std::vector<std::function<void(const uint32_t&)>> observers;
  uint32_t value = 0;
  void valueIs(uint32_t wanted) {
    if (value == wanted) return;
    const uint32_t previous = value;
    value = wanted;
    for (const auto& observer : observers) observer(previous);
  }
};

/// Without the lock, which a single thread does not need.
struct Signal {
  using Changed = boost::signals2::signal_type<
      void(const uint32_t&),
      boost::signals2::keywords::mutex_type<boost::signals2::dummy_mutex>>::type;
  Changed changed;
  uint32_t value = 0;
  void valueIs(uint32_t wanted) {
    if (value == wanted) return;
    const uint32_t previous = value;
    value = wanted;
    changed(previous);
  }
};

/// `set` gets numbers that go up, or the same one for ever; nothing is known to the compiler of
/// what it is set on.
template <class Target, class Set>
void run(benchmark::State& state, bool changed, Target* target, const Set& set) {
  benchmark::DoNotOptimize(target);
  const uint32_t step = changed ? 1 : 0;
  uint32_t number = 1;
  set(*target, number);
  calls = 0;
  for (auto _ : state) {
    number += step;
    benchmark::DoNotOptimize(number);
    set(*target, number);
    benchmark::ClobberMemory();
  }
  benchmark::DoNotOptimize(calls);
}

void expectCalls(benchmark::State& state, uint64_t each, bool changed) {
  const uint64_t expected =
      changed ? each * attribute * static_cast<uint64_t>(state.iterations()) : uint64_t{0};
  if (calls != expected) state.SkipWithError("the observers were not called once a change");
}

constexpr auto setNumber = [](auto& target, uint32_t number) {
  if constexpr (requires { target.fdbFlushIs(number); }) {
    target.fdbFlushIs(number);
  } else {
    target.valueIs(number);
  }
};

void stpSet(benchmark::State& state, bool changed, size_t observers, bool recursive) {
  Tree tree;
  Bench::Ignoring ignoring;
  Pelmo::Observer* unknown = &ignoring;
  benchmark::DoNotOptimize(unknown);
  std::vector<Bench::Counting> own(observers);
  for (Bench::Counting& observer : own) observer.observe(tree.port->nodePublisher());
  Bench::Counting above;
  if (recursive) above.observeRecursive(tree.root->nodePublisher());
  run(state, changed, tree.port.get(), setNumber);
  expectCalls(state, observers + (recursive ? 1 : 0), changed);
}

void handSet(benchmark::State& state, bool changed, size_t observers, bool recursive) {
  const auto node = std::make_unique<Hand<uint32_t>>();
  Bench::HandIgnoring ignoring;
  Bench::HandObserver* unknown = &ignoring;
  benchmark::DoNotOptimize(unknown);
  std::vector<Bench::HandCounting> own(observers);
  for (Bench::HandCounting& observer : own) {
    observer.next = node->first;
    node->first = &observer;
  }
  Bench::HandCounting counting;
  std::vector<Hand<uint32_t>> above(3);
  if (recursive) {
    node->above = &above[0];
    above[0].above = &above[1];
    above[1].above = &above[2];
    above[2].first = &counting;
  }
  run(state, changed, node.get(), setNumber);
  expectCalls(state, observers + (recursive ? 1 : 0), changed);
}

void signalSet(benchmark::State& state, bool changed, size_t observers) {
  const auto node = std::make_unique<Signal>();
  for (size_t i = 0; i < observers; ++i) {
    node->changed.connect([](const uint32_t&) { calls += attribute; });
  }
  run(state, changed, node.get(), setNumber);
  expectCalls(state, observers, changed);
}

void functionsSet(benchmark::State& state, bool changed, size_t observers) {
  const auto node = std::make_unique<Functions>();
  for (size_t i = 0; i < observers; ++i) {
    node->observers.emplace_back([](const uint32_t&) { calls += attribute; });
  }
  run(state, changed, node.get(), setNumber);
  expectCalls(state, observers, changed);
}

// A value of 44 bytes, which differs in its last field.
Stp::PriorityVector vectorOf(uint32_t number) {
  Stp::PriorityVector vector;
  vector.cistRootBridgeIdIs(Stp::BridgeId(Stp::BridgePriority(4096), Stp::BridgeSystemId(1),
                                          Nelka::EthAddr("02:00:00:00:00:01")));
  vector.bridgeIdIs(vector.cistRootBridgeId());
  vector.portIdIs(
      Stp::PortId(Stp::PortPriority(128), Stp::PortNumber(static_cast<uint16_t>(number & 0xfff))));
  return vector;
}

template <class Target, class Set>
void runVector(benchmark::State& state, bool changed, Target* target, const Set& set) {
  const Stp::PriorityVector vectors[] = {vectorOf(1), vectorOf(changed ? 2 : 1)};
  run(state, true, target, [&](Target& on, uint32_t number) { set(on, vectors[number & 1]); });
}

void stpSetVector(benchmark::State& state, bool changed) {
  const Tree tree;
  runVector(state, changed, tree.port.get(),
            [](Stp::MstiPortStatus& port, const Stp::PriorityVector& vector) {
              port.msgPriorityIs(vector);
            });
}

void handSetVector(benchmark::State& state, bool changed) {
  using Vector = std::array<uint8_t, sizeof(Stp::PriorityVector)>;
  const auto node = std::make_unique<Hand<Vector>>();
  runVector(state, changed, node.get(), [](Hand<Vector>& on, const Stp::PriorityVector& vector) {
    on.valueIs(reinterpret_cast<const Vector&>(vector));
  });
}

const bool registered = [] {
  for (const bool changed : {false, true}) {
    for (const size_t observers : {0, 1, 10}) {
      const std::string name = std::string(changed ? "SetChanged/" : "SetUnchanged/") +
                               std::to_string(observers) + "_observers/";
      benchmark::RegisterBenchmark((name + "stp").c_str(), stpSet, changed, observers, false);
      benchmark::RegisterBenchmark((name + "limit").c_str(), handSet, changed, observers, false);
      benchmark::RegisterBenchmark((name + "peer:vector_of_function").c_str(), functionsSet,
                                   changed, observers);
      benchmark::RegisterBenchmark((name + "peer:boost_signals2").c_str(), signalSet, changed,
                                   observers);
    }
  }
  benchmark::RegisterBenchmark("SetChanged/recursive/stp", stpSet, true, 0, true);
  benchmark::RegisterBenchmark("SetChanged/recursive/limit", handSet, true, 0, true);
  for (const bool changed : {false, true}) {
    const std::string name = changed ? "SetVectorChanged/" : "SetVectorUnchanged/";
    benchmark::RegisterBenchmark((name + "stp").c_str(), stpSetVector, changed);
    benchmark::RegisterBenchmark((name + "limit").c_str(), handSetVector, changed);
  }
  return true;
}();

}  // namespace
