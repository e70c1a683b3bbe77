// Changes that belong together: stored one by one, published when all of them are stored.
#pragma once

#include <cstdint>
#include <exception>
#include <memory_resource>
#include <vector>

#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"
#include "Tovo/AttrLog/LogTable.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

/// While a turn is open no observer is called: whoever reads between sees the tree before it, and
/// whoever observes sees it only as it is behind the turn. Then each attribute and each key that is
/// another one than before is published once, in the order of their first changes, with the value
/// from before the turn; an element that stands for another one under its key is published as a
/// removal and an insertion. What an observer changes meanwhile is stored at once and published
/// behind all that.
///
/// Only one turn of a process is open at a time. Keys, values and entities of a change live until
/// it is published.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): nobody derives from it
class Turn final : public Pelmo::ChangeCatcher {
 public:
  Turn() : values_(first_, sizeof first_) {}
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  /// A turn of anybody is open in this process.
  static bool anyOpen() noexcept { return Pelmo::Publisher::catcher() != nullptr; }
  void open() noexcept { Pelmo::Publisher::catcherIs(this); }
  /// Publishes, ends the turn, and throws `failure` or else what the first observer threw.
  void close(std::exception_ptr failure);
  void close() {
    if (held_.empty() && kept_.empty() && !failedEarly_)
      return Pelmo::Publisher::catcherIs(nullptr);
    close(nullptr);
  }

  /// The change that is being published is one of the turn, not one of an observer.
  bool publishesOwn() const noexcept { return publishesOwn_; }

  /// A change that is stored already, of an entity that is observed.
  void changed(Entity& source, const LogAttribute& attribute, const void* key,
               const void* previous);
  /// Keeps an entity until everything is published: its observers are not to hear of its end
  /// before; where there is no memory to keep it, they are.
  void keep(Pelmo::Ptr<Entity> entity) noexcept;

  void handleCaught(const Pelmo::Change& change) override;

 private:
  enum class Told : uint8_t { nothing, change, removalAndInsertion, changeOfObserver };
  struct Held {
    Pelmo::Ptr<Entity> source;
    const LogAttribute* attribute;
    void* key;
    void* previous;
    uint32_t hash;
    Told told;
  };

  void hold(Entity& source, const LogAttribute& attribute, const void* key, const void* previous,
            uint32_t hash);
  bool isHeld(const Entity& source, const LogAttribute& attribute, const void* key, uint32_t hash);
  void index(uint32_t record);
  static Told whatToTell(const Held& held);
  void tellNow(const Pelmo::Change& change);
  void publishHeld(std::exception_ptr& failure);
  void publish(const Held& held, std::exception_ptr& failure);
  void destroyValues(const Held& held) noexcept;

  std::vector<Held> held_;
  std::vector<uint32_t> index_;  // places in held_, counted from 1; empty while there are few
  std::vector<Pelmo::Ptr<Entity>> kept_;
  alignas(16) unsigned char first_[512];
  std::pmr::monotonic_buffer_resource values_;
  std::exception_ptr failedEarly_;
  bool publishing_ = false;
  bool publishesOwn_ = false;
};

}  // namespace Tovo::NboAttrLog
