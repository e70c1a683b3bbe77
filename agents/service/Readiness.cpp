#include "agents/service/Readiness.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "Mirror/wire/UnixStream.h"
#include "agents/service/InterruptibleIo.h"

namespace service {

namespace {

constexpr int patienceMilliseconds = 1000;

// Returns 0 or the number of the error.
int sendTo(std::string_view socket, std::string_view message) {
  const bool isAbstract = socket.starts_with('@');
  if (!isAbstract && !socket.starts_with('/')) return EAFNOSUPPORT;
  std::optional<sockaddr_un> address = Tovo::NboAttrLog::unixAddress(socket);
  if (!address) return ENAMETOOLONG;
  if (isAbstract) address->sun_path[0] = '\0';
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket.size());
  const int fd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) return errno;
  // A connected socket can be waited for.
  int error = 0;
  if (::connect(fd, reinterpret_cast<const sockaddr*>(&*address), size) != 0) {
    error = errno;
  } else {
    pollfd writable{fd, POLLOUT, 0};
    ::poll(&writable, 1, patienceMilliseconds);
    if (::send(fd, message.data(), message.size(), MSG_NOSIGNAL) < 0) error = errno;
  }
  ::close(fd);
  return error;
}

std::string notify(std::string_view message) {
  const char* const socket = ::getenv("NOTIFY_SOCKET");
  if (!socket || *socket == '\0') return {};
  const int error = sendTo(socket, message);
  if (error == 0) return {};
  return "NOTIFY_SOCKET: '" + std::string(socket) + "' cannot be told: " + std::strerror(error);
}

}  // namespace

Readiness::Readiness(std::optional<int> fd) : fd_(fd) {
  if (!fd_) return;
  const int flags = ::fcntl(*fd_, F_GETFL);
  if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY) {
    throw std::runtime_error("descriptor " + std::to_string(*fd_) + " is not open for writing");
  }
}

Readiness::~Readiness() {
  if (fd_) ::close(*fd_);
}

std::string Readiness::ready() {
  std::string trouble;
  if (const std::optional<int> fd = std::exchange(fd_, std::nullopt)) {
    if (const int error = writeAll(*fd, "ready\n")) {
      trouble = "descriptor " + std::to_string(*fd) + " cannot be told: " + std::strerror(error);
    }
    ::close(*fd);
  }
  const std::string other = notify("READY=1\n");
  return trouble + (trouble.empty() || other.empty() ? "" : "; ") + other;
}

std::string Readiness::stopping() const { return notify("STOPPING=1\n"); }

}  // namespace service
