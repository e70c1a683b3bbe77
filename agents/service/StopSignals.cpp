#include "agents/service/StopSignals.h"

#include <cassert>
#include <cerrno>
#include <system_error>

namespace service {

namespace {

volatile std::sig_atomic_t signalsCame = 0;
const StopSignals* existing = nullptr;

void noteSignal(int) { signalsCame = signalsCame + 1; }

}  // namespace

StopSignals::StopSignals() : actions_{{SIGINT, {}}, {SIGTERM, {}}, {SIGHUP, {}}, {SIGPIPE, {}}} {
  assert(!existing);
  existing = this;
  signalsCame = 0;
  sigemptyset(&stops_);
  for (Action& action : actions_) {
    sigaction(action.signal, nullptr, &action.previous);
    if (action.signal == SIGHUP && action.previous.sa_handler == SIG_IGN) continue;
    if (action.signal != SIGPIPE) sigaddset(&stops_, action.signal);
  }
  sigprocmask(SIG_BLOCK, &stops_, &previousMask_);
  openMask_ = previousMask_;
  for (const Action& action : actions_) {
    struct sigaction mine {};
    mine.sa_handler = action.signal == SIGPIPE ? SIG_IGN : &noteSignal;
    const bool stops = sigismember(&stops_, action.signal) != 0;
    if (stops) sigdelset(&openMask_, action.signal);
    if (stops || action.signal == SIGPIPE) sigaction(action.signal, &mine, nullptr);
  }
}

StopSignals::~StopSignals() {
  for (const Action& action : actions_) sigaction(action.signal, &action.previous, nullptr);
  sigprocmask(SIG_SETMASK, &previousMask_, nullptr);
  existing = nullptr;
}

const StopSignals* StopSignals::current() noexcept { return existing; }

int StopSignals::count() const noexcept {
  // While descriptors are ready, a wait ends without having let the signals in.
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  for (const Action& action : actions_) {
    if (sigismember(&stops_, action.signal) == 0 || sigismember(&pending, action.signal) == 0) {
      continue;
    }
    const Open open(*this);
    break;
  }
  return signalsCame;
}

bool StopSignals::poll(std::span<pollfd> fds, int milliseconds) const {
  timespec timeout{};
  timeout.tv_sec = milliseconds / 1000;
  timeout.tv_nsec = (milliseconds % 1000) * 1000000L;
  for (pollfd& fd : fds) fd.revents = 0;
  if (ppoll(fds.data(), fds.size(), milliseconds < 0 ? nullptr : &timeout, &openMask_) < 0) {
    for (pollfd& fd : fds) fd.revents = 0;
    if (errno != EINTR && errno != EAGAIN) {
      throw std::system_error(errno, std::generic_category(), "cannot wait for the sockets");
    }
  }
  return !came();
}

StopSignals::Open::Open(const StopSignals& signals) noexcept {
  sigprocmask(SIG_SETMASK, &signals.openMask_, &closed_);
}

StopSignals::Open::~Open() { sigprocmask(SIG_SETMASK, &closed_, nullptr); }

}  // namespace service
