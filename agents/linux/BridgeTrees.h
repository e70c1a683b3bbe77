// What one bridge publishes: its status, its hardware state and its OpenConfig state.
#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "Pelmo/Ptr.h"
#include "Stp/StpHw.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpProtoStatus.h"
#include "Stp/StpStatus.h"
#include "agents/linux/Picture.h"

namespace stplinux {

/// The kernel runs one tree, and one instance in it.
inline constexpr const char* treeName = "Stp";
inline constexpr const char* instanceName = "Mst0";

/// Takes over what the kernel knows; what it does not know stays at its default. Where a program in
/// user space owns the tree, the kernel knows states, identifiers and costs, and nothing of roots,
/// roles and vectors. Setters publish differences only, so everything may be told again.
class BridgeTrees {
 public:
  BridgeTrees();

  Stp::Status& status() noexcept { return *status_; }
  Stp::Hw& hw() noexcept { return *hw_; }
  Stp::ProtoStatus& protoStatus() noexcept { return *protoStatus_; }
  Stp::OCInterfaceStateDir& openConfigInterfaces() noexcept { return *interfaces_; }
  Stp::OCMstiStateDir& openConfigInstances() noexcept { return *instances_; }

  /// `before` is null for the first time; where it is another tree, the ports are told again.
  void bridgeIs(const BridgeWithPorts& bridge, const Bridge* before);
  /// `before` is null for a new port.
  void portIs(const BridgeWithPorts& bridge, const Port& port, const Port* before);
  void portDel(const Port& port);
  /// The ports' counters have been read at this moment.
  void counterUpdateTimeIs(Tovo::Seconds now) { status_->counterUpdateTimeIs(now); }

 private:
  struct PortEntities {
    Pelmo::Ptr<Stp::StpiPortStatus> inTree;
    Pelmo::Ptr<Stp::MstiPortStatus> inInstance;
    Pelmo::Ptr<Stp::MstiPortHw> hardware;
    std::optional<Nelka::IntfId> openConfig;
  };

  PortEntities& entities(const Port& port);
  void publishTree(const Bridge& bridge, const Port& port, PortEntities& of);
  void count(const Port& port, int change);
  void publishCounts();
  void publishRootPort(const BridgeWithPorts& bridge);
  void noteTopologyChange(const Pelmo::String& port);

  Pelmo::Ptr<Stp::Status> status_;
  Pelmo::Ptr<Stp::Hw> hw_;
  Pelmo::Ptr<Stp::ProtoStatus> protoStatus_;
  Pelmo::Ptr<Stp::OCInterfaceStateDir> interfaces_;
  Pelmo::Ptr<Stp::OCMstiStateDir> instances_;
  Pelmo::Ptr<Stp::StpiStatus> tree_;
  Pelmo::Ptr<Stp::MstiStatus> instance_;
  Pelmo::Ptr<Stp::MstiHw> hardware_;
  std::map<uint32_t, PortEntities> ports_;  // by interface index
  int inState_[5] = {};                     // ports, by BR_STATE_...
  bool isNoted_ = false;                    // what raises the flag next was noticed at a port
};

}  // namespace stplinux
