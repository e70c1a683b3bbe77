// Where a configuration front end starts: it owns an input tree, writes what the user typed, turns
// a refused value into a message, and follows what others change.
#include <iostream>
#include <string>

#include "Stp/StpConfig.h"
#include "Tovo/Directory.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"

namespace {

// Prints each change of the tree with its new value.
class Follower : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change& change) override {
    const Tovo::Entity& entity = Tovo::entityOf(change.source);
    const Tovo::Attribute attribute = Tovo::attributeById(entity.tovoType(), change.attribute);
    std::cout << "  " << Tovo::pathOf(entity, attribute.name());
    if (attribute.isCollection()) {
      const std::string key = Tovo::plainText(attribute.keyOps(), change.key);
      std::cout << (change.previous ? ": gone '" : ": new '") << key << "'\n";
    } else {
      std::cout << " = " << Tovo::attributeText(entity, attribute) << '\n';
    }
  }
};

// What a command "spanning-tree max-age SECONDS" would do.
void setMaxAge(Stp::Input::Config& config, uint32_t seconds) {
  try {
    config.maxAgeIs(seconds);
  } catch (const Tovo::RangeException& error) {
    std::cout << "refused: " << error.what() << "\n  max age stays " << config.maxAge() << " s\n";
  }
}

void configureRegion(Stp::Input::Config& config) {
  Stp::MstConfigSpec region;
  region.regionIdIs("campus");
  region.configRevisionIs(3);
  config.mstConfigSpecIs(region);

  const auto instance = config.stpiConfigIs("Mstp");
  const auto mst1 = instance->mstiConfigIs("Mst1", 1);
  mst1->bridgePriorityIs(Stp::BridgePriority::primaryBridgePriority);
  mst1->mstiPortConfigIs("Ethernet49")->intPathCostIs(Stp::PathCost::linkPathCost100Gbps);
}

void configureEdgePort(Stp::Input::Config& config, const std::string& name) {
  const auto port = config.portConfigIs(name);
  port->adminEdgePortIs(true);
  port->bpduguardIs(Stp::PortConfigBase::BpduguardEnabledState::bpduguardEnabled);
}

}  // namespace

int main() {
  Tovo::Directory directory;
  const Pelmo::Ptr<Stp::Input::Config> config = Stp::Input::configFactory("cli");
  directory.mount("/stp/input/cli", config);
  Follower follower;
  follower.observeRecursive(config->publisher());

  std::cout << "timers\n";
  setMaxAge(*config, 30);
  setMaxAge(*config, 41);           // the bridge allows 6 to 40 seconds
  config->bridgeHelloTimeIs(1000);  // milliseconds here, whole seconds on a port

  std::cout << "region and instances\n";
  configureRegion(*config);

  std::cout << "ports\n";
  configureEdgePort(*config, "Ethernet1");
  config->backupIntfConfigIs("Ethernet49", "Ethernet50");
  try {
    config->backupIntfConfigIs("Ethernet49", "Ethernet51");
  } catch (const Tovo::MutatorReinstantiatingException& error) {
    std::cout << "refused: " << error.what() << '\n';
  }

  std::cout << "a port leaves\n";
  config->portConfigDel("Ethernet1");
}
