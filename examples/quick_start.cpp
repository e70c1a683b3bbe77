#include <iostream>

#include "Stp/StpHw.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"

struct Printer : Pelmo::Observer {
  void handleChange(const Pelmo::Change& change) override {
    std::cout << Tovo::pathOf(Tovo::entityOf(change.source)) << " changed\n";
  }
};

int main() {
  const Pelmo::Ptr<Stp::Hw> hw = Stp::hwFactory("hw");
  Printer printer;
  printer.observeRecursive(hw->publisher());
  const auto port = hw->mstiHwIs("Mst0")->mstiPortHwIs("Ethernet1");
  port->portStateIs(Stp::PortState::forwarding);
  std::cout << port->name() << " is " << port->portState() << '\n';
  try {
    Stp::PortStateInstance("blocking");
  } catch (const Tovo::RangeException& error) {
    std::cout << error.what() << '\n';
  }
}
