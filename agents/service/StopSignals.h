// The signals that ask a process to end, as an answer of poll().
#pragma once

#include <poll.h>

#include <csignal>
#include <span>

namespace service {

/// While one exists, SIGINT, SIGTERM and SIGHUP do not end the process but the next wait; SIGHUP
/// stays ignored where it was, as nohup has it. They are blocked outside of waits, so that none
/// gets lost between a test and the wait: what may block goes through InterruptibleIo.h. Also
/// ignores SIGPIPE. At most one exists at a time, in the thread that waits; other threads block
/// the signals.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// The one that exists, or null.
  static const StopSignals* current() noexcept;

  /// poll(); -1 milliseconds wait forever. False when a signal came, also when descriptors are
  /// ready; an interrupted wait answers nothing in `fds`. Throws std::system_error.
  bool poll(std::span<pollfd> fds, int milliseconds) const;
  bool came() const noexcept { return count() != 0; }
  /// How many came.
  int count() const noexcept;

  /// While one exists, what the thread calls is interrupted by the signals.
  class Open {
   public:
    explicit Open(const StopSignals& signals) noexcept;
    ~Open();
    Open(const Open&) = delete;
    Open& operator=(const Open&) = delete;

   private:
    sigset_t closed_;
  };

 private:
  sigset_t stops_;
  sigset_t previousMask_;
  sigset_t openMask_;
  struct Action {
    int signal;
    struct sigaction previous;
  };
  Action actions_[4];
};

}  // namespace service
