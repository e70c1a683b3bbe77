#include "agents/linux/Agent.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Tovo/System.h"

namespace stplinux {

namespace {

// A name of an interface may hold what a path may not.
std::string segment(const std::string& name) {
  std::string text;
  for (const char c : name) {
    const auto octet = static_cast<unsigned char>(c);
    if (octet < 0x20 || octet == 0x7f || c == '[' || c == ']' || c == '%') {
      text += fmt::format("%{:02x}", octet);
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace

Agent::Agent(Tovo::Directory& directory, Options options)
    : directory_(directory), options_(std::move(options)), kernel_(options_.kernel, *this) {
  directory_.rootsAreFixedIs(true);
}

Agent::~Agent() {
  for (const auto& [index, published] : published_) {
    for (const std::string& path : published->paths) directory_.unmount(path);
  }
}

std::optional<Agent::Clock::time_point> Agent::due() const noexcept {
  const bool isWritten = std::any_of(published_.begin(), published_.end(), [](const auto& one) {
    return one.second->configuration.isWritten();
  });
  // While the kernel cannot be read, what was written waits for the next try.
  return isWritten && failure_.empty() ? Clock::time_point::min() : kernel_.due();
}

void Agent::handle(Clock::time_point now) {
  const uint64_t sweeps = kernel_.figures().sweeps;
  try {
    // First the kernel: what is gone there cannot be configured.
    kernel_.handle(now);
    for (const auto& [index, published] : published_) {
      if (published->configuration.isWritten()) published->configuration.apply();
    }
    failure_.clear();
  } catch (const NetlinkError& error) {
    if (failure_ != error.what()) {
      failure_ = error.what();
      options_.say("the kernel cannot be read, which is tried again: " + failure_);
    }
  }
  const bool isSwept = sweeps != kernel_.figures().sweeps;
  for (const auto& [index, published] : published_) {
    publishDifferences(*published);
    if (isSwept) published->trees.counterUpdateTimeIs(Tovo::System::currentTime());
  }
}

// ------------------------------------------------------------------------------------- the picture

void Agent::handleBridge(const BridgeWithPorts& bridge, const Bridge* before) {
  const Bridge& now = bridge.bridge;
  if (!kernel_.readsPorts(now)) return;
  if (!before) publish(now);
  Published& published = *published_.at(now.index);
  published.trees.bridgeIs(bridge, before);
  published.configuration.bridgeIs(now);
}

void Agent::handleBridgeGone(const Bridge& bridge) {
  const auto at = published_.find(bridge.index);
  if (at == published_.end()) return;
  for (const std::string& path : at->second->paths) directory_.unmount(path);
  published_.erase(at);
}

void Agent::handlePort(const BridgeWithPorts& bridge, const Port& port, const Port* before) {
  Published& published = *published_.at(bridge.bridge.index);
  published.trees.portIs(bridge, port, before);
  published.configuration.portIs(port);
}

void Agent::handlePortGone(const BridgeWithPorts& bridge, const Port& port) {
  Published& published = *published_.at(bridge.bridge.index);
  published.trees.portDel(port);
  published.configuration.portDel(port);
}

void Agent::publish(const Bridge& bridge) {
  auto published = std::make_unique<Published>(
      [this](uint32_t index, const Request& request) { kernel_.change(index, request); },
      options_.say);
  const std::string above =
      options_.kernel.bridges.size() == 1 ? "/stp" : "/stp/" + segment(bridge.name);
  const auto mount = [&](const char* path, Tovo::Entity& root, const std::string& why) {
    directory_.mount(above + path, Pelmo::Ptr<Tovo::Entity>(&root), why);
    published->paths.push_back(above + path);
  };
  const std::string isState = "it is what the kernel does";
  mount("/status", published->trees.status(), isState);
  mount("/hw", published->trees.hw(), isState);
  mount("/protoStatus", published->trees.protoStatus(), isState);
  mount("/openconfig/interfaces", published->trees.openConfigInterfaces(), isState);
  mount("/openconfig/instances", published->trees.openConfigInstances(), isState);
  mount("/input/cli", published->configuration.input(), whyReadOnly(bridge));
  published_.insert_or_assign(bridge.index, std::move(published));
}

std::string Agent::whyReadOnly(const Bridge& bridge) const {
  if (bridge.owner == Owner::userSpace) {
    return "a program in user space runs the spanning tree of " + bridge.name;
  }
  return options_.whyReadOnly;
}

// In the status, where a reader of the tree sees it.
void Agent::publishDifferences(Published& published) const {
  const auto& differences = published.configuration.differences();
  Stp::Status& status = published.trees.status();
  std::string text;
  if (!differences.empty()) {
    const auto& [place, line] = *differences.begin();
    text = "kernel: " + place + ": " + line;
    if (differences.size() > 1) text += fmt::format(" (and {} more)", differences.size() - 1);
  }
  status.overriddenByIs(text);
  status.overrideCountIs(published.configuration.differencesSeen());
  published.trees.protoStatus().overrideCountIs(published.configuration.differencesSeen());
}

std::vector<std::string> Agent::notes() const {
  std::vector<std::string> notes;
  std::set<std::string, std::less<>> missing = options_.kernel.bridges;
  for (const auto& [index, bridge] : kernel_.picture()) {
    const Bridge& now = bridge.bridge;
    missing.erase(now.name);
    if (!kernel_.isSelected(now.name)) continue;
    if (now.owner == Owner::nobody) {
      notes.push_back(now.name + " is left out: it runs no spanning tree");
    }
    if (const auto at = published_.find(index); at != published_.end()) {
      const std::string why = whyReadOnly(now);
      if (!why.empty()) notes.push_back(now.name + " cannot be configured: " + why);
      for (const auto& [place, line] : at->second->configuration.differences()) {
        notes.push_back(place + ": " + line);
      }
    }
  }
  for (const std::string& name : missing) notes.push_back("there is no bridge " + name);
  return notes;
}

}  // namespace stplinux
