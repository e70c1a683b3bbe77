#include "Mirror/log/WaitingReferences.h"

namespace Tovo::NboAttrLog {

void WaitingReferences::add(Place place, uint32_t target) {
  remove(place);
  const auto reference = targets_.emplace(std::move(place), Target{target, true}).first;
  try {
    places_.emplace(target, &reference->first);
  } catch (...) {
    targets_.erase(reference);
    throw;
  }
  bytes_ += costOf(reference->first);
}

// What a waiting reference takes: a node in each of the two maps.
size_t WaitingReferences::costOf(const Place& place) noexcept {
  return sizeof(Targets::value_type) + sizeof(Places::value_type) + 8 * sizeof(void*) +
         place.key.size();
}

void WaitingReferences::remove(const Place& place) noexcept {
  if (targets_.empty()) return;
  const auto reference = targets_.find(place);
  if (reference != targets_.end()) remove(reference);
}

void WaitingReferences::remove(Targets::iterator reference) noexcept {
  bytes_ -= costOf(reference->first);
  places_.erase({reference->second.number, &reference->first});
  targets_.erase(reference);
}

void WaitingReferences::removeAll(Entity& holder) noexcept {
  for (auto at = targets_.lower_bound(Place{&holder, 0, {}});
       at != targets_.end() && at->first.holder == &holder;) {
    remove(at++);
  }
}

void WaitingReferences::clear() noexcept {
  places_.clear();
  targets_.clear();
  bytes_ = 0;
}

WaitingReferences::Places::const_iterator WaitingReferences::lowerBound(
    uint32_t target) const noexcept {
  const Place before{nullptr, 0, {}};
  return places_.lower_bound({target, &before});
}

const Place* WaitingReferences::firstFor(uint32_t target) const noexcept {
  const auto first = lowerBound(target);
  return first != places_.end() && first->first == target ? first->second : nullptr;
}

std::vector<Place> WaitingReferences::takeNew() {
  std::vector<Place> found;
  for (auto& [place, target] : targets_) {
    if (std::exchange(target.isNew, false)) found.push_back(place);
  }
  return found;
}

}  // namespace Tovo::NboAttrLog
