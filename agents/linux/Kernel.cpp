#include "agents/linux/Kernel.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

namespace stplinux {

namespace {

// A tree that never rests is left for the loop's next turn.
constexpr int mostRounds = 4;
constexpr auto pauseAfterFailure = std::chrono::seconds(1);

}  // namespace

Kernel::Kernel(Options options, PictureObserver& observer)
    : options_(std::move(options)),
      observer_(observer),
      events_(options_.waitingBytes),
      readAllAt_(Clock::time_point::min()) {}

std::optional<Kernel::Clock::time_point> Kernel::due() const noexcept {
  if (!changed_.empty() || !stale_.empty()) return Clock::time_point::min();
  return readAllAt_;
}

void Kernel::handle(Clock::time_point now) {
  try {
    const bool nothingLost = events_.drain([&](const nlmsghdr& message) {
      const auto announcement = readAnnouncement(message);
      if (!announcement) return;
      ++figures_.announcements;
      const uint32_t index = announcement->index;
      if (announcement->ofBridge || picture_.contains(index) || bridgeOf_.contains(index)) {
        changed_.insert(index);
      }
    });
    if (!nothingLost) {
      ++figures_.overruns;
      readAllAt_ = now;
    }
    if (readAllAt_ && *readAllAt_ <= now) {
      readAllAt_.reset();
      changed_.clear();
      stale_.clear();
      ++figures_.sweeps;
      readAll();
      if (options_.sweep.count() != 0 && !readAllAt_) readAllAt_ = now + options_.sweep;
    }
    settle();
  } catch (const NetlinkError&) {
    // All of it is read again, and nothing is due before.
    changed_.clear();
    stale_.clear();
    readAllAt_ = now + pauseAfterFailure;
    throw;
  }
}

void Kernel::change(uint32_t index, Request request) {
  requests_.send(request);
  changed_.insert(index);
}

// ---------------------------------------------------------------------------------------- reading

void Kernel::readAll() {
  std::vector<Link> links;
  const auto collect = [&](const nlmsghdr& message) {
    if (auto link = readLink(message)) links.push_back(std::move(*link));
  };
  bool whole = true;
  const auto dump = [&](Request request, const MessageHandler& handle) {
    whole &= requests_.send(request, handle) == RequestSocket::Outcome::complete;
  };
  dump(askBridges(), collect);
  const size_t bridges = links.size();
  std::map<uint32_t, PortStatistics> statistics;
  for (size_t i = 0; i < bridges; ++i) {
    if (links[i].bridge && readsPorts(*links[i].bridge)) dump(askPorts(links[i].index), collect);
  }
  if (links.size() > bridges) {
    dump(askAllStatistics(), [&](const nlmsghdr& message) {
      if (const auto found = readStatistics(message)) {
        statistics.insert_or_assign(found->index, found->statistics);
      }
    });
  }
  // A dump that a change has interrupted may lack what did not change: it is told once more.
  if (!whole) readAllAt_ = Clock::now() + pauseAfterFailure;

  std::set<uint32_t> gone;
  for (const auto& [index, bridge] : picture_) gone.insert(index);
  for (const auto& [index, bridge] : bridgeOf_) gone.insert(index);
  for (const Link& link : links) gone.erase(link.index);
  for (const uint32_t index : gone) {
    // It may be missing from a dump that was interrupted.
    if (whole) {
      forget(index);
    } else {
      changed_.insert(index);
    }
  }
  for (Link& link : links) {
    if (link.port) link.port->statistics = statistics[link.index];
    take(link);
  }
  stale_.clear();  // they have just been read
}

// Until what is known fits together.
void Kernel::settle() {
  for (int round = 0; round < mostRounds && !(changed_.empty() && stale_.empty()); ++round) {
    std::set<uint32_t> bridges;
    for (const uint32_t index : std::exchange(changed_, {})) {
      if (picture_.contains(index)) {
        bridges.insert(index);
        continue;
      }
      readInterface(index);
      if (const BridgeWithPorts* bridge = bridgeOfPort(index)) bridges.insert(bridge->bridge.index);
    }
    for (const uint32_t index : bridges) readInterface(index);
    for (const uint32_t index : std::exchange(stale_, {})) {
      readPorts(index);
      changed_.insert(index);
    }
  }
}

void Kernel::readInterface(uint32_t index) {
  std::optional<Link> link;
  try {
    Request request = askLink(index);
    requests_.send(request, [&](const nlmsghdr& message) { link = readLink(message); });
    if (link && link->port) {
      Request statistics = askStatistics(index);
      requests_.send(statistics, [&](const nlmsghdr& message) {
        if (const auto found = readStatistics(message)) link->port->statistics = found->statistics;
      });
    }
  } catch (const NetlinkError& error) {
    if (error.number() != ENODEV) throw;
    link.reset();
  }
  if (link) {
    take(*link);
  } else {
    forget(index);
  }
}

void Kernel::readPorts(uint32_t bridge) {
  const auto known = picture_.find(bridge);
  if (known == picture_.end() || !readsPorts(known->second.bridge)) return;
  std::vector<Link> links;
  Request request = askPorts(bridge);
  requests_.send(request, [&](const nlmsghdr& message) {
    if (auto link = readLink(message)) links.push_back(std::move(*link));
  });
  for (Link& link : links) {
    if (!link.port) continue;
    if (const PortStatistics* statistics = knownStatistics(link.index)) {
      link.port->statistics = *statistics;
      take(link);
    } else {
      changed_.insert(link.index);  // a new one, which is read with its statistics
    }
  }
}

// ---------------------------------------------------------------------------------- the picture

void Kernel::take(Link& link) {
  if (link.bridge) return takeBridge(*link.bridge);
  if (link.port) return takePort(*link.port);
  forget(link.index);
}

void Kernel::takeBridge(const Bridge& bridge) {
  const auto known = picture_.find(bridge.index);
  if (known != picture_.end()) {
    const Bridge& before = known->second.bridge;
    if (before == bridge) return;
    if (before.name != bridge.name || before.owner != bridge.owner) forget(bridge.index);
  }
  claimName(bridge.name, bridge.index);
  const auto [at, isNew] = picture_.try_emplace(bridge.index);
  const Bridge before = std::exchange(at->second.bridge, bridge);
  if ((isNew || !before.sameTree(bridge)) && readsPorts(bridge)) stale_.insert(bridge.index);
  observer_.handleBridge(at->second, isNew ? nullptr : &before);
}

void Kernel::takePort(const Port& port) {
  BridgeWithPorts* bridge = bridgeOfPort(port.index);
  if (bridge) {
    const Port& before = bridge->ports.at(port.index);
    if (before == port) return;
    if (before.name != port.name || before.bridge != port.bridge) {
      forget(port.index);
      bridge = nullptr;
    }
  }
  if (!bridge) {
    const auto found = picture_.find(port.bridge);
    if (found == picture_.end()) {
      changed_.insert(port.bridge);
      return;
    }
    bridge = &found->second;
    if (!readsPorts(bridge->bridge)) return;
  }
  claimName(port.name, port.index);
  const auto [at, isNew] = bridge->ports.try_emplace(port.index);
  bridgeOf_.insert_or_assign(port.index, port.bridge);
  const Port before = std::exchange(at->second, port);
  observer_.handlePort(*bridge, at->second, isNew ? nullptr : &before);
}

// Names are unique: who had this one when last read has another by now, or is gone.
void Kernel::claimName(const std::string& name, uint32_t index) {
  const auto [at, isNew] = byName_.try_emplace(name, index);
  if (isNew || at->second == index) return;
  const uint32_t other = at->second;
  forget(other);
  changed_.insert(other);
  byName_.insert_or_assign(name, index);
}

void Kernel::forget(uint32_t index) {
  if (BridgeWithPorts* bridge = bridgeOfPort(index)) return forgetPort(*bridge, index);
  const auto at = picture_.find(index);
  if (at == picture_.end()) return;
  BridgeWithPorts& bridge = at->second;
  while (!bridge.ports.empty()) {
    // It may be on its way to another bridge.
    const uint32_t port = bridge.ports.begin()->first;
    changed_.insert(port);
    forgetPort(bridge, port);
  }
  byName_.erase(bridge.bridge.name);
  stale_.erase(index);
  const Bridge gone = std::move(bridge.bridge);
  picture_.erase(at);
  observer_.handleBridgeGone(gone);
}

void Kernel::forgetPort(BridgeWithPorts& bridge, uint32_t index) {
  const auto at = bridge.ports.find(index);
  const Port gone = std::move(at->second);
  bridge.ports.erase(at);
  bridgeOf_.erase(index);
  byName_.erase(gone.name);
  observer_.handlePortGone(bridge, gone);
}

BridgeWithPorts* Kernel::bridgeOfPort(uint32_t index) noexcept {
  const auto at = bridgeOf_.find(index);
  return at == bridgeOf_.end() ? nullptr : &picture_.at(at->second);
}

const PortStatistics* Kernel::knownStatistics(uint32_t port) noexcept {
  const BridgeWithPorts* bridge = bridgeOfPort(port);
  return bridge ? &bridge->ports.at(port).statistics : nullptr;
}

}  // namespace stplinux
