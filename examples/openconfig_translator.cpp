// Both directions of an OpenConfig translator: its configuration becomes an input of the agent,
// the agent's status becomes its state. What is absent in OpenConfig stays at its default here.
#include <iostream>

#include "Stp/StpConfig.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpStatus.h"

namespace {

using Link = Stp::OcStpLinkType;
using Port = Stp::Input::PortConfig;

// ---- configuration: OpenConfig to the input tree

Stp::Version versionOf(Stp::OcStpEnabledProtocol protocol) {
  switch (protocol) {
    case Stp::OcStpEnabledProtocol::RSTP:
      return Stp::Version::rstp;
    case Stp::OcStpEnabledProtocol::MSTP:
      return Stp::Version::mstp;
    case Stp::OcStpEnabledProtocol::RAPID_PVST:
      return Stp::Version::rapidPvstp;
  }
  return Stp::Version::none;  // a number that a later peer may send
}

void configureInterface(Port& port, const Stp::InterfaceConfig& config) {
  using Edge = Stp::OCIntfConfigTypes::OcStpEdgePort;
  if (config.linkType()) {
    port.adminPointToPointMacIs(config.linkType().value() == Link::P2P
                                    ? Port::AdminPointToPointMacType::forceTrue
                                    : Port::AdminPointToPointMacType::forceFalse);
  } else {
    port.adminPointToPointMacIs(port.defaultAdminPointToPoint());
  }
  const Edge edge = config.edgePort() ? config.edgePort().value() : Edge::EDGE_AUTO;
  port.adminEdgePortIs(edge == Edge::EDGE_ENABLE);
  port.autoEdgePortIs(edge == Edge::EDGE_AUTO);
  port.bpduguardIs(!config.bpduGuard()          ? Port::BpduguardEnabledState::bpduguardDefault
                   : config.bpduGuard().value() ? Port::BpduguardEnabledState::bpduguardEnabled
                                                : Port::BpduguardEnabledState::bpduguardDisabled);
}

void configure(Stp::Input::Config& input, const Stp::OCGlobalConfig& global,
               const Stp::OCInterfaceConfigDir& interfaces, const Stp::OCMstiConfigDir& instances) {
  for (const auto protocol : global.config().enabledProtocol())
    input.versionIs(versionOf(protocol));
  for (const Stp::OCInterface& interface : interfaces.interface()) {
    configureInterface(*input.portConfigIs(interface.nameString()), interface.config());
  }
  const auto tree = input.stpiConfigIs("Mstp");
  for (const Stp::OCMsti& instance : instances.mstInstance()) {
    const uint16_t id = instance.mstId();  // the one inside the value may differ
    tree->mstiConfigIs("Mst" + std::to_string(id), id)
        ->bridgePriorityIs(instance.config().bridgePriority().value());
  }
}

// ---- state: the agent's status to OpenConfig

void publishState(Stp::OCInterfaceStateDir& states, const Stp::StpiStatus& tree) {
  using Edge = Stp::OCIntfStateTypes::OcStpEdgePort;
  for (const Stp::StpiPortStatus& port : tree.stpiPortStatus()) {
    Stp::InterfaceState state(Nelka::IntfId(port.name().view()));
    state.linkTypeIs(port.operPointToPointMac() ? Link::P2P : Link::SHARED);
    state.edgePortIs(port.operEdgePort() ? Edge::EDGE_ENABLE : Edge::EDGE_DISABLE);
    states.stateIs(state);  // the same state again publishes nothing
  }
}

}  // namespace

int main() {
  const auto global = Stp::oCGlobalConfigFactory("global");
  const auto interfaces = Stp::oCInterfaceConfigDirFactory("interfaces");
  const auto instances = Stp::oCMstiConfigDirFactory("instances");
  Stp::OCGlobalConfigContainer settings;
  settings.enabledProtocolPush(Stp::OcStpEnabledProtocol::MSTP);
  global->configIs(settings);
  Stp::InterfaceConfig config(Nelka::IntfId("Ethernet1"), Link::P2P,
                              Stp::OCIntfConfigTypes::OcStpEdgePort::EDGE_ENABLE, true);
  interfaces->interfaceIs(config.name())->configIs(config);
  Stp::OCMstiConfig instance;
  instance.bridgePriorityIs(4096);
  instances->mstInstanceIs(1)->configIs(instance);

  const auto input = Stp::Input::configFactory("openconfig");
  configure(*input, *global, *interfaces, *instances);
  const auto port = input->portConfig("Ethernet1");
  std::cout << input->version() << ", Ethernet1: " << port->adminPointToPointMac()
            << (port->adminEdgePort() ? ", edge, " : ", ") << port->bpduguard()
            << ", Mst1: " << input->stpiConfig("Mstp")->mstiConfig("Mst1")->bridgePriority()
            << '\n';

  const auto status = Stp::statusFactory("status");
  const auto tree = status->stpiStatusIs("Mstp");
  tree->stpiPortStatusIs("Ethernet1", 0)->operEdgePortIs(true);
  const auto states = Stp::oCInterfaceStateDirFactory("states");
  publishState(*states, *tree);
  std::cout << states->state(config.name()).value() << '\n';
}
