// Mirrors an agent's status and prints what changes, until the agent goes.
//
//   status_reader SOCKET
#include <iostream>

#include "Stp/StpStatus.h"
#include "Tovo/Assert.h"
#include "Tovo/AttrLog/Connection.h"
#include "Tovo/Directory.h"
#include "UnixSocket.h"

namespace {

// A reader that knows the types: it asks for the port that changed, not for texts.
class PortPrinter : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change& change) override {
    constexpr Tovo::AttributeId stateId = 259;
    const Tovo::Entity& entity = Tovo::entityOf(change.source);
    const auto* port = dynamic_cast<const Stp::MstiPortStatus*>(&entity);
    if (!port || change.attribute != stateId) return;
    std::cout << port->parent()->name() << ' ' << port->name() << ": "
              << *static_cast<const Stp::PortState*>(change.previous) << " -> " << port->state()
              << " (" << port->role() << ')' << std::endl;
  }
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
    agent.mount("/stp/status", true);
    constexpr int patienceMilliseconds = 5000;
    if (!agent.runUntil([&] { return agent.synced() > 0; }, patienceMilliseconds)) {
      std::cerr << "status_reader: no status from " << argv[1] << ": " << agent.closeReason()
                << '\n';
      return 1;
    }
    std::cout << "mirrored " << agent.boundCount() << " entities" << std::endl;
    PortPrinter printer;
    printer.observeRecursive(directory.mounted("/stp/status")->publisher());
    while (!agent.closed()) agent.runUntil([] { return false; }, patienceMilliseconds);
    std::cout << "the agent has gone: " << agent.closeReason() << '\n';
  } catch (const std::exception& error) {
    std::cerr << "status_reader: " << error.what() << '\n';
    return 1;
  }
}
