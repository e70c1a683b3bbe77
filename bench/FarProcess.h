// Another process at the far end of a socket.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

namespace Bench {

/// Runs `work` on the far end until this end is closed. Throws std::runtime_error when there is no
/// socket or no process to be had.
class FarProcess {
 public:
  explicit FarProcess(const std::function<void(int fd)>& work);
  FarProcess(const FarProcess&) = delete;
  FarProcess& operator=(const FarProcess&) = delete;
  ~FarProcess();

  int fd() const noexcept { return fd_; }
  int releaseFd() noexcept { return std::exchange(fd_, -1); }

 private:
  pid_t pid_ = -1;
  int fd_ = -1;
};

/// Throws std::runtime_error when the other end is gone.
void writeAll(int fd, const uint8_t* from, size_t bytes);
void awaitByte(int fd);

}  // namespace Bench
