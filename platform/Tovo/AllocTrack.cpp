#include "Tovo/AllocTrack.h"

#include <mutex>

#include "Morsa/Slab.h"
#include "Pelmo/ThreadControl.h"

namespace Tovo {

namespace {

AllocTrackTypeInfo* firstTracker = nullptr;
std::mutex trackerMutex;

struct Guard {
  Guard() : lock(trackerMutex, std::defer_lock) {
    if (Pelmo::ThreadControl::tsp_) lock.lock();
  }
  std::unique_lock<std::mutex> lock;
};

}  // namespace

void AllocTrackTypeInfo::_trackAllocationNoOverhead(AllocTrackTypeInfo& tracker, TovoTypeBase type,
                                                    size_t size) noexcept {
  const Guard guard;
  if (!tracker.listed_) [[unlikely]] {
    tracker.listed_ = true;
    tracker.type_ = type;
    tracker.next_ = firstTracker;
    firstTracker = &tracker;
  }
  ++tracker.objects_;
  tracker.bytes_ += size;
}

void AllocTrackTypeInfo::trackDeallocation(AllocTrackTypeInfo& tracker, size_t size) noexcept {
  const Guard guard;
  --tracker.objects_;
  tracker.bytes_ -= size;
}

const AllocTrackTypeInfo* AllocTrackTypeInfo::first() noexcept { return firstTracker; }

size_t AllocTrackTypeInfo::totalLiveObjects() noexcept {
  size_t total = 0;
  for (const auto* tracker = first(); tracker; tracker = tracker->next()) {
    total += tracker->liveObjects();
  }
  return total;
}

void* trackedAlloc(AllocTrackTypeInfo& tracker, TovoTypeBase type, size_t size) {
  void* object = Morsa::slabAlloc(size);
  AllocTrackTypeInfo::_trackAllocationNoOverhead(tracker, type, size);
  return object;
}

void trackedFree(AllocTrackTypeInfo& tracker, TovoTypeBase type, void* object,
                 size_t size) noexcept {
  if (!object) return;
  AllocTrackTypeInfo::trackDeallocation(tracker, size);
  Morsa::slabFree(object, type.index);
}

}  // namespace Tovo
