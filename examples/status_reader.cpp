// Mirrors an agent's status and prints what changes, until the agent goes.
//
//   status_reader SOCKET
#include <iostream>
#include <vector>

#include "Mirror/Connection.h"
#include "Stp/StpStatus.h"
#include "Tovo/Assert.h"
#include "Tovo/Directory.h"
#include "UnixSocket.h"

namespace {

// A reader that knows the types: it keeps the ports that changed state and looks at them when a
// turn of the agent is complete: the role that goes with a state may come behind it.
class PortPrinter : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change& change) override {
    constexpr Tovo::AttributeId stateId = 259;
    auto* port = dynamic_cast<Stp::MstiPortStatus*>(&Tovo::entityOf(change.source));
    if (!port || change.attribute != stateId) return;
    changed_.push_back({Pelmo::Ptr<Stp::MstiPortStatus>(port),
                        *static_cast<const Stp::PortState*>(change.previous), port->state()});
  }

  void print() {
    for (const auto& [port, before, after] : changed_) {
      if (!port->parent()) continue;
      std::cout << port->parent()->name() << ' ' << port->name() << ": " << before << " -> "
                << after << " (" << port->role() << ')' << std::endl;
    }
    changed_.clear();
  }

 private:
  struct Changed {
    Pelmo::Ptr<Stp::MstiPortStatus> port;
    Stp::PortState before;
    Stp::PortState after;
  };
  std::vector<Changed> changed_;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: status_reader SOCKET\n";
    return 2;
  }
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  try {
    Tovo::Directory directory;
    Tovo::NboAttrLog::Connection agent(example::connectTo(argv[1]), directory);
    agent.guest().mount("/stp/status", true);
    constexpr int patienceMilliseconds = 5000;
    if (!agent.runUntil([&] { return agent.guest().synced() > 0; }, patienceMilliseconds)) {
      std::cerr << "status_reader: no status from " << argv[1] << ": " << agent.closeReason()
                << '\n';
      return 1;
    }
    std::cout << "mirrored " << agent.log().numbers().count() << " entities" << std::endl;
    PortPrinter printer;
    printer.observeRecursive(directory.mounted("/stp/status")->publisher());
    while (!agent.closed()) {
      const uint64_t seen = agent.incoming().turns();
      agent.runUntil([&] { return agent.incoming().turns() > seen; }, patienceMilliseconds);
      printer.print();
    }
    std::cout << "the agent has gone: " << agent.closeReason() << '\n';
  } catch (const std::exception& error) {
    std::cerr << "status_reader: " << error.what() << '\n';
    return 1;
  }
}
