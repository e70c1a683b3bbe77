// A listening and a connecting Unix socket, as short as an example wants them.
#pragma once

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>

namespace example {

inline sockaddr_un socketAddress(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    throw std::runtime_error("the socket path " + path + " is too long");
  }
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return address;
}

[[noreturn]] inline void throwSocketError(const std::string& path, int error) {
  throw std::system_error(error, std::generic_category(), path);
}

inline int connectTo(const std::string& path, int flags = 0) {
  const sockaddr_un address = socketAddress(path);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0);
  if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return fd;
  }
  const int error = errno;
  if (fd >= 0) ::close(fd);
  throwSocketError(path, error);
}

/// A socket for the owner only, and its file, which goes with it. A file that a dead process left
/// is replaced; one that a process serves at, however busy it is, is an error.
class Listener {
 public:
  explicit Listener(const std::string& path) : path_(path) {
    const sockaddr_un address = socketAddress(path);
    // One process at a time looks and replaces.
    const size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int lock = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock >= 0) ::flock(lock, LOCK_EX);
    if (isStale(path)) ::unlink(path.c_str());
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const mode_t before = ::umask(0177);
    const int bound = ::bind(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    ::umask(before);
    const bool listens = bound == 0 && ::listen(fd_, 64) == 0;
    const int error = errno;
    ::lstat(path.c_str(), &file_);
    if (lock >= 0) ::close(lock);
    if (listens) return;
    ::close(fd_);
    throwSocketError(path, error);
  }
  ~Listener() {
    struct stat now {};
    const bool isThere = ::lstat(path_.c_str(), &now) == 0;
    if (isThere && now.st_dev == file_.st_dev && now.st_ino == file_.st_ino) {
      ::unlink(path_.c_str());
    }
    ::close(fd_);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  int fd() const noexcept { return fd_; }

 private:
  static bool isStale(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0 || !S_ISSOCK(status.st_mode)) return false;
    try {
      ::close(connectTo(path, SOCK_NONBLOCK));
    } catch (const std::system_error& failure) {
      return failure.code() == std::errc::connection_refused;
    }
    return false;
  }

  std::string path_;
  struct stat file_ {};
  int fd_ = -1;
};

}  // namespace example
