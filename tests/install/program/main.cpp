// A program of somebody else: uses the model, the runtime and a template of each.
#include <iostream>

#include "Stp/StpStatus.h"
#include "Tovo/Directory.h"
#include "Tovo/Path.h"

int main() {
  Tovo::Directory directory;
  const auto status = Stp::statusFactory("status");
  directory.mount("/here/status", status);
  const auto mst1 = status->stpiStatusIs("Mstp")->mstiStatusIs("Mst1", Stp::InstanceId(1));
  const auto port = mst1->mstiPortStatusIs("Ethernet1", 1);
  port->stateIs(Stp::PortState::forwarding);
  std::cout << Tovo::pathOf(*status) << ": " << port->state() << ", " << Stp::BridgePriority(4096)
            << '\n';
}
