#include "Mirror/log/Transfers.h"

namespace Tovo::NboAttrLog {

namespace {

// What a key takes: its node and its place in the index.
size_t costOf(const std::string& key) noexcept {
  return sizeof(std::string) + 4 * sizeof(void*) + key.size();
}

}  // namespace

void Transfers::begin(const Entity& owner, AttributeId collection) {
  take(owner, collection);
  transfers_.emplace(std::pair(&owner, collection), Transfer{++last_, {}});
}

Transfers::Transfer Transfers::take(Map::iterator at) noexcept {
  for (const std::string& key : at->second.seen) bytes_ -= costOf(key);
  Transfer transfer = std::move(at->second);
  transfers_.erase(at);
  return transfer;
}

std::optional<Transfers::Transfer> Transfers::take(const Entity& owner,
                                                   AttributeId collection) noexcept {
  const auto at = transfers_.find({&owner, collection});
  if (at == transfers_.end()) return std::nullopt;
  return take(at);
}

uint32_t Transfers::number(const Entity& owner, AttributeId collection) const noexcept {
  if (transfers_.empty()) return 0;
  const auto at = transfers_.find({&owner, collection});
  return at == transfers_.end() ? 0 : at->second.number;
}

void Transfers::seen(const Entity& owner, AttributeId collection, const std::string& key,
                     bool there) {
  if (transfers_.empty()) return;
  const auto at = transfers_.find({&owner, collection});
  if (at == transfers_.end()) return;
  if (there) {
    if (at->second.seen.insert(key).second) bytes_ += costOf(key);
  } else if (at->second.seen.erase(key) > 0) {
    bytes_ -= costOf(key);
  }
}

void Transfers::forget(const Entity& owner) noexcept {
  for (auto at = transfers_.lower_bound({&owner, 0});
       at != transfers_.end() && at->first.first == &owner;) {
    take(at++);
  }
}

void Transfers::clear() noexcept {
  transfers_.clear();
  bytes_ = 0;
}

}  // namespace Tovo::NboAttrLog
