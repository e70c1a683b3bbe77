#include "Morsa/Slab.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <bit>
#include <mutex>
#include <new>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define MORSA_CHECKED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MORSA_CHECKED 1
#endif
#endif
#ifndef MORSA_CHECKED
#define MORSA_CHECKED 0
#endif

namespace Morsa {

namespace {

constexpr bool never = false;
constinit const bool* shared = &never;

constexpr size_t pageSize = 64 * 1024;
constexpr size_t headerSize = 64;
constexpr size_t granule = 16;
constexpr size_t largestSlot = 1024;
constexpr size_t classes = largestSlot / granule;

struct FreeSlot {
  FreeSlot* next;
};

/// A page, aligned to its own size so that an object finds it by its address:
///
///   offset 0   header, 64 bytes
///         64   slots of one size; for an object above 1,024 bytes just the one
struct Page {
  Page* next;
  Page* previous;
  FreeSlot* free;  // slots that were used before
  uint32_t fresh;  // slots from here on were never used
  uint32_t used;
  uint32_t capacity;
  uint32_t slotSize;
  size_t bytes;

  char* slot(uint32_t index) noexcept {
    return reinterpret_cast<char*>(this) + headerSize + size_t{index} * slotSize;
  }
};
static_assert(sizeof(Page) <= headerSize);

class Slab {
 public:
  static Slab& instance() {
    // Never destroyed: objects of other statics may be freed later.
    static Slab* slab = new Slab;
    return *slab;
  }

  void* allocate(size_t size) {
    const Guard guard(mutex_);
    return size <= largestSlot ? allocateSlot(size) : allocateLarge(size);
  }

  void free(void* object) noexcept {
    const Guard guard(mutex_);
    auto* page =
        reinterpret_cast<Page*>(reinterpret_cast<uintptr_t>(object) & ~uintptr_t{pageSize - 1});
    --usage_.objects;
    usage_.slotBytes -= page->slotSize;
    if (page->capacity == 1) {
      drop(page);
      return;
    }
    auto* slot = static_cast<FreeSlot*>(object);
    slot->next = page->free;
    page->free = slot;
    Page*& open = open_[page->slotSize / granule - 1];
    if (page->used-- == page->capacity) {
      link(open, page);
    } else if (page->used == 0 && (page->next || page->previous)) {
      // The last open page of a class stays, so that one object coming and going costs no page.
      unlink(open, page);
      drop(page);
    }
  }

  Usage usage() noexcept {
    const Guard guard(mutex_);
    return usage_;
  }

 private:
  struct Guard {
    explicit Guard(std::mutex& mutex) : lock(mutex, std::defer_lock) {
      if (*shared) lock.lock();
    }
    std::unique_lock<std::mutex> lock;
  };

  void* allocateSlot(size_t size) {
    const size_t index = size == 0 ? 0 : (size - 1) / granule;
    Page*& open = open_[index];
    if (!open) {
      const auto slotSize = static_cast<uint32_t>((index + 1) * granule);
      link(open,
           newPage(pageSize, slotSize, static_cast<uint32_t>((pageSize - headerSize) / slotSize)));
    }
    Page* page = open;
    void* slot;
    if (page->free) {
      slot = page->free;
      page->free = page->free->next;
    } else {
      slot = page->slot(page->fresh++);
    }
    if (++page->used == page->capacity) unlink(open, page);
    ++usage_.objects;
    usage_.slotBytes += page->slotSize;
    return slot;
  }

  void* allocateLarge(size_t size) {
    if (size > SIZE_MAX - 2 * pageSize) throw std::bad_alloc();
    const size_t bytes = (size + headerSize + pageSize - 1) & ~(pageSize - 1);
    Page* page = newPage(bytes, static_cast<uint32_t>(size), 1);
    page->used = 1;
    ++usage_.objects;
    usage_.slotBytes += page->slotSize;
    return page->slot(0);
  }

  Page* newPage(size_t bytes, uint32_t slotSize, uint32_t capacity) {
    void* memory = bytes == pageSize ? takePage() : mapAligned(bytes, pageSize);
    usage_.pageBytes += bytes;
    return new (memory) Page{nullptr, nullptr, nullptr, 0, 0, capacity, slotSize, bytes};
  }

  void drop(Page* page) noexcept {
    const size_t bytes = page->bytes;
    usage_.pageBytes -= bytes;
    if (bytes == pageSize) {
      givePage(page);
    } else {
      ::munmap(page, bytes);
    }
  }

  // Pages come from chunks as large as a huge page, so that a page costs neither a mapping of its
  // own nor the headers and holes of a general allocator around its alignment.
  void* takePage() {
    const auto hasFree = [](const Chunk& chunk) { return chunk.freePages != 0; };
    auto at = chunks_.end();
    if (!chunks_.empty() && hasFree(chunks_.back())) {
      --at;
    } else {
      at = std::find_if(chunks_.begin(), chunks_.end(), hasFree);
    }
    if (at == chunks_.end()) {
      chunks_.reserve(chunks_.size() + 1);
      chunks_.push_back({static_cast<char*>(mapAligned(chunkSize, chunkSize)), allFree});
      at = chunks_.end() - 1;
      // Looking up one of many entities misses the cache; it need not miss the page table too. Who
      // has few does not pay for a huge page, and who gets none is as well off as before.
      if (chunks_.size() > 1) ::madvise(at->base, chunkSize, MADV_HUGEPAGE);
    }
    const int index = std::countr_zero(at->freePages);
    at->freePages &= ~(uint32_t{1} << index);
    return at->base + static_cast<size_t>(index) * pageSize;
  }

  void givePage(Page* page) noexcept {
    char* address = reinterpret_cast<char*>(page);
    const auto at = std::find_if(chunks_.begin(), chunks_.end(), [&](const Chunk& chunk) {
      return address >= chunk.base && address < chunk.base + chunkSize;
    });
    const auto index = static_cast<size_t>(address - at->base) / pageSize;
    at->freePages |= uint32_t{1} << index;
    if (at->freePages != allFree) return;
    ::munmap(at->base, chunkSize);
    *at = chunks_.back();
    chunks_.pop_back();
  }

  static void* mapAligned(size_t bytes, size_t alignment) {
    const size_t mapped = bytes + alignment;
    void* memory =
        ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::bad_alloc();
    char* start = static_cast<char*>(memory);
    const size_t before = -reinterpret_cast<uintptr_t>(start) & (alignment - 1);
    if (before > 0) ::munmap(start, before);
    const size_t after = alignment - before;
    if (after > 0) ::munmap(start + before + bytes, after);
    return start + before;
  }

  static void link(Page*& open, Page* page) noexcept {
    page->previous = nullptr;
    page->next = open;
    if (open) open->previous = page;
    open = page;
  }

  static void unlink(Page*& open, Page* page) noexcept {
    if (page->previous) {
      page->previous->next = page->next;
    } else {
      open = page->next;
    }
    if (page->next) page->next->previous = page->previous;
    page->next = nullptr;
    page->previous = nullptr;
  }

  struct Chunk {
    char* base;
    uint32_t freePages;  // one bit a page
  };
  static constexpr size_t chunkSize = 32 * pageSize;
  static constexpr uint32_t allFree = 0xffffffff;

  std::mutex mutex_;
  std::vector<Chunk> chunks_;
  std::array<Page*, classes> open_{};  // pages with a free slot, by size class
  Usage usage_;
};

}  // namespace

// Under AddressSanitizer every object is a block of its own, so that a use after free is seen.
void* slabAlloc(size_t size) {
  return MORSA_CHECKED ? ::operator new(size) : Slab::instance().allocate(size);
}

void slabFree(void* object, uint32_t) noexcept {
  if (!object) return;
  if (MORSA_CHECKED) {
    ::operator delete(object);
  } else {
    Slab::instance().free(object);
  }
}

void lockedWhile(const bool& flag) noexcept { shared = &flag; }

Usage usage() noexcept { return Slab::instance().usage(); }

}  // namespace Morsa
