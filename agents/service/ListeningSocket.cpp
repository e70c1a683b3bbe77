#include "agents/service/ListeningSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "Mirror/wire/UnixStream.h"

namespace service {

namespace {

std::string errorText(int error) { return std::strerror(error); }

sockaddr_un addressOf(const std::string& path) {
  if (path.empty()) throw std::runtime_error("the path of the socket is empty");
  const std::optional<sockaddr_un> address = Tovo::NboAttrLog::unixAddress(path);
  if (address) return *address;
  throw std::runtime_error(path + ": is too long for a socket: " + std::to_string(path.size()) +
                           " bytes, at most " + std::to_string(sizeof address->sun_path - 1));
}

int newSocket() {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throw std::runtime_error("cannot make a socket: " + errorText(errno));
  return fd;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

// Returns 0 or the error number.
int tryConnect(int fd, const sockaddr_un& address) {
  while (::connect(fd, generic(address), sizeof address) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

// Makes way for a new socket at the path, or says why it cannot.
void clearStale(const std::string& path, const sockaddr_un& address) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return;
    throw std::runtime_error(path + ": " + errorText(errno));
  }
  if (!S_ISSOCK(status.st_mode)) {
    throw std::runtime_error(path + ": is there already and is no socket; it is left as it is");
  }
  const int probe = newSocket();
  // A server whose queue is full answers "try again" at once instead of making this one wait.
  ::fcntl(probe, F_SETFL, ::fcntl(probe, F_GETFL) | O_NONBLOCK);
  const int error = tryConnect(probe, address);
  ::close(probe);
  if (error == 0 || error == EAGAIN) {
    throw std::runtime_error(path + ": is in use: another process serves there");
  }
  if (error != ECONNREFUSED) {
    throw std::runtime_error(path + ": cannot be taken over: " + errorText(error));
  }
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw std::runtime_error(path + ": cannot be replaced: " + errorText(errno));
  }
}

// Lets one process at a time look at what is at a path and replace it. Where the folder may not be
// read or cannot be locked there is no such order, and the last one to bind has the path.
class FolderLock {
 public:
  explicit FolderLock(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    fd_ = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const auto end = std::chrono::steady_clock::now() + patience;
    while (fd_ >= 0 && ::flock(fd_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
      if (std::chrono::steady_clock::now() >= end) {
        ::close(fd_);
        throw std::runtime_error(path + ": cannot serve there: another process holds a lock of " +
                                 folder);
      }
      std::this_thread::sleep_for(nap);
    }
  }
  ~FolderLock() {
    if (fd_ >= 0) ::close(fd_);
  }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  static constexpr std::chrono::seconds patience{2};
  static constexpr std::chrono::milliseconds nap{1};

  int fd_ = -1;
};

std::string pathOf(const sockaddr_un& address, socklen_t size) {
  const auto length = static_cast<size_t>(size) - offsetof(sockaddr_un, sun_path);
  if (length == 0) return {};
  if (address.sun_path[0] == '\0') return "@" + std::string(address.sun_path + 1, length - 1);
  return {address.sun_path, ::strnlen(address.sun_path, length)};
}

int numberOf(int fd, int option) {
  int number = -1;
  socklen_t size = sizeof number;
  return ::getsockopt(fd, SOL_SOCKET, option, &number, &size) == 0 ? number : -1;
}

}  // namespace

ListeningSocket::ListeningSocket(const std::string& path, mode_t mode) : path_(path) {
  const sockaddr_un address = addressOf(path);
  const FolderLock lock(path);
  clearStale(path, address);
  fd_ = newSocket();
  ::fcntl(fd_, F_SETFL, ::fcntl(fd_, F_GETFL) | O_NONBLOCK);
  // The mode is right from the start; nobody slips in before a chmod.
  const mode_t previous = ::umask(~mode & 0777);
  const int bound = ::bind(fd_, generic(address), sizeof address);
  const int error = errno;
  ::umask(previous);
  struct stat status {};
  if (bound != 0 || ::listen(fd_, SOMAXCONN) != 0 || ::lstat(path.c_str(), &status) != 0) {
    const int reason = bound != 0 ? error : errno;
    if (bound == 0) ::unlink(path.c_str());
    ::close(fd_);
    throw std::runtime_error(path + ": cannot serve there: " + errorText(reason));
  }
  made_ = true;
  device_ = status.st_dev;
  inode_ = status.st_ino;
}

ListeningSocket::ListeningSocket(int fd) {
  sockaddr_un address{};
  socklen_t size = sizeof address;
  if (::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0 ||
      address.sun_family != AF_UNIX || numberOf(fd, SO_TYPE) != SOCK_STREAM ||
      numberOf(fd, SO_ACCEPTCONN) != 1) {
    throw std::runtime_error("descriptor " + std::to_string(fd) +
                             " is no Unix stream socket that listens");
  }
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  ::fcntl(fd, F_SETFD, ::fcntl(fd, F_GETFD) | FD_CLOEXEC);
  path_ = pathOf(address, size);
  fd_ = fd;
}

ListeningSocket::ListeningSocket(ListeningSocket&& other) noexcept
    : path_(std::move(other.path_)),
      fd_(std::exchange(other.fd_, -1)),
      made_(std::exchange(other.made_, false)),
      device_(other.device_),
      inode_(other.inode_) {}

ListeningSocket::~ListeningSocket() {
  // Nobody takes the path over while this socket answers.
  struct stat status {};
  if (made_ && ::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ &&
      status.st_ino == inode_) {
    ::unlink(path_.c_str());
  }
  if (fd_ >= 0) ::close(fd_);
}

int ListeningSocket::accept(Waiting& waiting) const {
  const int fd = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  const bool gone = fd < 0 && (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED);
  waiting = fd >= 0 ? Waiting::somebody : gone ? Waiting::nobody : Waiting::unknown;
  return fd;
}

}  // namespace service
