// Publishes the spanning trees of the machine's bridges and configures them.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Tovo/Directory.h"
#include "agents/linux/BridgeTrees.h"
#include "agents/linux/Configuration.h"
#include "agents/linux/Kernel.h"
#include "agents/service/Work.h"

namespace stplinux {

/// Mounts the roots of each bridge whose spanning tree somebody runs, keeps them as the kernel has
/// it, and passes on what is written into its input:
///
///   /stp/status  /stp/hw  /stp/protoStatus  /stp/openconfig/interfaces  /stp/openconfig/instances
///   /stp/input/cli
///
/// With exactly one name in the options they are these; otherwise, since bridges come and go, each
/// has the name of its bridge behind /stp: /stp/br0/status. All but the input are read-only for
/// peers, which cannot make or remove roots. Ending changes nothing in the kernel.
class Agent final : public service::Work, private PictureObserver {
 public:
  struct Options {
    Kernel::Options kernel;
    /// Why nothing may be configured; empty: it may.
    std::string whyReadOnly;
    /// Takes one line for people; does not throw.
    std::function<void(const std::string& line)> say = [](const std::string&) {};
  };

  /// The directory outlives the agent and is its own. Throws NetlinkError.
  Agent(Tovo::Directory& directory, Options options);
  ~Agent();
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;

  int fd() const noexcept override { return kernel_.fd(); }
  std::optional<Clock::time_point> due() const noexcept override;
  /// Publishes what has changed in the kernel and sends down what was written. Failures of the
  /// kernel are said, and tried again.
  void handle(Clock::time_point now) override;
  /// Bridges that are left out or cannot be configured, and why; what the kernel refuses.
  std::vector<std::string> notes() const override;

  const Kernel::Figures& figures() const noexcept { return kernel_.figures(); }

 private:
  struct Published {
    BridgeTrees trees;
    Configuration configuration;
    std::vector<std::string> paths;

    Published(Configuration::Send send, Configuration::Say say)
        : configuration(std::move(send), std::move(say)) {}
  };

  void handleBridge(const BridgeWithPorts& bridge, const Bridge* before) override;
  void handleBridgeGone(const Bridge& bridge) override;
  void handlePort(const BridgeWithPorts& bridge, const Port& port, const Port* before) override;
  void handlePortGone(const BridgeWithPorts& bridge, const Port& port) override;

  void publish(const Bridge& bridge);
  std::string whyReadOnly(const Bridge& bridge) const;
  void publishDifferences(Published& published) const;

  Tovo::Directory& directory_;
  Options options_;
  Kernel kernel_;
  std::map<uint32_t, std::unique_ptr<Published>> published_;  // by index of the bridge
  std::string failure_;                                       // that was said last
};

}  // namespace stplinux
