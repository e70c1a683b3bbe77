#include "agents/service/Log.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "Tovo/Printable.h"

namespace service {

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t longestLine = 4096;

// A rate that allows bursts.
class Allowance {
 public:
  Allowance(double most, double perSecond) : most_(most), perSecond_(perSecond), left_(most) {}

  bool take(Clock::time_point now) {
    const double seconds = std::chrono::duration<double>(now - filled_).count();
    left_ = std::min(most_, left_ + seconds * perSecond_);
    filled_ = now;
    if (left_ < 1) return false;
    left_ -= 1;
    return true;
  }
  Clock::time_point next() const {
    const std::chrono::duration<double> wait(std::max(0.0, 1 - left_) / perSecond_);
    return filled_ + std::chrono::ceil<Clock::duration>(wait);
  }

 private:
  double most_;
  double perSecond_;
  double left_;
  Clock::time_point filled_ = Clock::now();
};

void writeWhole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd ready{fd, POLLOUT, 0};
      ::poll(&ready, 1, -1);
    } else if (errno != EINTR) {
      return;
    }
  }
}

}  // namespace

// What the thread outlives the log with, if it must.
struct Log::Shared {
  Shared(int descriptor, std::string called, LogOptions chosen)
      : fd(descriptor),
        name(std::move(called)),
        options(chosen),
        allowance(chosen.burst, chosen.perSecond) {}

  // A line, behind what has to be said of those before it. False when it does not fit.
  bool add(std::string_view line) {
    std::string text;
    if (leftOut != 0) {
      text = name + ": " + std::to_string(leftOut) +
             (leftOut == 1 ? " line was left out here\n" : " lines were left out here\n");
    }
    text += line;
    if (waiting.size() + writing + text.size() > options.bytes) return false;
    waiting += text;
    leftOut = 0;
    return true;
  }

  void leaveOut(Clock::time_point now) {
    ++leftOut;
    lastLeftOut = now;
  }

  // A burst is counted as one when it is over.
  Clock::time_point leftOutDue() const { return std::max(allowance.next(), lastLeftOut + pause); }

  static constexpr std::chrono::seconds pause{1};

  const int fd;
  const std::string name;
  const LogOptions options;
  std::mutex mutex;
  std::condition_variable changed;
  Allowance allowance;
  std::string waiting;
  size_t writing = 0;  // bytes that the thread is at
  uint64_t leftOut = 0;
  Clock::time_point lastLeftOut{};
  bool started = false;
  bool ending = false;
  bool ended = false;
};

std::string lineText(std::string_view name, std::string_view text) {
  const bool isLong = text.size() > longestLine;
  return std::string(name) + ": " + Tovo::printable(text.substr(0, longestLine)) +
         (isLong ? "...\n" : "\n");
}

Log::Log(int fd, std::string name, LogOptions options)
    : shared_(std::make_shared<Shared>(fd, std::move(name), options)) {}

Log::~Log() {
  std::unique_lock lock(shared_->mutex);
  if (!shared_->started) return;
  shared_->ending = true;
  shared_->changed.notify_all();
  shared_->changed.wait_for(lock, shared_->options.farewell, [&] { return shared_->ended; });
}

void Log::line(std::string_view text) {
  const std::string line = lineText(shared_->name, text);
  const std::lock_guard lock(shared_->mutex);
  const auto now = Clock::now();
  if (!shared_->allowance.take(now) || !shared_->add(line)) shared_->leaveOut(now);
  wake();
}

void Log::show(std::string_view text) {
  const std::lock_guard lock(shared_->mutex);
  if (shared_->waiting.size() + shared_->writing > longestLine) return;
  shared_->waiting += text;
  wake();
}

void Log::wake() {
  if (shared_->started) return shared_->changed.notify_all();
  // The signals are for the threads that expect them.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, &before);
  try {
    std::thread(&Log::write, shared_).detach();
    shared_->started = true;
  } catch (const std::system_error&) {
    // No thread is to be had now: the next line asks for one again.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void Log::write(const std::shared_ptr<Shared>& shared) {
  std::unique_lock lock(shared->mutex);
  for (;;) {
    if (!shared->waiting.empty()) {
      const std::string text = std::exchange(shared->waiting, {});
      shared->writing = text.size();
      lock.unlock();
      writeWhole(shared->fd, text);
      lock.lock();
      shared->writing = 0;
      continue;
    }
    const auto now = Clock::now();
    if (shared->leftOut != 0 && (shared->ending || now >= shared->leftOutDue())) {
      shared->allowance.take(now);
      shared->add({});
    } else if (shared->ending) {
      break;
    } else if (shared->leftOut != 0) {
      shared->changed.wait_until(lock, shared->leftOutDue());
    } else {
      shared->changed.wait(lock);
    }
  }
  shared->ended = true;
  shared->changed.notify_all();
}

}  // namespace service
