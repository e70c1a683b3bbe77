// How often things change.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "stptool/json/Json.h"
#include "stptool/tree/ChangeText.h"

namespace stptool {

/// Counts changes by what changed.
class RateTable {
 public:
  void add(const ChangeEvent& event);
  void clear() noexcept { counts_.clear(); }

  /// The most frequent ones and the sum, as changes per second.
  std::string text(double seconds, size_t top) const;
  Json json(double seconds, size_t top) const;

 private:
  struct Count {
    std::string path;
    std::string attribute;
    uint64_t changes = 0;
  };

  std::vector<const Count*> most(size_t top) const;
  uint64_t total() const noexcept;

  std::unordered_map<std::string, Count> counts_;  // by the whole path
};

}  // namespace stptool
