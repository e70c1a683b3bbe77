#include "Unix.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

namespace {

struct Address {
  explicit Address(const std::string& path) {
    generic.un.sun_family = AF_UNIX;
    std::strncpy(generic.un.sun_path, path.c_str(), sizeof generic.un.sun_path - 1);
  }
  union {
    sockaddr any;
    sockaddr_un un;
  } generic{};
};

int newSocket() {
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) throw std::runtime_error("no socket");
  return fd;
}

}  // namespace

int listenAt(const std::string& path) {
  const Address address(path);
  const int fd = newSocket();
  ::unlink(path.c_str());
  if (::bind(fd, &address.generic.any, sizeof address.generic.un) != 0 ||
      ::listen(fd, SOMAXCONN) != 0) {
    throw std::runtime_error("cannot listen at " + path);
  }
  return fd;
}

int connectTo(const std::string& path) {
  const Address address(path);
  const int fd = newSocket();
  if (::connect(fd, &address.generic.any, sizeof address.generic.un) == 0) return fd;
  ::close(fd);
  return -1;
}
