#include "Faults.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <map>
#include <new>
#include <utility>

#include "Morsa/Slab.h"

namespace Mirror {

namespace {

struct State {
  Faults::Plan plan;
  std::minstd_rand random;
  bool faulty = false;
  bool paused = false;
  bool cutting = false;
  uint64_t lettingThrough = 0;
  uint64_t written = 0;
  std::vector<uint64_t> boundaries;
  // By descriptor: what is left of a message, or of the four bytes that say its length.
  struct Frame {
    uint32_t left = 4;
    uint32_t length = 0;
    bool inside = false;
  };
  std::map<int, Frame> frames;
  uint64_t allocations = 0;
  uint64_t failing = 0;
  uint64_t failures = 0;
};
State state;

bool happens(uint32_t ofAll, uint32_t all) {
  return ofAll != 0 && std::uniform_int_distribution<uint32_t>(0, all - 1)(state.random) < ofAll;
}

void countAllocation() {
  if (state.paused) return;
  ++state.allocations;
  if (state.failing == 0 || state.allocations != state.failing) return;
  ++state.failures;
  throw std::bad_alloc();
}

// An error number, or 0 to go on with fewer bytes.
int trouble(size_t& bytes, uint32_t most, bool writes) {
  if (state.cutting) {
    if (state.lettingThrough == 0) return writes ? EPIPE : ENODATA;
    if (writes) bytes = std::min<size_t>(bytes, state.lettingThrough);
  }
  if (!state.faulty) return 0;
  if (happens(state.plan.interrupts, 100)) return EINTR;
  if (happens(state.plan.busy, 100)) return EAGAIN;
  if (writes && happens(state.plan.broken, 1000)) return EPIPE;
  bytes = std::min<size_t>(bytes, most);
  return 0;
}

ssize_t written(int fd, const uint8_t* from, ssize_t bytes) {
  if (!state.cutting || bytes <= 0) return bytes;
  state.lettingThrough -= static_cast<uint64_t>(bytes);
  State::Frame& frame = state.frames[fd];
  for (ssize_t i = 0; i < bytes; ++i) {
    ++state.written;
    if (!frame.inside) frame.length = frame.length << 8 | from[i];
    if (--frame.left != 0) continue;
    frame.inside = !frame.inside;
    frame.left = frame.inside ? frame.length : 4;
    if (!frame.inside) state.boundaries.push_back(state.written);
  }
  return bytes;
}

ssize_t fail(int error) {
  errno = error;
  return -1;
}

}  // namespace

Faults::Faults(const Plan& plan) {
  state.plan = plan;
  state.random.seed(static_cast<uint32_t>(plan.seed % 2147483646 + 1));
  state.allocations = 0;
  state.failing = plan.failingAllocation;
  state.faulty = true;
}

Faults::~Faults() {
  state.faulty = false;
  state.failing = 0;
}

Faults::Pause::Pause() : wasPaused_(std::exchange(state.paused, true)) {}
Faults::Pause::~Pause() { state.paused = wasPaused_; }

uint64_t Faults::allocations() noexcept { return state.allocations; }

uint64_t Faults::failures() noexcept { return state.failures; }

Cut::Cut(uint64_t bytes) {
  state.lettingThrough = bytes;
  state.written = 0;
  state.boundaries.clear();
  state.frames.clear();
  state.cutting = true;
}
Cut::~Cut() { state.cutting = false; }
const std::vector<uint64_t>& Cut::boundaries() noexcept { return state.boundaries; }

}  // namespace Mirror

// These stand before the C library's for the whole process.
extern "C" {

__attribute__((visibility("default"))) ssize_t read(int fd, void* to, size_t bytes) {
  if (const int error = Mirror::trouble(bytes, Mirror::state.plan.readMost, false)) {
    return error == ENODATA ? 0 : Mirror::fail(error);
  }
  return ::syscall(SYS_read, fd, to, bytes);
}

__attribute__((visibility("default"))) ssize_t send(int fd, const void* from, size_t bytes,
                                                    int flags) {
  if (const int error = Mirror::trouble(bytes, Mirror::state.plan.writeMost, true)) {
    return Mirror::fail(error);
  }
  const ssize_t sent = ::syscall(SYS_sendto, fd, from, bytes, flags, nullptr, 0);
  return Mirror::written(fd, static_cast<const uint8_t*>(from), sent);
}
}

// Entities, flows and what else lives in slabs: any of them may be the one that needs a page.
__attribute__((visibility("default"))) void* Morsa::slabAlloc(size_t size) {
  static const auto allocate =
      reinterpret_cast<void* (*)(size_t)>(::dlsym(RTLD_NEXT, "_ZN5Morsa9slabAllocEm"));
  Mirror::countAllocation();
  return allocate(size);
}

void* operator new(size_t size) {
  Mirror::countAllocation();
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}
// Not inlined: a compiler that sees through only one of a pair takes the two for a mismatch.
__attribute__((noinline)) void operator delete(void* memory) noexcept { std::free(memory); }
__attribute__((noinline)) void operator delete(void* memory, size_t) noexcept { std::free(memory); }
