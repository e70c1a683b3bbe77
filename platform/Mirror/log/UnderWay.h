// What a guest has sent and the host has not seen.
#pragma once

#include <cstdint>
#include <map>

#include "Mirror/log/Place.h"

namespace Tovo::NboAttrLog {

/// Of one adapter, by place and by the number of the last message about it. Each operation costs
/// the logarithm of how much is under way.
class UnderWay {
 public:
  bool empty() const noexcept { return messages_.empty(); }
  bool contains(const Place& place) const noexcept { return !empty() && messages_.contains(place); }
  /// Throws std::bad_alloc; then the place is not under way.
  void add(Place place, uint64_t message);
  /// Of one holder all.
  void removeAll(Entity& holder) noexcept;
  /// The host has seen all messages up to one: visits their places, the oldest first, and forgets
  /// them.
  template <class Visit>
  void seen(uint64_t message, const Visit& visit) {
    while (!places_.empty() && places_.begin()->first <= message) {
      const auto first = places_.begin();
      visit(*first->second);
      messages_.erase(messages_.find(*first->second));
      places_.erase(first);
    }
  }
  void clear() noexcept;

 private:
  std::map<Place, uint64_t> messages_;
  std::map<uint64_t, const Place*> places_;  // these stand in the other map
};

}  // namespace Tovo::NboAttrLog
