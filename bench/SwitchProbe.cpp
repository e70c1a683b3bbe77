// stp_bench_switch INSTANCES: a switch with 64 ports in so many instances, in a process that has
// done nothing else. Prints nanoseconds: build, first mirror and tear down for one port in one
// instance, and what one change takes until the other process has applied it.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "FarProcess.h"
#include "Helper.h"
#include "Stp/StpStatus.h"
#include "Tovo/AttrLog/Connection.h"

namespace {

using Clock = std::chrono::steady_clock;
using Tovo::NboAttrLog::Connection;

constexpr size_t portCount = 64;
constexpr size_t changeCount = 2000;
constexpr int patience = 120 * 1000;  // milliseconds

double nanoseconds(Clock::time_point from) {
  return std::chrono::duration<double, std::nano>(Clock::now() - from).count();
}

using Ports = std::vector<Pelmo::Ptr<Stp::MstiPortStatus>>;

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

Pelmo::Ptr<Stp::Status> built(size_t instances, Ports& ports) {
  std::vector<Pelmo::String> names;
  for (size_t i = 1; i <= portCount; ++i) names.emplace_back("Ethernet" + std::to_string(i));
  const auto root = Stp::Status::StatusIs("status");
  const auto tree = root->stpiStatusIs("Mstp");
  for (size_t i = 0; i < instances; ++i) {
    const auto instance =
        tree->mstiStatusIs("Mst" + std::to_string(i), Stp::InstanceId(static_cast<uint16_t>(i)));
    for (size_t at = 0; at < portCount; ++at) {
      ports.push_back(instance->mstiPortStatusIs(names[at], 1));
      fill(*ports.back(), static_cast<uint16_t>(at + 1));
    }
  }
  return root;
}

void await(Connection& connection, uint32_t pong) {
  if (!connection.runUntil([&] { return connection.pongs() == pong; }, patience)) {
    throw std::runtime_error("no answer: " + connection.closeReason());
  }
}

void run(size_t instances) {
  Bench::FarProcess far([](int fd) {
    Bench::awaitByte(fd);
    Tovo::Directory directory;
    Connection connection(fd, directory);
    connection.mount("/status", true);
    connection.runUntil([] { return false; }, patience);
  });
  Ports ports;
  ports.reserve(portCount * instances);
  const double beforeBuild = Bench::processorSeconds();
  Tovo::Directory directory;
  directory.mount("/status", built(instances, ports));
  const double build = Bench::processorSeconds() - beforeBuild;

  auto at = Clock::now();
  const uint8_t start = 0;
  Bench::writeAll(far.fd(), &start, 1);
  auto connection = std::make_unique<Connection>(far.releaseFd(), directory);
  // The root, the tree, the instances and the ports.
  const size_t wanted = 2 + instances + ports.size();
  if (!connection->runUntil([&] { return connection->boundCount() == wanted; }, patience)) {
    throw std::runtime_error("not mirrored: " + connection->closeReason());
  }
  await(*connection, connection->ping());
  const double mirror = nanoseconds(at);

  std::minstd_rand random(1);
  std::vector<Stp::MstiPortStatus*> changed(changeCount);
  for (auto& port : changed) port = ports[random() % ports.size()].get();
  at = Clock::now();
  for (Stp::MstiPortStatus* port : changed) {
    port->fdbFlushIs(port->fdbFlush() + 1);
    await(*connection, connection->ping());
  }
  const double change = nanoseconds(at);

  ports.clear();
  const double beforeTearDown = Bench::processorSeconds();
  connection.reset();
  directory.unmount("/status");
  const double tearDown = Bench::processorSeconds() - beforeTearDown;

  const auto count = static_cast<double>(portCount * instances);
  std::printf("%.1f %.1f %.1f %.1f\n", 1e9 * build / count, mirror / count, change / changeCount,
              1e9 * tearDown / count);
}

}  // namespace

int main(int argc, char** argv) {
  const int instances = argc == 2 ? std::atoi(argv[1]) : 0;
  if (instances <= 0) {
    std::fprintf(stderr, "usage: stp_bench_switch INSTANCES\n");
    return 2;
  }
  try {
    run(static_cast<size_t>(instances));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "stp_bench_switch: %s\n", error.what());
    return 1;
  }
  return 0;
}
