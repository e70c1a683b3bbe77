// The allocator of entities and flows: pages of equal slots, one free list a page.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Morsa {

/// Memory for one object, aligned to 16 bytes. Throws std::bad_alloc; nothing has changed then.
/// Cost: a few instructions; a new page for every 64 KiB of one size class.
void* slabAlloc(size_t size);

/// Gives back what slabAlloc gave. `type` is the index of the object's type and only helps a
/// debugger; the size is known from the page. Null is allowed.
void slabFree(void* object, uint32_t type = 0) noexcept;

/// From now on the allocator takes a lock whenever the flag is set; until this is called it takes
/// none. The flag lives as long as the process and belongs to the caller.
void lockedWhile(const bool& flag) noexcept;

/// What the process holds at the moment.
struct Usage {
  size_t objects = 0;    ///< allocated and not freed
  size_t slotBytes = 0;  ///< the slots that they occupy
  size_t pageBytes = 0;  ///< the pages that are held, free slots included
};
Usage usage() noexcept;

}  // namespace Morsa
