// Configuration trees of a real switch's size, published and input, mirrored to a second process,
// edited at both ends of the tree, and robbed of instances and ports.
#include <sys/wait.h>
#include <unistd.h>

#include "Stp/StpConfig.h"
#include "Support.h"
#include "Tovo/Inspect.h"

namespace Mirror {
namespace {

class ConfigurationTest : public Test {};

constexpr unsigned ports = 64;
constexpr uint16_t instances = 16;

Pelmo::String instanceName(uint16_t number) {
  return Pelmo::String("Mst" + std::to_string(number));
}

// The two trees have the same shape, in classes of their own.
template <class Config>
void build(Config& config) {
  config.bridgeHelloTimeIs(1000);
  const auto tree = config.stpiConfigIs("Mstp");
  for (unsigned port = 1; port <= ports; ++port) {
    config.portConfigIs(portName(port))->portPriorityIs(Stp::PortPriority(64));
    tree->stpiPortConfigIs(portName(port))->extPathCostIs(Stp::PathCost(port));
  }
  for (uint16_t number = 0; number < instances; ++number) {
    const auto instance = tree->mstiConfigIs(instanceName(number), Stp::InstanceId(number));
    for (unsigned port = 1; port <= ports; ++port) instance->mstiPortConfigIs(portName(port));
  }
}

template <class Config>
void edit(Config& config) {
  config.maxHopsIs(7);
  config.disabledVlanIs(100, true);
  config.backupIntfConfigIs("Ethernet1", "Ethernet2");
  config.backupToBackupIntfConfigIs("Ethernet2", config.backupIntfConfig("Ethernet1"));
  const auto tree = config.stpiConfig("Mstp");
  tree->mstiConfig("Mst3")->bridgePriorityIs(Stp::BridgePriority(4096));
  tree->mstiConfig("Mst3")->mstiPortConfig("Ethernet5")->intPathCostIs(Stp::PathCost(17));
  tree->mstiConfigDel("Mst7");
  tree->mstiConfigDel("Mst8");
  tree->mstiConfigIs("Mst8", Stp::InstanceId(80));
  for (unsigned port = 10; port < 20; ++port) {
    config.portConfigDel(portName(port));
    tree->stpiPortConfigDel(portName(port));
    for (auto& instance : tree->mstiConfig()) instance.mstiPortConfigDel(portName(port));
  }
  config.maxAgeIs(39);
}

// The published tree links a port to its records of all instances.
void link(Stp::Config& config) {
  const auto tree = config.stpiConfig("Mstp");
  for (auto& port : tree->stpiPortConfig()) {
    for (auto& instance : tree->mstiConfig()) {
      port.mstiPortConfigIs(instance.instanceId(), instance.mstiPortConfig(port.name()));
    }
  }
}

// The second process: mirrors until the last edit has arrived, then compares with what it makes
// itself.
[[noreturn]] void mirrorAndCompare(int fd) {
  Directory directory;
  Connection guest(fd, directory);
  guest.guest().mount("/config", true);
  guest.guest().mount("/input", true);
  const auto edited = [&] {
    const auto* config = static_cast<Stp::Config*>(directory.mounted("/config"));
    const auto* input = static_cast<Stp::Input::Config*>(directory.mounted("/input"));
    return config && input && config->maxAge() == 39 && input->maxAge() == 39;
  };
  constexpr int patienceMilliseconds = 60000;
  if (!guest.runUntil(edited, patienceMilliseconds)) ::_exit(2);
  const uint32_t ping = guest.questions().ping();
  if (!guest.runUntil([&] { return guest.questions().pongs() == ping; }, patienceMilliseconds))
    ::_exit(3);
  const auto config = Stp::configFactory("config");
  const auto input = Stp::Input::configFactory("input");
  build(*config);
  link(*config);
  edit(*config);
  build(*input);
  edit(*input);
  std::string difference;
  const bool same = Tovo::sameTree(*config, *directory.mounted("/config"), difference) &&
                    Tovo::sameTree(*input, *directory.mounted("/input"), difference);
  if (!same) ::dprintf(2, "the trees differ at %s\n", difference.c_str());
  ::_exit(same ? 0 : 1);
}

TEST_F(ConfigurationTest, BothTreesEndEqualInASecondProcess) {
  const Sockets sockets;
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(sockets.a);
    mirrorAndCompare(sockets.b);
  }
  ::close(sockets.b);
  {
    Directory directory;
    const auto config = Stp::configFactory("config");
    const auto input = Stp::Input::configFactory("input");
    directory.mount("/config", config);
    directory.mount("/input", input);
    build(*config);
    link(*config);
    build(*input);
    Connection host(sockets.a, directory);
    constexpr int patienceMilliseconds = 60000;
    // Edited while the first transfer is still under way.
    host.runUntil([&] { return host.figures().messagesSent > 1000; }, patienceMilliseconds);
    edit(*config);
    edit(*input);
    host.runUntil([] { return false; }, patienceMilliseconds);
    EXPECT_TRUE(host.closed());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace Mirror
