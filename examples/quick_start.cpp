#include <iostream>

#include "Stp/StpStatus.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"

struct Printer : Pelmo::Observer {
  void handleChange(const Pelmo::Change& change) override {
    std::cout << Tovo::pathOf(Tovo::entityOf(change.source)) << " changed\n";
  }
};

int main() {
  Tovo::Directory directory;
  const Pelmo::Ptr<Stp::Status> status = Stp::statusFactory("status");
  directory.mount("/stp/status", status);
  const auto mst1 = status->stpiStatusIs("Mstp")->mstiStatusIs("Mst1", 1);
  const auto port = mst1->mstiPortStatusIs("Ethernet1", 1);
  Printer printer;
  printer.observeRecursive(status->publisher());

  Stp::PriorityVector vector = port->portPriority();
  vector.regionalRootBridgeIdIs(Stp::BridgeId(4096, 1, Nelka::EthAddr("00:00:5e:00:53:01")));
  port->portPriorityIs(vector);
  port->stateIs(Stp::PortState::forwarding);
  std::cout << port->state() << ", " << port->portPriority().regionalRootBridgeId() << '\n';
  try {
    Stp::BridgePriority(61441);
  } catch (const Tovo::RangeException& error) {
    std::cout << error.what() << '\n';
  }
}
