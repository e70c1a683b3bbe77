// Changes that belong together: stored one by one, published when all of them are stored.
#pragma once

#include <cstdint>
#include <exception>
#include <memory_resource>
#include <utility>
#include <vector>

#include "Mirror/log/LogTable.h"
#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

/// Goes through the calls of an adapter that was destroyed by what it had called, and ends where
/// the first of them was called from outside. Whoever lets it through touches the adapter no more.
struct AdapterGone {};

/// While a turn is open no observer is called: whoever reads between sees the tree before it, and
/// whoever observes sees it only as it is behind the turn. Then each attribute and each key that is
/// another one than before is published once, in the order of their first changes, with the value
/// from before the turn; an element that stands for another one under its key is published as a
/// removal and an insertion. What an observer changes meanwhile is stored at once and published
/// behind all that, and so is what an observer lets another adapter apply.
///
/// Only one turn of a thread is open at a time. Keys, values and entities of a change live until it
/// is published; so does the turn, whatever happens to the adapter that opened it.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): nobody derives from it
class Turn final : public Pelmo::ChangeCatcher {
 public:
  Turn();
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  /// A turn of anybody is open in this thread.
  static bool anyOpen() noexcept { return Pelmo::Publisher::catcher() != nullptr; }
  /// That turn.
  static Turn& current() noexcept { return static_cast<Turn&>(*Pelmo::Publisher::catcher()); }
  void open() noexcept { Pelmo::Publisher::catcherIs(this); }
  /// Publishes, ends the turn, and throws `failure` or else what the first observer threw.
  void close(std::exception_ptr failure);
  void close() {
    if (held_.empty() && kept_.empty() && !failedEarly_)
      return Pelmo::Publisher::catcherIs(nullptr);
    close(nullptr);
  }

  /// Who applies what a peer has said: one adapter. It has to be forgotten before it ends.
  struct Origin {
    bool isPublished = false;  ///< what is being published now is what its peer has said
  };
  /// While it lives, what the current turn catches comes from the origin. From null: somebody here
  /// changes it.
  class Applying;

  /// The origin ends.
  void forget(const Origin& origin) noexcept;

  /// A change that is stored already, of an entity that is observed.
  void changed(Entity& source, const LogAttribute& attribute, const void* key,
               const void* previous);
  /// Keeps an entity until everything is published: its observers are not to hear of its end
  /// before; where there is no memory to keep it, they are. Throws AdapterGone when they destroy
  /// who applies.
  void keep(Pelmo::Ptr<Entity> entity);

  void handleCaught(const Pelmo::Change& change) override;

 private:
  enum class Told : uint8_t { nothing, change, removalAndInsertion };
  struct Held {
    Pelmo::Ptr<Entity> source;
    const LogAttribute* attribute = nullptr;
    void* key = nullptr;
    void* previous = nullptr;
    Origin* origin = nullptr;  // whose peer said it; null: nobody's
    uint32_t hash = 0;
    Told told = Told::nothing;
  };
  /// An origin in a row of calls; null once it has gone.
  struct Scope {
    Origin* origin;
    Scope* outer;
  };
  class Publishing;

  Origin* applying() const noexcept { return applying_ ? applying_->origin : nullptr; }
  void checkApplying(const Origin* before) const;
  void hold(Entity& source, const LogAttribute& attribute, const void* key, const void* previous,
            uint32_t hash);
  Held* find(const Entity& source, const LogAttribute& attribute, const void* key, uint32_t hash);
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
  Scope* applying_ = nullptr;
  Scope* publishing_ = nullptr;
  bool closing_ = false;  // publishes what is held
};

class Turn::Applying {
 public:
  explicit Applying(Origin* origin) noexcept
      : turn_(current()), scope_{origin, std::exchange(turn_.applying_, &scope_)} {}
  ~Applying() { turn_.applying_ = scope_.outer; }
  Applying(const Applying&) = delete;
  Applying& operator=(const Applying&) = delete;

 private:
  Turn& turn_;
  Scope scope_;
};

}  // namespace Tovo::NboAttrLog
