// Whole transfers of collections that are under way towards this side.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>

#include "Tovo/Types.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

/// Of one adapter: what each has mentioned so far. What a collection has and its transfer has not
/// mentioned goes when the transfer ends. Each operation costs the logarithm of how many are under
/// way.
class Transfers {
 public:
  struct Transfer {
    uint32_t number = 0;                   ///< counted from 1
    std::unordered_set<std::string> seen;  ///< of elements that are carried, their numbers know it
  };

  bool empty() const noexcept { return transfers_.empty(); }
  /// One that was under way of the same collection is forgotten.
  void begin(const Entity& owner, AttributeId collection);
  /// Ends it; nothing when none is under way.
  std::optional<Transfer> take(const Entity& owner, AttributeId collection) noexcept;
  /// The number of the one that is under way, or 0.
  uint32_t number(const Entity& owner, AttributeId collection) const noexcept;
  /// A key, encoded, was mentioned by the one that is under way, if any; or it has gone.
  void seen(const Entity& owner, AttributeId collection, const std::string& key, bool there = true);
  /// All of an owner.
  void forget(const Entity& owner) noexcept;
  void clear() noexcept;
  /// That the keys take.
  size_t bytes() const noexcept { return bytes_; }

 private:
  using Map = std::map<std::pair<const Entity*, AttributeId>, Transfer>;

  Transfer take(Map::iterator at) noexcept;

  Map transfers_;
  size_t bytes_ = 0;
  uint32_t last_ = 0;
};

}  // namespace Tovo::NboAttrLog
