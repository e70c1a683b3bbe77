#include "agents/linux/Configuration.h"

#include <fmt/format.h>
#include <linux/if_link.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "agents/linux/BridgeTrees.h"
#include "agents/linux/Conversions.h"
#include "agents/linux/Messages.h"

namespace stplinux {

namespace {

using Input = Stp::Input::Config;
using InputPort = Stp::Input::PortConfig;
using Guard = InputPort::IntfGuardState;
using BpduGuard = InputPort::BpduguardEnabledState;

Pelmo::Ptr<Stp::Input::MstiConfig> instanceOf(const Input& input) {
  const auto tree = input.stpiConfig(treeName);
  return tree ? tree->mstiConfig(instanceName) : nullptr;
}

Request requestFor(const Bridge& bridge, uint16_t attribute, uint32_t value) {
  return setBridge(bridge.index, attribute, value);
}
Request requestFor(const Port& port, uint16_t attribute, uint32_t value) {
  return setPort(port.index, attribute, value);
}

class Filling {
 public:
  explicit Filling(bool& flag) : flag_(flag), before_(std::exchange(flag, true)) {}
  ~Filling() { flag_ = before_; }
  Filling(const Filling&) = delete;
  Filling& operator=(const Filling&) = delete;

 private:
  bool& flag_;
  bool before_;
};

}  // namespace

// --------------------------------------------------------------------------------------- settings

const std::vector<Configuration::BridgeSetting>& Configuration::bridgeSettings() {
  static const std::vector<BridgeSetting> settings = {
      {"bridgePriority", IFLA_BR_PRIORITY,
       [](const Input& input) -> const Tovo::Entity* { return instanceOf(input).get(); },
       [](const Input& input) -> std::optional<uint32_t> {
         const auto instance = instanceOf(input);
         if (!instance) return std::nullopt;
         return instance->bridgePriority().value();
       },
       [](const Bridge& bridge) -> uint32_t { return bridge.priority; },
       [](Input& input, uint32_t value) {
         const auto instance = instanceOf(input);
         if (instance) instance->bridgePriorityIs(bridgePriority(static_cast<uint16_t>(value)));
         return true;
       },
       [](uint32_t asked, const Bridge& bridge, const char*& why) -> std::optional<uint32_t> {
         why = "is no multiple of 4096";
         return kernelBridgePriority(Stp::BridgePriority(static_cast<uint16_t>(asked)),
                                     bridge.priority);
       }},
      {"maxAge", IFLA_BR_MAX_AGE, nullptr,
       [](const Input& input) -> std::optional<uint32_t> { return input.maxAge(); },
       [](const Bridge& bridge) { return bridge.maxAge; },
       [](Input& input, uint32_t value) {
         const auto seconds = secondsWithin(value, Input::maxAgeLow, Input::maxAgeHigh);
         if (seconds) input.maxAgeIs(*seconds);
         return seconds.has_value();
       },
       [](uint32_t asked, const Bridge&, const char*&) -> std::optional<uint32_t> {
         return asked * 100;
       }},
      {"bridgeForwardDelay", IFLA_BR_FORWARD_DELAY, nullptr,
       [](const Input& input) -> std::optional<uint32_t> { return input.bridgeForwardDelay(); },
       [](const Bridge& bridge) { return bridge.forwardDelay; },
       [](Input& input, uint32_t value) {
         const auto seconds =
             secondsWithin(value, Input::minBridgeForwardDelay, Input::maxBridgeForwardDelay);
         if (seconds) input.bridgeForwardDelayIs(*seconds);
         return seconds.has_value();
       },
       [](uint32_t asked, const Bridge&, const char*&) -> std::optional<uint32_t> {
         return asked * 100;
       }},
      {"bridgeHelloTime", IFLA_BR_HELLO_TIME, nullptr,
       [](const Input& input) -> std::optional<uint32_t> { return input.bridgeHelloTime(); },
       [](const Bridge& bridge) { return bridge.helloTime; },
       [](Input& input, uint32_t value) {
         const auto milliseconds =
             millisecondsWithin(value, Input::minBridgeHelloTime, Input::maxBridgeHelloTime);
         if (milliseconds) input.bridgeHelloTimeIs(*milliseconds);
         return milliseconds.has_value();
       },
       [](uint32_t asked, const Bridge&, const char*& why) -> std::optional<uint32_t> {
         why = "is no multiple of 10 ms";
         if (asked % 10 != 0) return std::nullopt;
         return asked / 10;
       }},
  };
  return settings;
}

const std::vector<Configuration::PortSetting>& Configuration::portSettings() {
  static const std::vector<PortSetting> settings = {
      {"portPriority", IFLA_BRPORT_PRIORITY, nullptr,
       [](const InputPort& port) -> std::optional<uint32_t> { return port.portPriority().value(); },
       [](const Port& port) -> uint32_t { return port.priority; },
       [](InputPort& port, uint32_t value) {
         port.portPriorityIs(portPriority(static_cast<uint16_t>(value)));
         return true;
       },
       [](uint32_t asked, const Port&, const char*& why) -> std::optional<uint32_t> {
         why = "is no multiple of 4";
         return kernelPortPriority(Stp::PortPriority(static_cast<uint8_t>(asked)));
       }},
      {"extPathCost", IFLA_BRPORT_COST, nullptr,
       [](const InputPort& port) -> std::optional<uint32_t> { return port.extPathCost().value(); },
       [](const Port& port) { return port.cost; },
       [](InputPort& port, uint32_t value) {
         port.extPathCostIs(Stp::PathCost(value));
         return true;
       },
       [](uint32_t asked, const Port&, const char*& why) -> std::optional<uint32_t> {
         why = "is no cost; the kernel keeps the one that it has";
         if (asked == Stp::PathCost::invalidConfigurablePathCost) return std::nullopt;
         return asked;
       }},
      {"bpduguard", IFLA_BRPORT_GUARD, nullptr,
       [](const InputPort& port) -> std::optional<uint32_t> {
         const auto* bridge = dynamic_cast<const Input*>(port.parent());
         return port.bpduguard() == BpduGuard::bpduguardEnabled ||
                (port.bpduguard() == BpduGuard::bpduguardDefault && bridge &&
                 bridge->portfastBpduguard());
       },
       [](const Port& port) -> uint32_t { return port.bpduGuard; },
       [](InputPort& port, uint32_t value) {
         port.bpduguardIs(value != 0 ? BpduGuard::bpduguardEnabled : BpduGuard::bpduguardDisabled);
         return true;
       },
       [](uint32_t asked, const Port&, const char*&) -> std::optional<uint32_t> { return asked; }},
      {"guard", IFLA_BRPORT_PROTECT, nullptr,
       [](const InputPort& port) -> std::optional<uint32_t> {
         return static_cast<uint32_t>(port.guard());
       },
       [](const Port& port) -> uint32_t { return port.rootBlock; },
       [](InputPort& port, uint32_t value) {
         port.guardIs(value != 0 ? Guard::rootguardEnabled : Guard::guardDisabled);
         return true;
       },
       [](uint32_t asked, const Port&, const char*& why) -> std::optional<uint32_t> {
         why = "is nothing that the kernel has";
         if (asked == static_cast<uint32_t>(Guard::loopguardEnabled)) return std::nullopt;
         return asked == static_cast<uint32_t>(Guard::rootguardEnabled);
       }},
  };
  return settings;
}

// ---------------------------------------------------------------------------- following the kernel

Configuration::Configuration(Send send, Say say)
    : send_(std::move(send)),
      say_(std::move(say)),
      input_(Stp::Input::configFactory("cli")),
      seenOfBridge_(bridgeSettings().size()) {
  input_->stpiConfigIs(treeName)->mstiConfigIs(instanceName, Stp::InstanceId(0));
  for (const BridgeSetting& setting : bridgeSettings()) {
    freshBridge_.push_back(setting.asked(*input_));
  }
  const auto port = Stp::Input::portConfigFactory("");
  for (const PortSetting& setting : portSettings()) freshPort_.push_back(setting.asked(*port));
  observeRecursive(input_->publisher());
}

void Configuration::bridgeIs(const Bridge& bridge) {
  const Filling filling(filling_);
  bridge_ = bridge;
  input_->bridgeAddrIs(bridge.id.address());
  follow(bridgeSettings(), *input_, freshBridge_, bridge_, seenOfBridge_);
}

void Configuration::portIs(const Port& port) {
  const Filling filling(filling_);
  const auto [at, isNew] = ports_.try_emplace(port.name);
  SeenPort& seen = at->second;
  seen.port = port;
  auto entity = input_->portConfig(port.name);
  if (isNew) {
    seen.settings.resize(portSettings().size());
    if (entity) portsWritten_.insert(port.name);
    entity = input_->portConfigIs(port.name);
  }
  // Somebody may have deleted it.
  if (entity) follow(portSettings(), *entity, freshPort_, seen.port, seen.settings);
}

void Configuration::portDel(const Port& port) {
  const Filling filling(filling_);
  if (const auto entity = input_->portConfig(port.name)) {
    for (const PortSetting& setting : portSettings()) agree(setting, *entity);
    input_->portConfigDel(port.name);
  }
  ports_.erase(port.name);
}

template <class Entity, class Picture>
void Configuration::follow(const std::vector<Setting<Entity, Picture>>& settings, Entity& entity,
                           const std::vector<std::optional<uint32_t>>& fresh,
                           const Picture& picture, std::vector<Seen>& seen) {
  for (size_t i = 0; i < settings.size(); ++i) {
    const Setting<Entity, Picture>& setting = settings[i];
    Seen& last = seen[i];
    const auto asked = setting.asked(entity);
    if (!asked) continue;
    const bool isFirst = !last.asked;
    const uint32_t before = std::exchange(last.inKernel, setting.inKernel(picture));
    // What was written meanwhile, or before there was something to write it to, is sent soon.
    if (asked != (isFirst ? fresh[i] : last.asked)) continue;
    const char* why = nullptr;
    const bool agreed = setting.toKernel(*asked, picture, why) == last.inKernel;
    if (agreed) {
      last.follows = true;
      agree(setting, entity);
    } else if (last.follows && (isFirst || before != last.inKernel)) {
      if (setting.fill(entity, last.inKernel)) {
        agree(setting, entity);
      } else {
        differ(
            setting, entity,
            fmt::format("is kept: the kernel has {}.{:02} s, outside of {}", last.inKernel / 100,
                        last.inKernel % 100,
                        Tovo::rangeText(Tovo::attributeByName(entity.tovoType(), setting.name))));
      }
    }
    last.asked = setting.asked(entity);
  }
}

// ------------------------------------------------------------------------------- telling the
// kernel

void Configuration::handleChange(const Pelmo::Change& change) {
  if (filling_) return;
  const Tovo::Entity& entity = Tovo::entityOf(change.source);
  const std::string_view name = Tovo::attributeById(entity.tovoType(), change.attribute).name();
  const auto knows = [&](const auto& settings) {
    return std::any_of(settings.begin(), settings.end(),
                       [&](const auto& setting) { return name == setting.name; });
  };
  if (const auto* port = dynamic_cast<const InputPort*>(&entity)) {
    portsWritten_.emplace(port->name().view());
    if (knows(portSettings())) return;
  } else {
    bridgeWritten_ = true;
    const bool ofAll = name == "portfastBpduguard";
    if (ofAll || name == "portConfig") {
      for (const auto& [each, seen] : ports_) portsWritten_.insert(each);
    }
    if (ofAll || knows(bridgeSettings()) || name == "portConfig" || name == "stpiConfig" ||
        name == "mstiConfig") {
      return;
    }
  }
  const std::string what = std::string(Tovo::typeName(entity.tovoType())) + "." + std::string(name);
  if (unknown_.insert(what).second) {
    say_(Tovo::pathOf(entity, name) +
         " is nothing that the kernel has: it stays as written and changes nothing");
  }
}

void Configuration::apply() {
  if (std::exchange(bridgeWritten_, false)) send(bridgeSettings(), *input_, bridge_, seenOfBridge_);
  for (const std::string& name : std::exchange(portsWritten_, {})) {
    const auto seen = ports_.find(name);
    const auto entity = input_->portConfig(name);
    if (seen == ports_.end() || !entity) continue;
    send(portSettings(), *entity, seen->second.port, seen->second.settings);
  }
}

template <class Entity, class Picture>
void Configuration::send(const std::vector<Setting<Entity, Picture>>& settings,
                         const Entity& entity, const Picture& picture, std::vector<Seen>& seen) {
  for (size_t i = 0; i < settings.size(); ++i) {
    const Setting<Entity, Picture>& setting = settings[i];
    const auto asked = setting.asked(entity);
    if (!asked || asked == seen[i].asked) continue;
    seen[i].asked = asked;
    const char* why = nullptr;
    const auto value = setting.toKernel(*asked, picture, why);
    // The kernel may have accepted what it does not show, as times that are not the root's.
    seen[i].follows = value == seen[i].inKernel;
    if (!value) {
      differ(setting, entity, why);
      continue;
    }
    try {
      send_(picture.index, requestFor(picture, setting.attribute, *value));
      agree(setting, entity);
    } catch (const NetlinkError& error) {
      differ(setting, entity, std::string("is refused by the kernel: ") + error.what());
    }
  }
}

template <class Entity, class Picture>
void Configuration::differ(const Setting<Entity, Picture>& setting, const Entity& entity,
                           const std::string& why) {
  const Tovo::Entity& holder = setting.holder ? *setting.holder(entity) : entity;
  const Tovo::Attribute attribute = Tovo::attributeByName(holder.tovoType(), setting.name);
  const std::string place = Tovo::pathOf(holder, setting.name);
  const std::string line = Tovo::attributeText(holder, attribute) + " " + why;
  differences_.insert_or_assign(place, line);
  ++differencesSeen_;
  say_(place + ": " + line);
}

template <class Entity, class Picture>
void Configuration::agree(const Setting<Entity, Picture>& setting, const Entity& entity) {
  if (differences_.empty()) return;
  const Tovo::Entity* holder = setting.holder ? setting.holder(entity) : &entity;
  if (holder) differences_.erase(Tovo::pathOf(*holder, setting.name));
}

}  // namespace stplinux
