// A figure that all threads keep together: how many objects are alive, how many bytes are held.
#pragma once

#include <cstddef>

#include "Pelmo/ThreadControl.h"

namespace Pelmo {

/// Changed atomically only in a process with threads; any thread may read it at any time. What it
/// counts is published by other means: a reader sees some value that it had, or has.
class SharedCount {
 public:
  void add(size_t number) noexcept {
    if (ThreadControl::tsp_) {
      __atomic_fetch_add(&value_, number, __ATOMIC_RELAXED);
    } else {
      value_ += number;
    }
  }
  void subtract(size_t number) noexcept { add(size_t{0} - number); }
  operator size_t() const noexcept { return __atomic_load_n(&value_, __ATOMIC_RELAXED); }

 private:
  size_t value_ = 0;
};

}  // namespace Pelmo
