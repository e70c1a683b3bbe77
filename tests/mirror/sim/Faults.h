// What an operating system may do to a process that reads, writes and allocates: all of it can be
// asked for here, from a seed.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace Mirror {

/// While it lives, reads and writes of the process go wrong now and then, or one allocation fails.
class Faults {
 public:
  struct Plan {
    uint64_t seed = 1;
    uint32_t readMost = 1 << 20;   ///< bytes that one read returns at most
    uint32_t writeMost = 1 << 20;  ///< bytes that one write takes at most
    uint32_t interrupts = 0;       ///< of 100 calls, so many end with EINTR
    uint32_t busy = 0;             ///< of 100 calls, so many end with EAGAIN
    uint32_t broken = 0;           ///< of 1000 writes, so many end with EPIPE
    /// The allocation that fails, counted from 1; 0: none.
    uint64_t failingAllocation = 0;
  };
  explicit Faults(const Plan& plan);
  ~Faults();
  Faults(const Faults&) = delete;
  Faults& operator=(const Faults&) = delete;

  /// Nothing goes wrong for what the test itself does within the library's calls.
  class Pause {
   public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

   private:
    bool wasPaused_;
  };

  /// Allocations since the plan began.
  static uint64_t allocations() noexcept;
  /// Allocations that were made to fail since the process began.
  static uint64_t failures() noexcept;
};

/// Cuts streams: counts the bytes that the process writes while it lives; behind the last one that
/// it lets through, writes end with EPIPE and reads with the end of the stream.
class Cut {
 public:
  explicit Cut(uint64_t bytes = UINT64_MAX);
  ~Cut();
  Cut(const Cut&) = delete;
  Cut& operator=(const Cut&) = delete;

  /// How many bytes had been written when each message ended.
  static const std::vector<uint64_t>& boundaries() noexcept;
};

}  // namespace Mirror
