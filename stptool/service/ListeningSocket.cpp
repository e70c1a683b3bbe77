#include "stptool/service/ListeningSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "stptool/Failure.h"

namespace stptool {

namespace {

std::string errorText(int error) { return std::strerror(error); }

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty()) throw Failure("the path of the socket is empty");
  if (path.size() >= sizeof address.sun_path) {
    throw Failure(path + ": is too long for a socket: " + std::to_string(path.size()) +
                  " bytes, at most " + std::to_string(sizeof address.sun_path - 1));
  }
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

int newSocket() {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throw Failure("cannot make a socket: " + errorText(errno));
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
    throw Failure(path + ": " + errorText(errno));
  }
  if (!S_ISSOCK(status.st_mode)) {
    throw Failure(path + ": is there already and is no socket; it is left as it is");
  }
  const int probe = newSocket();
  // A server whose queue is full answers "try again" at once instead of making this one wait.
  ::fcntl(probe, F_SETFL, ::fcntl(probe, F_GETFL) | O_NONBLOCK);
  const int error = tryConnect(probe, address);
  ::close(probe);
  if (error == 0 || error == EAGAIN) {
    throw Failure(path + ": is in use: another process serves there");
  }
  if (error != ECONNREFUSED) throw Failure(path + ": cannot be taken over: " + errorText(error));
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
    throw Failure(path + ": cannot be replaced: " + errorText(errno));
  }
}

}  // namespace

ListeningSocket::ListeningSocket(const std::string& path, mode_t mode) : path_(path) {
  const sockaddr_un address = addressOf(path);
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
    throw Failure(path + ": cannot serve there: " + errorText(reason));
  }
  device_ = status.st_dev;
  inode_ = status.st_ino;
}

ListeningSocket::~ListeningSocket() {
  ::close(fd_);
  struct stat status {};
  if (::lstat(path_.c_str(), &status) == 0 && status.st_dev == device_ && status.st_ino == inode_) {
    ::unlink(path_.c_str());
  }
}

int ListeningSocket::accept(bool& exhausted) const {
  const int fd = ::accept4(fd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  exhausted = fd < 0 && (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM);
  return fd;
}

}  // namespace stptool
