#include "Count.h"

#include <dlfcn.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "Morsa/Slab.h"

namespace {

std::atomic<size_t> heapCount{0};
std::atomic<size_t> slabCount{0};

}  // namespace

namespace Allocation {

Count count() noexcept { return {heapCount, slabCount}; }

}  // namespace Allocation

// The program's own definitions come before those of all libraries, which have to see them.
#pragma GCC visibility push(default)
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) noexcept {
  ++heapCount;
  return __libc_malloc(size);
}
void* calloc(size_t count, size_t size) noexcept {
  ++heapCount;
  return __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) noexcept {
  ++heapCount;
  return __libc_realloc(block, size);
}
void* aligned_alloc(size_t alignment, size_t size) noexcept {
  ++heapCount;
  return __libc_memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) noexcept {
  ++heapCount;
  *block = __libc_memalign(alignment, size);
  return *block ? 0 : ENOMEM;
}
}
#pragma GCC visibility pop

namespace Morsa {

[[gnu::visibility("default")]] void* slabAlloc(size_t size) {
  static void* (*const next)(size_t) = [] {
    void* const symbol = ::dlsym(RTLD_NEXT, "_ZN5Morsa9slabAllocEm");
    void* (*function)(size_t) = nullptr;
    std::memcpy(&function, &symbol, sizeof function);
    return function;
  }();
  ++slabCount;
  return next(size);
}

}  // namespace Morsa
