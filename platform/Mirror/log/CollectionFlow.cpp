#include "Mirror/log/CollectionFlow.h"

#include <algorithm>
#include <utility>

namespace Tovo::NboAttrLog {

namespace {

// What a key takes: its node, its part of the index and of the order, and the block of a text that
// is too long to stand in the node.
size_t costOf(const std::string& key) noexcept {
  constexpr size_t node = sizeof(std::string) + 6 * sizeof(void*);
  return node + (key.capacity() < sizeof(std::string) / 2 ? 0 : key.capacity() + 1);
}

}  // namespace

CollectionFlow::CollectionFlow(AttributeId collection, bool isSynced, size_t* heldBytes)
    : collection_(collection),
      transfer_(isSynced ? Transfer::complete : Transfer::due),
      heldBytes_(heldBytes) {
  holds(sizeof(CollectionFlow));
}

CollectionFlow::~CollectionFlow() { forget(); }

void CollectionFlow::holds(size_t bytes) noexcept {
  if (heldBytes_) *heldBytes_ += bytes;
}

void CollectionFlow::drops(size_t bytes) noexcept {
  if (heldBytes_) *heldBytes_ -= bytes;
}

void CollectionFlow::forget() noexcept {
  if (!heldBytes_) return;
  clearDirtyKeys();
  forgetMentioned();
  drops(sizeof(CollectionFlow));
  heldBytes_ = nullptr;
}

void CollectionFlow::bookmarkIs(std::string key) {
  bookmark_ = std::move(key);
  hasBookmark_ = true;
}

std::optional<std::string> CollectionFlow::takeBookmark() {
  if (!std::exchange(hasBookmark_, false)) return std::nullopt;
  return std::move(bookmark_);
}

void CollectionFlow::bookmarkGone(const std::string& key) noexcept {
  if (hasBookmark_ && bookmark_ == key) hasBookmark_ = false;
}

void CollectionFlow::dirtyKeyIs(std::string key, bool left) {
  const auto [at, inserted] = keys_.try_emplace(std::move(key), false);
  at->second = at->second || left;
  if (!inserted) return;
  try {
    order_.push_back(&at->first);
  } catch (...) {
    keys_.erase(at);
    throw;
  }
  holds(costOf(at->first));
}

void CollectionFlow::dropDirtyKey(const std::string& key) {
  const auto known = keys_.find(key);
  if (known == keys_.end()) return;
  order_.erase(std::find(order_.begin(), order_.end(), &known->first));
  drops(costOf(known->first));
  keys_.erase(known);
}

bool CollectionFlow::hasLeft(const std::string& key) const {
  const auto known = keys_.find(key);
  return known != keys_.end() && known->second;
}

void CollectionFlow::leavingIsKnown(const std::string& key) {
  const auto known = keys_.find(key);
  if (known != keys_.end()) known->second = false;
}

void CollectionFlow::clearDirtyKeys() noexcept {
  for (const auto& [key, left] : keys_) drops(costOf(key));
  order_.clear();
  keys_.clear();
  constexpr size_t keptPlaces = 256;
  if (keys_.bucket_count() <= keptPlaces) return;
  order_.shrink_to_fit();
  const auto index = std::exchange(keys_, {});
}

void CollectionFlow::mentionedIs(std::string key) {
  const auto [at, inserted] = mentioned_.insert(std::move(key));
  if (inserted) holds(costOf(*at));
}

void CollectionFlow::forgetMentioned() noexcept {
  for (const std::string& key : mentioned_) drops(costOf(key));
  const auto last = std::exchange(mentioned_, {});
}

void CollectionFlow::freeResyncState() noexcept {
  clearDirtyKeys();
  if (transfer_ == Transfer::underWay) transfer_ = Transfer::due;
  hasBookmark_ = false;
  bookmark_.clear();
}

}  // namespace Tovo::NboAttrLog
