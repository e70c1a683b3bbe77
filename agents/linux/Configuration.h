// What is asked of a bridge, and what the kernel makes of it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"
#include "Stp/StpConfig.h"
#include "agents/linux/Netlink.h"
#include "agents/linux/Picture.h"

namespace stplinux {

/// The input tree of one bridge. It is filled from the kernel and follows it, each attribute for
/// itself, as long as it holds what the kernel has: so only what somebody then writes goes down,
/// and what the kernel refuses stays as it was written.
///
/// The element of a port comes and goes with the port. One that somebody made before the port came
/// waits for it: what is not at its default in it goes down then.
class Configuration final : private Pelmo::Observer {
 public:
  /// Sends one change to the kernel. Throws NetlinkError in the kernel's words.
  using Send = std::function<void(uint32_t index, const Request& request)>;
  /// Takes one line for people; does not throw.
  using Say = std::function<void(const std::string& line)>;

  Configuration(Send send, Say say);
  /// What becomes of the input then is nobody's wish.
  ~Configuration() override { detach(); }

  Stp::Input::Config& input() noexcept { return *input_; }

  void bridgeIs(const Bridge& bridge);
  void portIs(const Port& port);
  void portDel(const Port& port);

  /// Sends what was written since the last call, in the order of the settings' tables.
  void apply();
  bool isWritten() const noexcept { return bridgeWritten_ || !portsWritten_.empty(); }

  /// Where the input holds what the kernel does not, and why: one line by each place.
  const std::map<std::string, std::string>& differences() const noexcept { return differences_; }
  /// How often a difference arose.
  uint32_t differencesSeen() const noexcept { return differencesSeen_; }

 private:
  // One attribute of the input, which is one of the kernel's.
  template <class Entity, class Picture>
  struct Setting {
    const char* name;
    uint16_t attribute;  // of the kernel
    // The entity that has it, if it is not the one that is asked.
    const Tovo::Entity* (*holder)(const Entity&);
    // What counts when it changes; none where there is no such element.
    std::optional<uint32_t> (*asked)(const Entity&);
    uint32_t (*inKernel)(const Picture&);
    // Takes the kernel's value over; false where the input cannot express it.
    bool (*fill)(Entity&, uint32_t inKernel);
    // The kernel's value for it; none, and why, where it has none.
    std::optional<uint32_t> (*toKernel)(uint32_t asked, const Picture&, const char*& why);
  };
  using BridgeSetting = Setting<Stp::Input::Config, Bridge>;
  using PortSetting = Setting<Stp::Input::PortConfig, Port>;
  struct Seen {
    std::optional<uint32_t> asked;  // when it was last sent or filled
    uint32_t inKernel = 0;
    bool follows = true;  // the kernel had what the input held
  };
  struct SeenPort {
    Port port;
    std::vector<Seen> settings;
  };
  static const std::vector<BridgeSetting>& bridgeSettings();
  static const std::vector<PortSetting>& portSettings();

  void handleChange(const Pelmo::Change& change) override;
  template <class Entity, class Picture>
  void follow(const std::vector<Setting<Entity, Picture>>& settings, Entity& entity,
              const std::vector<std::optional<uint32_t>>& fresh, const Picture& picture,
              std::vector<Seen>& seen);
  template <class Entity, class Picture>
  void send(const std::vector<Setting<Entity, Picture>>& settings, const Entity& entity,
            const Picture& picture, std::vector<Seen>& seen);
  template <class Entity, class Picture>
  void differ(const Setting<Entity, Picture>& setting, const Entity& entity,
              const std::string& why);
  template <class Entity, class Picture>
  void agree(const Setting<Entity, Picture>& setting, const Entity& entity);

  Send send_;
  Say say_;
  Pelmo::Ptr<Stp::Input::Config> input_;
  // What a new element is asked for.
  std::vector<std::optional<uint32_t>> freshBridge_;
  std::vector<std::optional<uint32_t>> freshPort_;
  Bridge bridge_;
  std::vector<Seen> seenOfBridge_;
  std::map<std::string, SeenPort, std::less<>> ports_;  // by name
  std::map<std::string, std::string> differences_;
  uint32_t differencesSeen_ = 0;
  bool filling_ = false;
  bool bridgeWritten_ = false;
  std::set<std::string, std::less<>> portsWritten_;
  std::set<std::string> unknown_;  // attributes that the kernel does not have, as they were said
};

}  // namespace stplinux
