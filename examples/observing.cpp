// The ways to observe: one entity, a whole tree, and what happens when it goes.
#include <iostream>

#include "Stp/StpHw.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"

namespace {

// Knows the type: reads what it wants, and compares with the value before.
class StatePrinter : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change& change) override {
    constexpr Tovo::AttributeId portState = 258;
    if (change.attribute != portState) return;
    const auto& port = static_cast<Stp::MstiPortHw&>(Tovo::entityOf(change.source));
    std::cout << port.name() << ": " << *static_cast<const Stp::PortState*>(change.previous)
              << " -> " << port.portState() << '\n';
  }
  void handlePublisherGone() override { std::cout << "the port has gone\n"; }
};

// Knows no type: everything it says comes from reflection.
class ChangePrinter : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change& change) override {
    const Tovo::Entity& entity = Tovo::entityOf(change.source);
    const Tovo::Attribute attribute = Tovo::attributeById(entity.tovoType(), change.attribute);
    std::cout << Tovo::pathOf(entity, attribute.name());
    if (!attribute.isCollection()) {
      std::cout << " = " << Tovo::attributeText(entity, attribute) << '\n';
    } else {
      std::cout << (change.previous ? " lost " : " got ")
                << Tovo::plainText(attribute.keyOps(), change.key) << '\n';
    }
  }
};

// Turns a port off that somebody else turned on: an observer may write.
class Veto : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change& change) override {
    auto* port = dynamic_cast<Stp::MstiPortHw*>(&Tovo::entityOf(change.source));
    if (port && port->portState() == Stp::PortState::forwarding) {
      port->portStateIs(Stp::PortState::discarding);
    }
  }
};

}  // namespace

int main() {
  Tovo::Directory directory;
  const Pelmo::Ptr<Stp::Hw> hw = Stp::hwFactory("hw");
  directory.mount("/stp/hw", hw);
  ChangePrinter changes;
  changes.observeRecursive(hw->publisher());

  std::cout << "-- a tree\n";
  auto port = hw->mstiHwIs("Mst1")->mstiPortHwIs("Ethernet1");
  port->activeIs(true);
  port->activeIs(true);  // the same again is no change
  changes.detach();

  std::cout << "-- one entity\n";
  StatePrinter states;
  states.observe(port->publisher());
  port->portStateIs(Stp::PortState::learning);

  std::cout << "-- an observer that writes\n";
  Veto veto;
  veto.observe(port->publisher());
  port->portStateIs(Stp::PortState::forwarding);
  veto.detach();

  std::cout << "-- the end\n";
  hw->mstiHwDel("Mst1");  // the pointer keeps the port alive
  std::cout << "the port is still " << port->portState() << '\n';
  port = nullptr;
}
