// A switch's status as an agent has it.
#pragma once

#include <string>
#include <vector>

#include "Stp/StpStatus.h"

namespace Bench {

/// 64 ports in each of many instances, filled as those of a switch that forwards.
class Switch {
 public:
  static constexpr size_t portCount = 64;

  explicit Switch(size_t instances);

  const Pelmo::Ptr<Stp::Status>& root() const noexcept { return root_; }
  const std::vector<Stp::MstiPortStatus*>& ports() const noexcept { return ports_; }
  /// The root, the tree, the instances and the ports.
  size_t entities() const noexcept { return 2 + ports_.size() / portCount + ports_.size(); }
  /// The last owner gone, so is the tree.
  void drop() { root_ = nullptr; }

 private:
  Pelmo::Ptr<Stp::Status> root_ = Stp::Status::StatusIs("status");
  std::vector<Stp::MstiPortStatus*> ports_;
};

}  // namespace Bench
