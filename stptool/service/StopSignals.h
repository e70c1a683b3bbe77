// SIGINT and SIGTERM as an answer of poll().
#pragma once

#include <poll.h>

#include <csignal>
#include <span>

namespace stptool {

/// While one exists, the two signals do not end the process but the next wait. They are blocked
/// outside of it, so that none gets lost between a test and the wait. Also ignores SIGPIPE.
class StopSignals {
 public:
  StopSignals();
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  /// poll(); -1 milliseconds wait forever. False when a signal came; an interrupted wait answers
  /// nothing in `fds`. Throws Failure.
  bool poll(std::span<pollfd> fds, int milliseconds) const;
  bool came() const noexcept;

 private:
  sigset_t previousMask_;
  struct sigaction previousInt_;
  struct sigaction previousTerm_;
};

}  // namespace stptool
