#include "Mirror/wire/UnixStream.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace Tovo::NboAttrLog {

std::optional<sockaddr_un> unixAddress(std::string_view path) noexcept {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return std::nullopt;
  std::memcpy(address.sun_path, path.data(), path.size());
  return address;
}

int connectUnixStream(const std::string& path) {
  const auto fail = [&](int error, const char* what) {
    throw std::system_error(error, std::generic_category(), path + ": " + what);
  };
  const std::optional<sockaddr_un> address = unixAddress(path);
  if (!address) fail(ENAMETOOLONG, "cannot connect");
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (fd < 0) fail(errno, "cannot make a socket");
  while (::connect(fd, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0) {
    const int error = errno;
    if (error == EINTR) continue;
    ::close(fd);
    fail(error, "cannot connect");
  }
  return fd;
}

}  // namespace Tovo::NboAttrLog
