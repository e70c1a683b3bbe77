// The process-wide switch between plain and atomic reference counts.
#pragma once

namespace Pelmo {

struct ThreadControl {
  /// True: every reference count is changed atomically, and the slab allocator and the name pool
  /// take a lock. Set it once, before a second thread starts; it may not be cleared again.
  static bool tsp_;
};

}  // namespace Pelmo
