// stp_bench_switch INSTANCES: a switch with 64 ports in so many instances, in a process that has
// done nothing else. Prints nanoseconds: build, first mirror and tear down for one port in one
// instance, and one change: each goes out for itself, and the last one waits until the other
// process has applied all. (To wait for each would measure how long an idle processor takes to
// wake.)
#include <poll.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

#include "FarProcess.h"
#include "Helper.h"
#include "Mirror/Connection.h"
#include "Switch.h"

namespace {

using Clock = std::chrono::steady_clock;
using Tovo::NboAttrLog::Connection;

constexpr size_t changeCount = 2000;
constexpr int patience = 120 * 1000;  // milliseconds

double nanoseconds(Clock::time_point from) {
  return std::chrono::duration<double, std::nano>(Clock::now() - from).count();
}

void await(Connection& connection, uint32_t pong) {
  if (!connection.runUntil([&] { return connection.questions().pongs() == pong; }, patience)) {
    throw std::runtime_error("no answer: " + connection.closeReason());
  }
}

void run(size_t instances) {
  Bench::FarProcess far([](int fd) {
    Bench::awaitByte(fd);
    Tovo::Directory directory;
    Connection connection(fd, directory);
    connection.guest().mount("/status", true);
    connection.runUntil([] { return false; }, patience);
  });
  const double beforeBuild = Bench::processorSeconds();
  Bench::Switch tree(instances);
  const double build = Bench::processorSeconds() - beforeBuild;

  Tovo::Directory directory;
  directory.mount("/status", tree.root());
  auto at = Clock::now();
  const uint8_t start = 0;
  Bench::writeAll(far.fd(), &start, 1);
  auto connection = std::make_unique<Connection>(far.releaseFd(), directory);
  if (!connection->runUntil([&] { return connection->log().numbers().count() == tree.entities(); },
                            patience)) {
    throw std::runtime_error("not mirrored: " + connection->closeReason());
  }
  await(*connection, connection->questions().ping());
  const double mirror = nanoseconds(at);

  std::minstd_rand random(1);
  std::vector<Stp::MstiPortStatus*> changed(changeCount);
  for (auto& port : changed) port = tree.ports()[random() % tree.ports().size()];
  at = Clock::now();
  for (Stp::MstiPortStatus* port : changed) {
    port->fdbFlushIs(port->fdbFlush() + 1);
    while (!connection->flush()) {
      pollfd ready{connection->writeFd(), POLLOUT, 0};
      ::poll(&ready, 1, patience);
    }
  }
  await(*connection, connection->questions().ping());
  const double change = nanoseconds(at);

  const double beforeTearDown = Bench::processorSeconds();
  connection.reset();
  directory.unmount("/status");
  tree.drop();
  const double tearDown = Bench::processorSeconds() - beforeTearDown;

  const auto count = static_cast<double>(tree.ports().size());
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
