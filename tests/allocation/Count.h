// What a piece of code allocates.
#pragma once

#include <cstddef>

namespace Allocation {

/// Since the process began, by all its threads and libraries.
struct Count {
  size_t heap = 0;  ///< malloc and its kin, and with them operator new
  size_t slab = 0;  ///< the allocator of entities and flows

  friend bool operator==(const Count&, const Count&) = default;
  friend Count operator-(const Count& a, const Count& b) {
    return {a.heap - b.heap, a.slab - b.slab};
  }
};
Count count() noexcept;

/// What `work` allocates.
template <class Work>
Count of(const Work& work) {
  const Count before = count();
  work();
  return count() - before;
}

}  // namespace Allocation
