// Elements of a collection by name.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "Helper.h"
#include "Peers.h"
#include "Stp/StpHw.h"

namespace {

std::vector<std::string> namesOf(size_t count) {
  std::vector<std::string> names;
  names.reserve(count);
  for (size_t i = 0; i < count; ++i) names.push_back("Ethernet" + std::to_string(i + 1));
  return names;
}

/// The order in which elements are asked for: not that in which they lie in memory.
std::vector<uint32_t> shuffled(size_t count) {
  std::vector<uint32_t> order(count);
  for (size_t i = 0; i < count; ++i) order[i] = static_cast<uint32_t>(i);
  std::shuffle(order.begin(), order.end(), std::minstd_rand(1));
  return order;
}

struct Element {
  explicit Element(std::string text) : name(std::move(text)) {}
  virtual ~Element() = default;
  std::string name;
  int state = 1;
  bool active = false;
};

// Three kinds of collection with the same operations. The keys are made beforehand, as the caller
// of each has them.

class StpCollection {
 public:
  explicit StpCollection(const std::vector<std::string>& names) {
    for (const std::string& name : names)
      keys_.push_back(Pelmo::String::interned(std::string_view(name)));
  }
  void create(size_t i) { owner_->mstiPortHwIs(keys_[i]); }
  int find(size_t i) const { return static_cast<int>(owner_->mstiPortHw(keys_[i])->portState()); }
  int sum() const {
    int sum = 0;
    for (const Stp::MstiPortHw& port : owner_->mstiPortHw()) {
      sum += static_cast<int>(port.portState());
    }
    return sum;
  }
  void erase(size_t i) { owner_->mstiPortHwDel(keys_[i]); }
  void clear() { owner_->mstiPortHwDelAll(); }

  /// From characters that come from outside.
  int findText(const std::string& name) const {
    return static_cast<int>(owner_->mstiPortHw(name)->portState());
  }

 private:
  std::vector<Pelmo::String> keys_;
  Pelmo::Ptr<Stp::MstiHw> owner_ = Stp::MstiHw::MstiHwIs("mst1");
};

/// Any map of the usual form. The room is made beforehand, as whoever knows the number does.
template <class Map>
class MapCollection {
 public:
  explicit MapCollection(const std::vector<std::string>& names) : names_(names) { clear(); }
  void create(size_t i) { map_.emplace(names_[i], std::make_unique<Element>(names_[i])); }
  int find(size_t i) const { return findText(names_[i]); }
  int sum() const {
    int sum = 0;
    for (const auto& [name, element] : map_) sum += element->state;
    return sum;
  }
  void erase(size_t i) { map_.erase(names_[i]); }
  void clear() {
    map_.clear();
    map_.reserve(names_.size());
  }
  int findText(const std::string& name) const { return map_.find(name)->second->state; }

 private:
  const std::vector<std::string>& names_;
  Map map_;
};

using StdMap = MapCollection<std::unordered_map<std::string, std::unique_ptr<Element>>>;
#ifdef STP_BENCH_ABSL
using AbslMap = MapCollection<absl::flat_hash_map<std::string, std::unique_ptr<Element>>>;
#endif

/// By hand: the key is a number that somebody else has found.
class IndexCollection {
 public:
  explicit IndexCollection(const std::vector<std::string>& names) : names_(names) {}
  void create(size_t i) {
    if (elements_.size() <= i) elements_.resize(i + 1);
    elements_[i] = std::make_unique<Element>(names_[i]);
  }
  int find(size_t i) const { return elements_[i]->state; }
  int sum() const {
    int sum = 0;
    for (const auto& element : elements_) sum += element->state;
    return sum;
  }
  void erase(size_t i) { elements_[i].reset(); }
  void clear() { elements_.clear(); }

 private:
  const std::vector<std::string>& names_;
  std::vector<std::unique_ptr<Element>> elements_;
};

template <class Collection>
void fill(Collection& collection, size_t count) {
  for (size_t i = 0; i < count; ++i) collection.create(i);
}

/// Only `work` counts, not what makes it possible again.
template <class Prepare, class Work>
void timed(benchmark::State& state, size_t count, const Prepare& prepare, const Work& work) {
  for (auto _ : state) {
    prepare();
    const double start = Bench::processorSeconds();
    work();
    benchmark::ClobberMemory();
    state.SetIterationTime(Bench::processorSeconds() - start);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

template <class Collection>
void create(benchmark::State& state, size_t count) {
  const std::vector<std::string> names = namesOf(count);
  Collection collection(names);
  timed(
      state, count, [&] { collection.clear(); }, [&] { fill(collection, count); });
}

template <class Collection>
void erase(benchmark::State& state, size_t count) {
  const std::vector<std::string> names = namesOf(count);
  const std::vector<uint32_t> order = shuffled(count);
  Collection collection(names);
  timed(
      state, count,
      [&] {
        collection.clear();
        fill(collection, count);
      },
      [&] {
        for (const uint32_t i : order) collection.erase(i);
      });
}

/// Each look-up waits for the one before: its result, a small number, goes into the next place.
template <class Find>
void oneAfterTheOther(benchmark::State& state, size_t count, const Find& find) {
  size_t at = 0;
  for (auto _ : state) {
    int found = find(at);
    benchmark::DoNotOptimize(found);
    at += size_t{1} + (static_cast<unsigned>(found) >> 16);
    if (at >= count) at = 0;
  }
}

template <class Collection>
void find(benchmark::State& state, size_t count) {
  const std::vector<std::string> names = namesOf(count);
  const std::vector<uint32_t> order = shuffled(count);
  Collection collection(names);
  fill(collection, count);
  oneAfterTheOther(state, count, [&](size_t at) { return collection.find(order[at]); });
}

template <class Collection>
void findText(benchmark::State& state, size_t count) {
  const std::vector<std::string> names = namesOf(count);
  const std::vector<uint32_t> order = shuffled(count);
  Collection collection(names);
  fill(collection, count);
  oneAfterTheOther(state, count, [&](size_t at) { return collection.findText(names[order[at]]); });
}

template <class Collection>
void iterate(benchmark::State& state, size_t count) {
  const std::vector<std::string> names = namesOf(count);
  Collection collection(names);
  fill(collection, count);
  for (auto _ : state) {
    benchmark::DoNotOptimize(collection.sum());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

template <class Collection>
void addCollection(size_t count, const std::string& role) {
  const std::string end = "/" + std::to_string(count) + "/" + role;
  const auto add = [&](const char* name, auto function) {
    return benchmark::RegisterBenchmark((name + end).c_str(), function, count);
  };
  add("Create", create<Collection>)->UseManualTime();
  add("Find", find<Collection>);
  if constexpr (requires(const Collection& names) { names.findText(std::string()); }) {
    add("FindText", findText<Collection>);
  }
  add("Iterate", iterate<Collection>);
  add("Erase", erase<Collection>)->UseManualTime();
}

const bool registered = [] {
  for (const size_t count : {1000, 100000}) {
    addCollection<StpCollection>(count, "stp");
    addCollection<IndexCollection>(count, "limit");
    addCollection<StdMap>(count, "peer:unordered_map");
#ifdef STP_BENCH_ABSL
    addCollection<AbslMap>(count, "peer:absl_flat_hash_map");
#endif
  }
  return true;
}();

}  // namespace
