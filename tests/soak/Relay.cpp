#include "Relay.h"

#include <unistd.h>

#include <vector>

#include "Mirror/Link.h"
#include "agents/service/Server.h"

using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkOptions;
using Tovo::NboAttrLog::LinkState;

namespace {

class Following final : public service::Work {
 public:
  explicit Following(Link& link) : link_(link) {}
  int fd() const noexcept override { return link_.pollFds()[0].fd; }
  std::optional<Clock::time_point> due() const override {
    const bool writes = link_.pollFds()[1].fd >= 0;
    return writes ? Clock::time_point::min() : link_.due();
  }
  void handle(Clock::time_point now) override { link_.handle(now); }

 private:
  Link& link_;
};

}  // namespace

void relay(const std::string& from, const std::string& to) {
  Tovo::Directory directory;
  LinkOptions options;
  options.longestWait = std::chrono::seconds(1);
  Link link(from, directory, options);
  link.mountAll(true);
  while (!link.runUntil([&] { return link.state() == LinkState::synced; }, 1000)) continue;
  const service::StopSignals signals;
  service::Log log(STDERR_FILENO, to);
  std::vector<service::ListeningSocket> sockets;
  sockets.emplace_back(to);
  Following following(link);
  service::Server server(directory, std::move(sockets), {service::WriteAccess(::geteuid()), {}, {}},
                         log);
  server.add(following);
  server.run(signals);
}
