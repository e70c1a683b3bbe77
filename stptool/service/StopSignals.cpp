#include "stptool/service/StopSignals.h"

#include <cerrno>
#include <cstring>

#include "stptool/Failure.h"

namespace stptool {

namespace {

volatile std::sig_atomic_t signalCame = 0;

void noteSignal(int) { signalCame = 1; }

}  // namespace

StopSignals::StopSignals() {
  signalCame = 0;
  sigset_t stops;
  sigemptyset(&stops);
  sigaddset(&stops, SIGINT);
  sigaddset(&stops, SIGTERM);
  sigprocmask(SIG_BLOCK, &stops, &previousMask_);
  struct sigaction action {};
  action.sa_handler = &noteSignal;
  sigaction(SIGINT, &action, &previousInt_);
  sigaction(SIGTERM, &action, &previousTerm_);
  std::signal(SIGPIPE, SIG_IGN);
}

StopSignals::~StopSignals() {
  sigaction(SIGINT, &previousInt_, nullptr);
  sigaction(SIGTERM, &previousTerm_, nullptr);
  sigprocmask(SIG_SETMASK, &previousMask_, nullptr);
}

bool StopSignals::came() const noexcept { return signalCame != 0; }

bool StopSignals::poll(std::span<pollfd> fds, int milliseconds) const {
  timespec timeout{};
  timeout.tv_sec = milliseconds / 1000;
  timeout.tv_nsec = (milliseconds % 1000) * 1000000L;
  sigset_t none = previousMask_;
  sigdelset(&none, SIGINT);
  sigdelset(&none, SIGTERM);
  for (pollfd& fd : fds) fd.revents = 0;
  if (ppoll(fds.data(), fds.size(), milliseconds < 0 ? nullptr : &timeout, &none) < 0) {
    for (pollfd& fd : fds) fd.revents = 0;
    if (errno != EINTR && errno != EAGAIN) {
      throw Failure(std::string("cannot wait for the sockets: ") + std::strerror(errno));
    }
  }
  return !came();
}

}  // namespace stptool
