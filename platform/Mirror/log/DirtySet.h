// Which attributes of an entity are to be sent.
#pragma once

#include <bit>
#include <cstdint>

#include "Mirror/log/LogTable.h"

namespace Tovo::NboAttrLog {

/// A bit for each attribute of a type, by its place in the type's table. Memory is taken only for a
/// type that has more than 64.
class DirtySet {
 public:
  /// Of the attributes of a table, which outlives the set. Throws std::bad_alloc.
  explicit DirtySet(const LogTable& table)
      : words_(table.total() > 64 ? new uint64_t[(table.total() + 63) / 64]() : &first_) {}
  ~DirtySet() {
    if (words_ != &first_) delete[] words_;
  }
  DirtySet(const DirtySet&) = delete;
  DirtySet& operator=(const DirtySet&) = delete;

  void add(const LogAttribute& attribute) noexcept {
    words_[attribute.ordinal / 64] |= uint64_t{1} << (attribute.ordinal & 63);
  }
  void remove(const LogAttribute& attribute) noexcept {
    words_[attribute.ordinal / 64] &= ~(uint64_t{1} << (attribute.ordinal & 63));
  }
  /// The one that first() or next() has found, when none before it has been added since.
  void removeFound(uint32_t place) noexcept {
    uint64_t& word = words_[place / 64];
    word &= word - 1;
  }
  bool has(const LogAttribute& attribute) const noexcept {
    return (words_[attribute.ordinal / 64] >> (attribute.ordinal & 63) & 1) != 0;
  }
  /// The same of all attributes of a run.
  bool has(const LogRun& run) const noexcept { return (words_[run.word] & run.bits) == run.bits; }
  void remove(const LogRun& run) noexcept { words_[run.word] &= ~run.bits; }
  /// Of the first 64 attributes, those whose bits are set.
  void addFirst(uint64_t bits) noexcept { words_[0] |= bits; }

  /// The place of the first attribute that is in the set, or none. `total`: of the table.
  static constexpr uint32_t none = 0xffffffff;
  uint32_t first(uint32_t total) const noexcept {
    if (words_[0] != 0) [[likely]]
      return static_cast<uint32_t>(std::countr_zero(words_[0]));
    return next(64, total);
  }
  /// The same of those from one place on.
  uint32_t next(uint32_t from, uint32_t total) const noexcept {
    for (uint32_t at = from; at < total; at = (at | 63) + 1) {
      const uint64_t left = words_[at / 64] >> (at & 63);
      if (left != 0) return at + static_cast<uint32_t>(std::countr_zero(left));
    }
    return none;
  }

 private:
  uint64_t* const words_;
  uint64_t first_ = 0;  // where one is enough
};

}  // namespace Tovo::NboAttrLog
