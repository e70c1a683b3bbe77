// What a write costs while a reader does not read.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

#include "Helper.h"
#include "LocalMirror.h"
#include "Stp/StpStatus.h"

namespace {

constexpr size_t portCount = 1000;
constexpr size_t flushEvery = 100;
constexpr size_t measured = 200 * 1000;      // writes at each end
constexpr size_t between = 2 * 1000 * 1000;  // writes in the middle

/// A tree of ports, mirrored to a reader in this process, which then stops to read.
class Stalled {
 public:
  explicit Stalled(bool withReader) {
    const auto root = Stp::Status::StatusIs("status");
    const auto instance = root->stpiStatusIs("Mstp")->mstiStatusIs("Mst1", Stp::InstanceId(1));
    for (size_t i = 0; i < portCount; ++i) {
      ports_.push_back(instance->mstiPortStatusIs("Ethernet" + std::to_string(i + 1), 1));
    }
    if (withReader) mirror_.emplace("/status", root);
    root_ = root;
  }

  /// Changes another port each time, and another attribute when all have had their turn.
  void write() {
    Stp::MstiPortStatus& port = *ports_[count_ % portCount];
    const auto number = static_cast<uint32_t>(count_ / portCount);
    if (number % 2 == 0) {
      port.fdbFlushIs(number + 1);
    } else {
      port.transitionsToForwardingCountIs(number + 1);
    }
    ++count_;
    if (mirror_ && count_ % flushEvery == 0) mirror_->flush();
  }

 private:
  Pelmo::Ptr<Stp::Status> root_;
  std::vector<Pelmo::Ptr<Stp::MstiPortStatus>> ports_;
  std::optional<Bench::LocalMirror> mirror_;
  size_t count_ = 0;
};

void writes(benchmark::State& state, bool withReader, bool late) {
  for (auto _ : state) {
    Stalled stalled(withReader);
    for (size_t i = 0; late && i < between; ++i) stalled.write();
    const double start = Bench::processorSeconds();
    for (size_t i = 0; i < measured; ++i) stalled.write();
    state.SetIterationTime(Bench::processorSeconds() - start);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(measured));
}

const bool registered = [] {
  const auto add = [](const char* name, bool withReader, bool late) {
    benchmark::RegisterBenchmark(name, writes, withReader, late)->UseManualTime()->Iterations(1);
  };
  add("StalledReader/early/stp", true, false);
  add("StalledReader/early/floor:no_reader", false, false);
  add("StalledReader/late/stp", true, true);
  add("StalledReader/late/floor:no_reader", false, true);
  return true;
}();

}  // namespace
