#include "Mirror/wire/DescriptorStream.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace Tovo::NboAttrLog {

namespace {

void setNonBlocking(int fd) {
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

std::error_code systemError(int error) { return {error, std::generic_category()}; }

Stream::Result failedBy(int error) {
  const bool wouldBlock = error == EAGAIN || (EAGAIN != EWOULDBLOCK && error == EWOULDBLOCK);
  if (wouldBlock) return {Stream::Outcome::notNow, 0, {}};
  return {Stream::Outcome::failed, 0, systemError(error)};
}

}  // namespace

DescriptorStream::DescriptorStream(int readFd, int writeFd) noexcept
    : readFd_(readFd), writeFd_(writeFd) {
  setNonBlocking(readFd_);
  if (writeFd_ != readFd_) setNonBlocking(writeFd_);
}

DescriptorStream::~DescriptorStream() { close(); }

void DescriptorStream::close() noexcept {
  const int read = std::exchange(readFd_, -1);
  const int write = std::exchange(writeFd_, -1);
  if (read >= 0) ::close(read);
  if (write >= 0 && write != read) ::close(write);
}

Stream::Result DescriptorStream::read(std::span<uint8_t> room) {
  ssize_t got;
  do {
    got = ::read(readFd_, room.data(), room.size());
  } while (got < 0 && errno == EINTR);
  if (got < 0) return failedBy(errno);
  if (got == 0) return {Outcome::ended, 0, {}};
  return {Outcome::some, static_cast<size_t>(got), {}};
}

Stream::Result DescriptorStream::write(std::span<const uint8_t> bytes) {
  for (;;) {
    const ssize_t sent = isSocket_ ? ::send(writeFd_, bytes.data(), bytes.size(), MSG_NOSIGNAL)
                                   : ::write(writeFd_, bytes.data(), bytes.size());
    if (sent >= 0) return {Outcome::some, static_cast<size_t>(sent), {}};
    if (errno == EINTR) continue;
    if (errno == ENOTSOCK && std::exchange(isSocket_, false)) continue;
    return failedBy(errno);
  }
}

std::error_code DescriptorStream::wait(bool forWriting, std::chrono::milliseconds atMost) {
  pollfd ready[2] = {{readFd_, POLLIN, 0}, {writeFd_, POLLOUT, 0}};
  const int watched = forWriting ? 2 : 1;
  if (::poll(ready, static_cast<nfds_t>(watched), static_cast<int>(atMost.count())) >= 0 ||
      errno == EINTR) {
    return {};
  }
  return systemError(errno);
}

bool DescriptorStream::isConnected() {
  pollfd ready{writeFd_, POLLOUT, 0};
  if (::poll(&ready, 1, 0) <= 0) return false;
  int error = 0;
  socklen_t size = sizeof error;
  // Pipes have no such error: they are connected from the start.
  if (::getsockopt(writeFd_, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error != 0) {
    throw std::system_error(systemError(error), "cannot connect");
  }
  return true;
}

}  // namespace Tovo::NboAttrLog
