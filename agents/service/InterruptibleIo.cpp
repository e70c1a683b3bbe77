#include "agents/service/InterruptibleIo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <optional>

#include "agents/service/StopSignals.h"

namespace service {

namespace {

using Clock = std::chrono::steady_clock;
constexpr auto grace = std::chrono::seconds(2);
constexpr int fifoMilliseconds = 20;  // between two looks for the other end

bool isKind(int fd, mode_t kind) {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && (status.st_mode & S_IFMT) == kind;
}

// Until when a wait may last that begins now.
class Patience {
 public:
  explicit Patience(const StopSignals& signals) : signals_(signals), before_(signals.count()) {
    if (before_ != 0) end_ = Clock::now() + grace;
  }

  bool isOver() const { return signals_.count() != before_ || (end_ && Clock::now() >= *end_); }
  int milliseconds(int most = -1) const {
    if (!end_) return most;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*end_ - Clock::now());
    const int rest = std::max(0, static_cast<int>(left.count()));
    return most < 0 ? rest : std::min(rest, most);
  }

 private:
  const StopSignals& signals_;
  int before_;
  std::optional<Clock::time_point> end_;
};

bool awaitReady(const StopSignals& signals, int fd, short events) {
  const Patience patience(signals);
  pollfd ready{fd, events, 0};
  for (;;) {
    signals.poll({&ready, 1}, patience.milliseconds());
    if (ready.revents != 0) return true;
    if (patience.isOver()) return false;
  }
}

// Reads or writes some, at most what is there or fits, by a call that a signal interrupts.
template <class Call>
ssize_t transfer(int fd, short events, const Call& call) {
  const StopSignals* const signals = StopSignals::current();
  const bool waits = signals && !isKind(fd, S_IFREG);
  for (;;) {
    if (waits && !awaitReady(*signals, fd, events)) {
      errno = ECANCELED;
      return -1;
    }
    std::optional<StopSignals::Open> open;
    if (waits) open.emplace(*signals);
    const ssize_t moved = call(waits);
    if (moved >= 0) return moved;
    if (errno == EAGAIN && !waits) {
      pollfd ready{fd, events, 0};
      ::poll(&ready, 1, -1);
    } else if (errno != EINTR && errno != EAGAIN) {
      return moved;
    }
  }
}

}  // namespace

int writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = transfer(fd, POLLOUT, [&](bool inPieces) {
      // A pipe that is ready takes so much at once.
      const size_t most = inPieces ? size_t{PIPE_BUF} : bytes.size();
      return ::write(fd, bytes.data(), std::min(bytes.size(), most));
    });
    if (written < 0) return errno;
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

ssize_t readSome(int fd, void* room, size_t size) {
  return transfer(fd, POLLIN, [&](bool) { return ::read(fd, room, size); });
}

int openFile(const char* path, int flags, mode_t mode) {
  const StopSignals* const signals = StopSignals::current();
  if (!signals) return ::open(path, flags | O_CLOEXEC, mode);
  const Patience patience(*signals);
  for (;;) {
    const int fd = ::open(path, flags | O_CLOEXEC | O_NONBLOCK, mode);
    // Only a FIFO that nobody reads has this error for those who write; those who read wait later.
    if (fd >= 0 || errno != ENXIO) return fd;
    struct stat status {};
    if (::stat(path, &status) != 0 || !S_ISFIFO(status.st_mode)) {
      errno = ENXIO;
      return -1;
    }
    signals->poll({}, patience.milliseconds(fifoMilliseconds));
    if (patience.isOver()) {
      errno = ECANCELED;
      return -1;
    }
  }
}

}  // namespace service
