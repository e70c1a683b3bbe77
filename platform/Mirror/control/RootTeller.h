// How a peer is told what this process has mounted.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Mirror/control/ControlSender.h"
#include "Tovo/Directory.h"

namespace Tovo::NboAttrLog {

/// Sends whole lists, in parts as large as there is room for, and what changes behind them. Part of
/// a host's side.
class RootTeller {
 public:
  RootTeller(const Directory& directory, ControlSender& control) noexcept
      : directory_(directory), control_(control) {}

  /// The peer asks for a list.
  void listIsDue() noexcept { ++listsDue_; }
  /// The peer wants to go on being told.
  void follow() noexcept;
  /// Nothing is told any more.
  void forget() noexcept;
  bool owes() const noexcept { return listsDue_ > 0 || owesChanges(); }
  /// Tells as much as there is room for; `serves`: or that there is nothing.
  void tell(bool serves);

 private:
  bool owesChanges() const noexcept { return follows_ && told_ != directory_.changes(); }
  void tellChanges(bool serves);
  bool tellChange(const std::string& path);
  void tellList(bool serves);
  bool sendPart(Directory::Mounts::const_iterator from, Directory::Mounts::const_iterator to);

  const Directory& directory_;
  ControlSender& control_;
  uint32_t listsDue_ = 0;
  std::optional<std::string> listedTo_;  // the last path of a list that is being sent
  uint64_t listedSince_ = 0;             // changes() of the directory when it began
  uint64_t told_ = 0;                    // the directory as the peer knows it
  bool follows_ = false;
};

}  // namespace Tovo::NboAttrLog
