// Keeps a picture of the machine's bridges that is as the kernel has them.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "agents/linux/Messages.h"
#include "agents/linux/Netlink.h"
#include "agents/linux/Picture.h"

namespace stplinux {

/// Is told of each difference between what the picture was and is. May not call the Kernel.
class PictureObserver {
 public:
  /// `before` is null for a new one. One that was renamed, or whose tree another owner runs, goes
  /// and comes as a new one.
  virtual void handleBridge(const BridgeWithPorts& bridge, const Bridge* before) = 0;
  /// Its ports have gone before it.
  virtual void handleBridgeGone(const Bridge& bridge) = 0;
  /// `before` is null for a new one. One that was renamed, or moved to another bridge, goes and
  /// comes as a new one.
  virtual void handlePort(const BridgeWithPorts& bridge, const Port& port, const Port* before) = 0;
  virtual void handlePortGone(const BridgeWithPorts& bridge, const Port& port) = 0;

 protected:
  ~PictureObserver() = default;
};

/// An announcement is taken for what it is about, never for what it says: the interface is read
/// then, so what is known is always later than what was announced, whatever the order in which
/// messages come. A bridge's root, its port and cost change without an announcement of the bridge,
/// so it is read when one of its ports was announced, and its ports are read when they follow from
/// what has changed there.
///
/// Ports are read of the bridges whose tree somebody runs; of the others only the bridge is known.
class Kernel {
 public:
  using Clock = std::chrono::steady_clock;
  struct Options {
    std::set<std::string, std::less<>> bridges;  ///< names; empty: all
    std::chrono::milliseconds sweep{5000};       ///< 0: never
    size_t waitingBytes = 4 * 1024 * 1024;       ///< of announcements
  };

  /// Follows announcements from now on; the picture stays empty until the first handle(). Throws
  /// NetlinkError.
  Kernel(Options options, PictureObserver& observer);

  /// Readable when something was announced.
  int fd() const noexcept { return events_.fd(); }
  /// When handle() has something to do whether or not something was announced.
  std::optional<Clock::time_point> due() const noexcept;
  /// Brings the picture up to date. Throws NetlinkError when the kernel cannot be read; then all of
  /// it is read again when due.
  void handle(Clock::time_point now);

  /// Sends a change of one attribute and reads the interface again. Throws NetlinkError in the
  /// kernel's words.
  void change(uint32_t index, Request request);

  const Picture& picture() const noexcept { return picture_; }
  bool isSelected(std::string_view name) const noexcept {
    return options_.bridges.empty() || options_.bridges.contains(name);
  }
  bool readsPorts(const Bridge& bridge) const noexcept {
    return bridge.owner != Owner::nobody && isSelected(bridge.name);
  }

  struct Figures {
    uint64_t announcements = 0;
    uint64_t overruns = 0;  ///< announcements that were lost, so that all was read again
    uint64_t sweeps = 0;
  };
  const Figures& figures() const noexcept { return figures_; }

 private:
  void readAll();
  void settle();
  void readInterface(uint32_t index);
  void readPorts(uint32_t bridge);
  void take(Link& link);
  void takeBridge(const Bridge& bridge);
  void takePort(const Port& port);
  void claimName(const std::string& name, uint32_t index);
  void forget(uint32_t index);
  void forgetPort(BridgeWithPorts& bridge, uint32_t index);
  BridgeWithPorts* bridgeOfPort(uint32_t index) noexcept;
  const PortStatistics* knownStatistics(uint32_t port) noexcept;

  Options options_;
  PictureObserver& observer_;
  EventSocket events_;
  RequestSocket requests_;
  Picture picture_;
  std::map<uint32_t, uint32_t> bridgeOf_;                // by port
  std::map<std::string, uint32_t, std::less<>> byName_;  // bridges and ports
  std::set<uint32_t> changed_;                           // interfaces to be read
  std::set<uint32_t> stale_;                             // bridges whose ports are to be read
  std::optional<Clock::time_point> readAllAt_;
  Figures figures_;
};

}  // namespace stplinux
