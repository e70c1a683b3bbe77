#include "Switch.h"

namespace Bench {

namespace {

/// What an agent has written on a port that forwards.
void fill(Stp::MstiPortStatus& port, uint16_t number) {
  using Port = Stp::MstiPortStatus;
  const Stp::BridgeId bridge(Stp::BridgePriority(32768), Stp::BridgeSystemId(1),
                             Nelka::EthAddr("02:00:00:00:00:01"));
  const Stp::PortId id(Stp::PortPriority(128), Stp::PortNumber(number));
  Stp::PriorityVector vector;
  vector.cistRootBridgeIdIs(bridge);
  vector.regionalRootBridgeIdIs(bridge);
  vector.bridgeIdIs(bridge);
  vector.portIdIs(id);
  Stp::TimesVector times;
  times.maxAgeIs(Stp::TimerVal(20, 0));
  times.fwdDelayIs(Stp::TimerVal(15, 0));
  times.helloTimeIs(Stp::TimerVal(2, 0));
  times.remainingHopsIs(20);
  port.stateIs(Stp::PortState::forwarding);
  port.portIdIs(id);
  port.operIntPathCostIs(Stp::PathCost(2000));
  port.portPriorityIs(vector);
  port.portTimesIs(times);
  port.designatedPriorityIs(vector);
  port.designatedTimesIs(times);
  port.roleIs(Port::Role::designated);
  port.selectedRoleIs(Port::Role::designated);
  port.infoIsIs(Port::InfoStatus::infoMine);
  port.syncedIs(true);
  port.learnIs(true);
  port.forwardIs(true);
  port.selectedIs(true);
}

}  // namespace

Switch::Switch(size_t instances) {
  std::vector<Pelmo::String> names;
  for (size_t i = 1; i <= portCount; ++i) names.emplace_back("Ethernet" + std::to_string(i));
  const auto tree = root_->stpiStatusIs("Mstp");
  ports_.reserve(portCount * instances);
  for (size_t i = 0; i < instances; ++i) {
    const auto instance =
        tree->mstiStatusIs("Mst" + std::to_string(i), Stp::InstanceId(static_cast<uint16_t>(i)));
    for (size_t at = 0; at < portCount; ++at) {
      ports_.push_back(instance->mstiPortStatusIs(names[at], 1).get());
      fill(*ports_.back(), static_cast<uint16_t>(at + 1));
    }
  }
}

}  // namespace Bench
