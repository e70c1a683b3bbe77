// A 32-bit reference count that is atomic only in a process with threads.
#pragma once

#include <cstdint>

#include "Pelmo/ThreadControl.h"

namespace Pelmo {

class RefCount {
 public:
  explicit constexpr RefCount(uint32_t initial) noexcept : count_(initial) {}

  void add() noexcept {
    if (ThreadControl::tsp_) {
      __atomic_fetch_add(&count_, 1, __ATOMIC_RELAXED);
    } else {
      ++count_;
    }
  }

  /// True when this dropped the last reference; everything that other threads wrote before they
  /// dropped theirs is then visible here.
  [[nodiscard]] bool drop(uint32_t references = 1) noexcept {
    if (ThreadControl::tsp_) return __atomic_sub_fetch(&count_, references, __ATOMIC_ACQ_REL) == 0;
    return (count_ -= references) == 0;
  }

  /// Adds a reference unless the count has already reached zero.
  [[nodiscard]] bool addUnlessGone() noexcept {
    uint32_t seen = __atomic_load_n(&count_, __ATOMIC_RELAXED);
    while (seen != 0) {
      if (__atomic_compare_exchange_n(&count_, &seen, seen + 1, true, __ATOMIC_ACQ_REL,
                                      __ATOMIC_RELAXED)) {
        return true;
      }
    }
    return false;
  }

  void set(uint32_t count) noexcept { __atomic_store_n(&count_, count, __ATOMIC_RELAXED); }
  uint32_t value() const noexcept { return __atomic_load_n(&count_, __ATOMIC_RELAXED); }

 private:
  uint32_t count_;
};

}  // namespace Pelmo
