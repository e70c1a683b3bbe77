// A listening and a connecting Unix socket, as short as an example wants them.
#pragma once

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

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

[[noreturn]] inline void throwSocketError(const std::string& path) {
  throw std::runtime_error(path + ": " + std::strerror(errno));
}

/// For the owner only; the caller closes it and removes the path.
inline int listenAt(const std::string& path) {
  const sockaddr_un address = socketAddress(path);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) throwSocketError(path);
  const mode_t before = ::umask(0177);
  const int bound = ::bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
  ::umask(before);
  if (bound != 0 || ::listen(fd, 8) != 0) throwSocketError(path);
  return fd;
}

inline int connectTo(const std::string& path) {
  const sockaddr_un address = socketAddress(path);
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0 || ::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throwSocketError(path);
  }
  return fd;
}

}  // namespace example
