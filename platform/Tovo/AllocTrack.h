// Memory accounting by type.
#pragma once

#include <cstddef>

#include "Pelmo/SharedCount.h"
#include "Tovo/Types.h"

namespace Tovo {

/// One tracker a class; lives as long as the process. Enters the process-wide list with its first
/// allocation. The figures may be read by any thread at any time.
class AllocTrackTypeInfo {
 public:
  explicit constexpr AllocTrackTypeInfo(const char* name) noexcept : name_(name) {}
  AllocTrackTypeInfo(const AllocTrackTypeInfo&) = delete;
  AllocTrackTypeInfo& operator=(const AllocTrackTypeInfo&) = delete;

  static void _trackAllocationNoOverhead(AllocTrackTypeInfo& tracker, TovoTypeBase type,
                                         size_t size) noexcept;
  static void trackDeallocation(AllocTrackTypeInfo& tracker, size_t size) noexcept;

  const char* name() const noexcept { return name_; }
  TovoTypeBase type() const noexcept { return type_; }
  size_t liveObjects() const noexcept { return objects_; }
  size_t liveBytes() const noexcept { return bytes_; }

  /// The trackers that were ever used, the latest first.
  static const AllocTrackTypeInfo* first() noexcept;
  const AllocTrackTypeInfo* next() const noexcept { return next_; }
  static size_t totalLiveObjects() noexcept;

 private:
  const char* name_;
  TovoTypeBase type_{};
  void enter(TovoTypeBase type) noexcept;

  Pelmo::SharedCount objects_;
  Pelmo::SharedCount bytes_;
  AllocTrackTypeInfo* next_ = nullptr;
  bool listed_ = false;
};

/// Slab memory for an object of a tracked class. Throws std::bad_alloc, then nothing is counted.
void* trackedAlloc(AllocTrackTypeInfo& tracker, TovoTypeBase type, size_t size);
void trackedFree(AllocTrackTypeInfo& tracker, TovoTypeBase type, void* object,
                 size_t size) noexcept;

}  // namespace Tovo

/// Declares the allocation functions of a class that has a type, and its tracker. Only the library
/// that has the class touches the tracker: it is found without a look-up when that library is
/// loaded.
#define TOVO_SLAB_ALLOCATED                               \
  static void* operator new(size_t size);                 \
  static void operator delete(void* object, size_t size); \
  [[gnu::visibility("hidden")]] static ::Tovo::AllocTrackTypeInfo memAllocationTracker_

/// Defines them; the name is the class's own in the accounts.
#define TOVO_SLAB_ALLOCATION(Class, name)                                       \
  ::Tovo::AllocTrackTypeInfo Class::memAllocationTracker_(name);                \
  void* Class::operator new(size_t size) {                                      \
    return ::Tovo::trackedAlloc(memAllocationTracker_, tovoStaticType(), size); \
  }                                                                             \
  void Class::operator delete(void* object, size_t size) {                      \
    ::Tovo::trackedFree(memAllocationTracker_, tovoStaticType(), object, size); \
  }                                                                             \
  static_assert(true)
