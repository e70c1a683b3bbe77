#include "FarProcess.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace Bench {

FarProcess::FarProcess(const std::function<void(int fd)>& work) {
  int fds[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) throw std::runtime_error("socketpair");
  std::fflush(nullptr);
  pid_ = ::fork();
  if (pid_ < 0) throw std::runtime_error("fork");
  if (pid_ == 0) {
    ::close(fds[0]);
    try {
      work(fds[1]);
    } catch (const std::exception& error) {
      std::fprintf(stderr, "far process: %s\n", error.what());
    }
    ::_exit(0);
  }
  ::close(fds[1]);
  fd_ = fds[0];
}

FarProcess::~FarProcess() {
  if (fd_ >= 0) ::close(fd_);
  ::waitpid(pid_, nullptr, 0);
}

void writeAll(int fd, const uint8_t* from, size_t bytes) {
  while (bytes > 0) {
    const ssize_t sent = ::send(fd, from, bytes, MSG_NOSIGNAL);
    if (sent <= 0) throw std::runtime_error("write");
    from += sent;
    bytes -= static_cast<size_t>(sent);
  }
}

void awaitByte(int fd) {
  char byte;
  if (::read(fd, &byte, 1) != 1) throw std::runtime_error("read");
}

}  // namespace Bench
