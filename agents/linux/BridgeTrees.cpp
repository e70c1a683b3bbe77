#include "agents/linux/BridgeTrees.h"

#include <linux/if_bridge.h>

#include <algorithm>
#include <iterator>

#include "Tovo/Exceptions.h"
#include "Tovo/System.h"
#include "agents/linux/Conversions.h"

namespace stplinux {

namespace {

using PortStatus = Stp::MstiPortStatus;

Stp::TimesVector timesInForce(const Bridge& bridge) {
  Stp::TimesVector times;
  times.maxAgeIs(timer(bridge.maxAge));
  times.fwdDelayIs(timer(bridge.forwardDelay));
  times.helloTimeIs(timer(bridge.helloTime));
  return times;
}

// As IEEE 802.1Q has it for what comes from outside of any region: the designated bridge is the
// regional root, and no cost is internal.
Stp::PriorityVector vectorOf(const Stp::BridgeId& root, uint32_t cost, const Stp::BridgeId& bridge,
                             uint16_t port) {
  Stp::PriorityVector vector;
  vector.cistRootBridgeIdIs(root);
  vector.extRootPathCostIs(Stp::PathCost(cost));
  vector.regionalRootBridgeIdIs(bridge);
  vector.intRootPathCostIs(Stp::PathCost(0));
  vector.bridgeIdIs(bridge);
  vector.portIdIs(portId(port));
  return vector;
}

// The kernel tells 16 bits of it; on the root port the rest follows from the bridge's own cost.
uint32_t designatedCost(const Bridge& bridge, const Port& port) {
  if (port.number != bridge.rootPort || bridge.rootPathCost < port.cost) return port.designatedCost;
  return bridge.rootPathCost - port.cost;
}

PortStatus::InfoStatus origin(const Bridge& bridge, const Port& port) {
  if (port.state == BR_STATE_DISABLED) return PortStatus::InfoStatus::infoDisabled;
  return port.designatedBridge == bridge.id ? PortStatus::InfoStatus::infoMine
                                            : PortStatus::InfoStatus::infoReceived;
}

// How old the message is that the port holds, by the timer that drops it; 0 where none runs.
Stp::TimesVector ageOf(const Bridge& bridge, const Port& port) {
  Stp::TimesVector times;
  if (port.messageAgeTimer != 0 && port.messageAgeTimer <= bridge.maxAge) {
    times.messageAgeIs(timer(bridge.maxAge - port.messageAgeTimer));
  }
  return times;
}

bool forwards(const Port& port) noexcept { return port.state == BR_STATE_FORWARDING; }

std::optional<Nelka::IntfId> openConfigName(const std::string& name) {
  try {
    return Nelka::IntfId(std::string_view(name));
  } catch (const Tovo::RangeException&) {
    return std::nullopt;
  }
}

}  // namespace

BridgeTrees::BridgeTrees()
    : status_(Stp::statusFactory("status")),
      hw_(Stp::hwFactory("hw")),
      protoStatus_(Stp::protoStatusFactory("protoStatus")),
      interfaces_(Stp::oCInterfaceStateDirFactory("interfaces")),
      instances_(Stp::oCMstiStateDirFactory("instances")),
      tree_(status_->stpiStatusIs(treeName)),
      instance_(tree_->mstiStatusIs(instanceName, Stp::InstanceId(0))),
      hardware_(hw_->mstiHwIs(instanceName)) {
  status_->lastRestartIs(Tovo::System::currentTime());
}

void BridgeTrees::bridgeIs(const BridgeWithPorts& bridge, const Bridge* before) {
  const Bridge& now = bridge.bridge;
  instance_->bridgeIdIs(now.id);
  Stp::OCMstiState state(0);
  state.bridgePriorityIs(Stp::OCBridgePriority(now.id.priority().value()));
  instances_->stateIs(state);
  if (now.owner != Owner::kernel) return;
  status_->versionIs(Stp::Version::stp);
  protoStatus_->runModeIs(Stp::ProtoStatus::RunMode::runModeMstp);
  const Stp::TimesVector times = timesInForce(now);
  tree_->cistRootIs(now.root);
  tree_->cistPathCostIs(Stp::PathCost(now.rootPathCost));
  // Its own times are in force, and can be read, while it is the root itself.
  tree_->bridgeTimesIs(now.isRoot() ? times : Stp::TimesVector());
  instance_->designatedRootIs(now.root);
  instance_->rootPathCostIs(Stp::PathCost(now.rootPathCost));
  instance_->rootTimesIs(times);
  instance_->topologyChangeInProgressIs(now.topologyChange);
  publishRootPort(bridge);
  if (before && now.topologyChange && !before->topologyChange && !isNoted_) {
    // Elsewhere: it is told on the way from the root.
    noteTopologyChange(instance_->rootPort() ? instance_->rootPort()->name() : Pelmo::String());
  }
  if (before && before->topologyChange && !now.topologyChange) isNoted_ = false;
  if (before && !before->sameTree(now)) {
    for (const auto& [index, port] : bridge.ports) publishTree(now, port, entities(port));
  }
}

void BridgeTrees::portIs(const BridgeWithPorts& bridge, const Port& port, const Port* before) {
  PortEntities& of = entities(port);
  const Stp::PortState state = portState(port.state);
  of.inTree->operExtPathCostIs(Stp::PathCost(port.cost));
  of.inTree->tcAckIs(port.topologyChangeAck);
  Stp::PortCounters counters = of.inTree->counters();
  counters.bpduRxIs(static_cast<uint32_t>(port.statistics.bpduRx + port.statistics.tcnRx));
  counters.bpduTxIs(static_cast<uint32_t>(port.statistics.bpduTx + port.statistics.tcnTx));
  if (!(counters == of.inTree->counters())) {
    counters.timestampIs(Tovo::System::currentTime());
    of.inTree->countersIs(counters);
  }
  PortStatus& status = *of.inInstance;
  status.stateIs(state);
  status.learnIs(state != Stp::PortState::discarding);
  status.forwardIs(state == Stp::PortState::forwarding);
  status.portIdIs(portId(port.id));
  status.operIntPathCostIs(Stp::PathCost(port.cost));
  status.transitionsToForwardingCountIs(static_cast<uint32_t>(port.statistics.toForwarding));
  status.guardStatusIs(port.rootBlock ? PortStatus::GuardStatus::rootGuardEnabled
                                      : PortStatus::GuardStatus::guardDisabled);
  of.hardware->portStateIs(state);
  of.hardware->activeIs(port.state != BR_STATE_DISABLED);
  if (of.openConfig) {
    Stp::InterfaceState interface(*of.openConfig);
    interface.bpduGuardIs(port.bpduGuard);
    interfaces_->stateIs(interface);
  }
  publishTree(bridge.bridge, port, of);
  if (!before || before->state != port.state) {
    if (before) count(*before, -1);
    count(port, 1);
    publishCounts();
  }
  if (!before && role(bridge.bridge, port) == PortStatus::Role::root) {
    instance_->rootPortIs(of.inInstance);
  }
  if (before &&
      (forwards(*before) != forwards(port) || before->statistics.tcnRx != port.statistics.tcnRx)) {
    noteTopologyChange(port.name);
  }
}

// What the spanning tree makes of the port.
void BridgeTrees::publishTree(const Bridge& bridge, const Port& port, PortEntities& of) {
  if (bridge.owner != Owner::kernel) return;
  PortStatus& status = *of.inInstance;
  const PortStatus::Role now = role(bridge, port);
  status.roleIs(now);
  status.selectedRoleIs(now);
  status.infoIsIs(origin(bridge, port));
  status.portPriorityIs(vectorOf(port.designatedRoot, designatedCost(bridge, port),
                                 port.designatedBridge, port.designatedPort));
  status.portTimesIs(ageOf(bridge, port));
  status.designatedPriorityIs(vectorOf(bridge.root, bridge.rootPathCost, bridge.id, port.id));
  status.designatedTimesIs(timesInForce(bridge));
}

void BridgeTrees::portDel(const Port& port) {
  const auto at = ports_.find(port.index);
  if (at == ports_.end()) return;
  if (instance_->rootPort() == at->second.inInstance) instance_->rootPortIs(nullptr);
  if (forwards(port)) noteTopologyChange(port.name);
  if (at->second.openConfig) interfaces_->stateDel(*at->second.openConfig);
  ports_.erase(at);
  hardware_->mstiPortHwDel(port.name);
  instance_->mstiPortStatusDel(port.name);
  tree_->stpiPortStatusDel(port.name);
  count(port, -1);
  publishCounts();
}

BridgeTrees::PortEntities& BridgeTrees::entities(const Port& port) {
  const auto [at, isNew] = ports_.try_emplace(port.index);
  if (isNew) {
    // The index tells this life of the interface from another one, also when the agent was
    // restarted between them. When the port was made, the kernel does not know.
    at->second = {tree_->stpiPortStatusIs(port.name, 0),
                  instance_->mstiPortStatusIs(port.name, port.index),
                  hardware_->mstiPortHwIs(port.name), openConfigName(port.name)};
  }
  return at->second;
}

void BridgeTrees::count(const Port& port, int change) {
  if (port.state < std::size(inState_)) inState_[port.state] += change;
}

void BridgeTrees::publishCounts() {
  const auto ports = [this](unsigned state) { return static_cast<uint16_t>(inState_[state]); };
  Stp::MstiCounters counters;
  counters.blockedPortCountIs(ports(BR_STATE_BLOCKING));
  counters.listenPortCountIs(ports(BR_STATE_LISTENING));
  counters.learningPortCountIs(ports(BR_STATE_LEARNING));
  counters.forwardingPortCountIs(ports(BR_STATE_FORWARDING));
  instance_->countersIs(counters);
}

void BridgeTrees::publishRootPort(const BridgeWithPorts& bridge) {
  const uint16_t number = bridge.bridge.rootPort;
  const auto at = std::find_if(bridge.ports.begin(), bridge.ports.end(),
                               [&](const auto& port) { return port.second.number == number; });
  instance_->rootPortIs(number == 0 || at == bridge.ports.end() ? Pelmo::Ptr<PortStatus>()
                                                                : entities(at->second).inInstance);
}

void BridgeTrees::noteTopologyChange(const Pelmo::String& port) {
  isNoted_ = true;
  instance_->tcnCountInc(1);
  instance_->lastTopologyChangeIs(Tovo::System::currentTime());
  instance_->lastTopologyChangePortIs(port);
}

}  // namespace stplinux
