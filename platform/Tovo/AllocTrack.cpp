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
  if (!__atomic_load_n(&tracker.listed_, __ATOMIC_ACQUIRE)) [[unlikely]]
    tracker.enter(type);
  tracker.objects_.add(1);
  tracker.bytes_.add(size);
}

// Who finds a tracker in the list finds all of it.
void AllocTrackTypeInfo::enter(TovoTypeBase type) noexcept {
  const Guard guard;
  if (listed_) return;
  type_ = type;
  next_ = firstTracker;
  __atomic_store_n(&firstTracker, this, __ATOMIC_RELEASE);
  __atomic_store_n(&listed_, true, __ATOMIC_RELEASE);
}

void AllocTrackTypeInfo::trackDeallocation(AllocTrackTypeInfo& tracker, size_t size) noexcept {
  tracker.objects_.subtract(1);
  tracker.bytes_.subtract(size);
}

const AllocTrackTypeInfo* AllocTrackTypeInfo::first() noexcept {
  return __atomic_load_n(&firstTracker, __ATOMIC_ACQUIRE);
}

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
