// A module of its own: used in C++ as ours is, and known to every tool that reads reflection.
#include <iostream>

#include "Tovo/Directory.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "own_module/Power.h"

int main() {
  Tovo::Directory directory;
  const Pelmo::Ptr<Power::Supply> supply = Power::supplyFactory("supply");
  directory.mount("/power", supply);
  supply->budgetIs(370);

  const auto port = supply->portIs("Ethernet7");
  port->stateIs(Power::State::denied);
  port->denialsInc(1);
  try {
    port->limitIs(120);
  } catch (const Tovo::RangeException& error) {
    std::cout << error.what() << '\n';
  }
  Tovo::forEachAttribute(port->tovoType(), [&](Tovo::Attribute attribute) {
    if (!attribute.isLogged()) return;
    std::cout << Tovo::pathOf(*port, attribute.name()) << " = "
              << Tovo::attributeText(*port, attribute) << '\n';
  });
}
