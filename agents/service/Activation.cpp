#include "agents/service/Activation.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

namespace service {

namespace {

constexpr int firstPassed = 3;
constexpr int mostPassed = 1024;

int numberIn(const char* variable, int most) {
  const std::string_view text = ::getenv(variable);
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0 || number > most) {
    throw std::runtime_error(std::string(variable) + ": '" + std::string(text) +
                             "' is refused; allowed: 0 to " + std::to_string(most));
  }
  return number;
}

}  // namespace

std::vector<PassedSocket> passedSockets() {
  if (!::getenv("LISTEN_PID") || !::getenv("LISTEN_FDS")) return {};
  if (numberIn("LISTEN_PID", INT32_MAX) != ::getpid()) return {};
  const int count = numberIn("LISTEN_FDS", mostPassed);
  const char* const listed = ::getenv("LISTEN_FDNAMES");
  std::string_view names = listed ? listed : "";
  std::vector<PassedSocket> passed;
  for (int fd = firstPassed; fd < firstPassed + count; ++fd) {
    const std::string_view name = names.substr(0, names.find(':'));
    names.remove_prefix(std::min(names.size(), name.size() + 1));
    const int flags = ::fcntl(fd, F_GETFD);
    if (flags < 0) {
      throw std::runtime_error("LISTEN_FDS: descriptor " + std::to_string(fd) + " of " +
                               std::to_string(count) + " passed ones is not open");
    }
    ::fcntl(fd, F_SETFD, flags | FD_CLOEXEC);
    passed.push_back({fd, name.empty() ? "unknown" : std::string(name)});
  }
  return passed;
}

std::vector<ListeningSocket> listeningSockets(const std::string& path, mode_t mode) {
  std::vector<ListeningSocket> sockets;
  for (const PassedSocket& passed : passedSockets()) {
    try {
      sockets.emplace_back(passed.fd);
    } catch (const std::runtime_error& error) {
      throw std::runtime_error("LISTEN_FDS: '" + passed.name + "': " + error.what());
    }
  }
  const bool isPassed = std::any_of(sockets.begin(), sockets.end(),
                                    [&](const auto& socket) { return socket.path() == path; });
  if (!path.empty() && !isPassed) sockets.emplace_back(path, mode);
  return sockets;
}

}  // namespace service
