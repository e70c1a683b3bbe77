// Elements of a collection by name.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

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

class MapCollection {
 public:
  explicit MapCollection(const std::vector<std::string>& names) : names_(names) {}
  void create(size_t i) { map_.emplace(names_[i], std::make_unique<Element>(names_[i])); }
  int find(size_t i) const { return findText(names_[i]); }
  int sum() const {
    int sum = 0;
    for (const auto& [name, element] : map_) sum += element->state;
    return sum;
  }
  void erase(size_t i) { map_.erase(names_[i]); }
  void clear() { map_.clear(); }
  int findText(const std::string& name) const { return map_.find(name)->second->state; }

 private:
  const std::vector<std::string>& names_;
  std::unordered_map<std::string, std::unique_ptr<Element>> map_;
};

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
  using Clock = std::chrono::steady_clock;
  for (auto _ : state) {
    prepare();
    const auto start = Clock::now();
    work();
    benchmark::ClobberMemory();
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
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

const bool registered = [] {
  for (const size_t count : {1000, 100000}) {
    const std::string size = "/" + std::to_string(count) + "/";
    const auto add = [](const std::string& name, auto function, size_t elements) {
      return benchmark::RegisterBenchmark(name.c_str(), function, elements);
    };
    add("Create" + size + "stp", create<StpCollection>, count)->UseManualTime();
    add("Create" + size + "limit", create<IndexCollection>, count)->UseManualTime();
    add("Create" + size + "peer:unordered_map", create<MapCollection>, count)->UseManualTime();
    add("Find" + size + "stp", find<StpCollection>, count);
    add("Find" + size + "limit", find<IndexCollection>, count);
    add("Find" + size + "peer:unordered_map", find<MapCollection>, count);
    add("FindText" + size + "stp", findText<StpCollection>, count);
    add("FindText" + size + "peer:unordered_map", findText<MapCollection>, count);
    add("Iterate" + size + "stp", iterate<StpCollection>, count);
    add("Iterate" + size + "limit", iterate<IndexCollection>, count);
    add("Iterate" + size + "peer:unordered_map", iterate<MapCollection>, count);
    add("Erase" + size + "stp", erase<StpCollection>, count)->UseManualTime();
    add("Erase" + size + "limit", erase<IndexCollection>, count)->UseManualTime();
    add("Erase" + size + "peer:unordered_map", erase<MapCollection>, count)->UseManualTime();
  }
  return true;
}();

}  // namespace
