#include "Mirror/log/UnderWay.h"

#include <utility>

namespace Tovo::NboAttrLog {

void UnderWay::add(Place place, uint64_t message) {
  const auto [at, isNew] = messages_.try_emplace(std::move(place), message);
  if (!isNew) places_.erase(std::exchange(at->second, message));
  try {
    places_.emplace(message, &at->first);
  } catch (...) {
    messages_.erase(at);
    throw;
  }
}

void UnderWay::removeAll(Entity& holder) noexcept {
  for (auto at = messages_.lower_bound(Place{&holder, 0, {}});
       at != messages_.end() && at->first.holder == &holder;) {
    places_.erase(at->second);
    at = messages_.erase(at);
  }
}

void UnderWay::clear() noexcept {
  places_.clear();
  messages_.clear();
}

}  // namespace Tovo::NboAttrLog
