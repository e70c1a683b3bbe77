// Follows the port states of a switch, whatever becomes of the process that has them: it may start
// later, and be started again.
//
//   steady_reader SOCKET      until it is told to end
#include <poll.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <iostream>
#include <optional>

#include "Mirror/Link.h"
#include "Stp/StpStatus.h"
#include "Tovo/Directory.h"
#include "Tovo/Path.h"

namespace {

using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkState;

class Reader : public Tovo::NboAttrLog::LinkObserver, private Pelmo::Observer {
 public:
  void handleLinkState(Link& link) override {
    std::cout << linkStateName(link.state());
    if (link.state() == LinkState::waiting) std::cout << ": " << link.reason();
    std::cout << std::endl;
  }

  // Back again it is the same entity as before, and still observed: what is published from here on
  // is what has changed meanwhile.
  void handleMounted(Link&, const std::string&, Tovo::Entity& status, bool isNew) override {
    if (isNew) observeRecursive(status.publisher());
  }

 private:
  void handleChange(const Pelmo::Change& change) override {
    constexpr Tovo::AttributeId stateId = 259;
    const auto* port = dynamic_cast<Stp::MstiPortStatus*>(&Tovo::entityOf(change.source));
    if (!port || change.attribute != stateId) return;
    std::cout << Tovo::pathOf(*port) << ": " << port->state() << std::endl;
  }
};

// For poll(): never early, so that nothing is asked for in vain.
int millisecondsUntil(std::optional<Link::Clock::time_point> due) {
  if (!due) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due - Link::Clock::now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, 60000));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: steady_reader SOCKET\n";
    return 2;
  }
  Tovo::Directory directory;
  Reader reader;
  Link link(argv[1], directory);
  link.observerIs(&reader);
  link.mount("/stp/status", true);
  while (true) {
    link.handle(Link::Clock::now());
    std::array<pollfd, 2> fds = link.pollFds();
    ::poll(fds.data(), fds.size(), millisecondsUntil(link.due()));
  }
}
