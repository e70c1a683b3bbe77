#include "Pelmo/ThreadControl.h"

#include "Morsa/Slab.h"

namespace Pelmo {

bool ThreadControl::tsp_ = false;

namespace {

// The allocator knows no other library, so it is told when to lock before anybody can switch it on.
[[maybe_unused]] const bool allocatorKnows = [] {
  Morsa::lockedWhile(ThreadControl::tsp_);
  return true;
}();

}  // namespace

}  // namespace Pelmo
