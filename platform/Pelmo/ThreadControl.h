// The process-wide switch between plain and atomic reference counts.
#pragma once

namespace Pelmo {

struct ThreadControl {
  /// True: every reference count is changed atomically, and what all trees share (the slab
  /// allocator, names, the count of what is alive) takes a lock. Set it once, before a second
  /// thread starts; it may not be cleared again.
  ///
  /// Then each thread may have trees of its own, with their observers; and all may read, share and
  /// let go a tree that nobody changes or observes any more. A tree that changes, directories and
  /// connections belong to one thread.
  static bool tsp_;
};

}  // namespace Pelmo
