#include "Relay.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <list>
#include <vector>

#include "Tovo/AttrLog/Link.h"
#include "Unix.h"

using Tovo::NboAttrLog::Connection;
using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkOptions;
using Tovo::NboAttrLog::LinkState;

int relay(const std::string& from, const std::string& to) {
  using Clock = Connection::Clock;
  Tovo::Directory directory;
  LinkOptions options;
  options.longestWait = std::chrono::seconds(1);
  Link link(from, directory, options);
  link.mountAll(true);
  std::list<Connection> guests;
  int listening = -1;
  for (;;) {
    const Clock::time_point now = Clock::now();
    link.handle(now);
    if (listening < 0 && link.state() == LinkState::synced) listening = listenAt(to);
    for (Connection& guest : guests) {
      guest.tick(now);
      guest.handleReadable();
      guest.flush();
    }
    guests.remove_if([](const Connection& guest) { return guest.closed(); });

    const auto [reads, writes] = link.pollFds();
    std::vector<pollfd> fds{reads, writes, {listening, POLLIN, 0}};
    Clock::time_point until =
        std::min(now + std::chrono::seconds(1), link.due().value_or(now + std::chrono::seconds(1)));
    for (const Connection& guest : guests) {
      fds.push_back(
          {guest.readFd(), static_cast<short>(guest.wantsWrite() ? POLLIN | POLLOUT : POLLIN), 0});
      until = std::min(until, guest.due().value_or(until));
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    ::poll(fds.data(), fds.size(), static_cast<int>(std::max<int64_t>(left, 0)));
    if (fds[2].revents == 0) continue;
    const int fd = ::accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (fd < 0) continue;
    guests.emplace_back(fd, directory);
    guests.back().servesIs(true, false);
  }
}
