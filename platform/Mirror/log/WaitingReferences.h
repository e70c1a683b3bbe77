// References that have arrived before their targets.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Mirror/log/Place.h"

namespace Tovo::NboAttrLog {

/// Of one adapter, by their places and by the numbers of their targets. Each operation costs the
/// logarithm of how many wait, unless it says otherwise.
class WaitingReferences {
 public:
  bool empty() const noexcept { return targets_.empty(); }
  /// That they take.
  size_t bytes() const noexcept { return bytes_; }

  /// A reference waits for a number from now on, and no more for another one. Throws
  /// std::bad_alloc; then it waits for none.
  void add(Place place, uint32_t target);
  void remove(const Place& place) noexcept;
  /// Of one holder all.
  void removeAll(Entity& holder) noexcept;
  /// Of one attribute those whose keys are not said to stay: `stays(key)`.
  template <class Stays>
  void removeUnless(Entity& holder, AttributeId attribute, const Stays& stays) {
    for (auto at = targets_.lower_bound(Place{&holder, attribute, {}});
         at != targets_.end() && at->first.holder == &holder && at->first.attribute == attribute;) {
      const auto reference = at++;
      if (!stays(reference->first.key)) remove(reference);
    }
  }
  void clear() noexcept;

  /// One that waits for the number; null when none does. Good until it waits no more.
  const Place* firstFor(uint32_t target) const noexcept;
  /// All that wait for it.
  template <class Visit>
  void forEachFor(uint32_t target, const Visit& visit) const {
    if (empty()) return;
    for (auto at = lowerBound(target); at != places_.end() && at->first == target; ++at) {
      visit(*at->second);
    }
  }
  /// Those that have waited since before the last call are not among them. Cost: how many wait.
  std::vector<Place> takeNew();

 private:
  struct Target {
    uint32_t number;
    bool isNew;
  };
  using Targets = std::map<Place, Target>;
  /// A number, and a place that stands in the other map.
  using Awaited = std::pair<uint32_t, const Place*>;
  struct ByPlace {
    bool operator()(const Awaited& a, const Awaited& b) const noexcept {
      return a.first != b.first ? a.first < b.first : *a.second < *b.second;
    }
  };
  using Places = std::set<Awaited, ByPlace>;

  void remove(Targets::iterator reference) noexcept;
  Places::const_iterator lowerBound(uint32_t target) const noexcept;

  static size_t costOf(const Place& place) noexcept;

  Targets targets_;
  Places places_;
  size_t bytes_ = 0;
};

}  // namespace Tovo::NboAttrLog
