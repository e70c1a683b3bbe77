// What this end mirrors of its peer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Mirror/control/ControlSender.h"
#include "Mirror/control/GuestObserver.h"
#include "Mirror/control/Mounted.h"
#include "Mirror/control/RemoteRoots.h"
#include "Mirror/control/Requests.h"
#include "Mirror/log/StreamAdapter.h"
#include "Tovo/Directory.h"

namespace Tovo::NboAttrLog {

/// Part of a connection: as a guest it asks its peer, the host, and mounts what comes.
class GuestSide {
 public:
  /// A list of what the peer has takes at most `mostListBytes`.
  GuestSide(Directory& directory, StreamAdapter& log, ControlSender& control, Requests& requests,
            size_t mostListBytes);
  GuestSide(const GuestSide&) = delete;
  GuestSide& operator=(const GuestSide&) = delete;

  /// One, or none by null. Outlives the connection or is taken off before.
  void observerIs(GuestObserver* observer) noexcept { observer_ = observer; }

  /// Mirrors the peer's entity at a path (mounted there, or anything below what is mounted) into
  /// the directory, at the same path. An entity that is there already, of the same type and
  /// constructor parameters, is brought up to date; another one is replaced. A refusal of the peer
  /// lands in refusals, and the connection stays. When the peer unmounts the path, or what stands
  /// there is deleted, it is unmounted here as well. Nothing is done for a path that is asked for
  /// or mounted already. Any number may be asked for at once: they wait here until the peer has
  /// answered others.
  void mount(std::string_view path, bool readOnly);
  enum class State : uint8_t {
    none,      ///< not asked for, refused, or gone
    asked,     ///< the peer has not answered
    open,      ///< the first transfer is under way
    complete,  ///< the first transfer is complete
  };
  State state(std::string_view path) const noexcept;
  /// Why a path that was asked for writing is mounted read-only; empty when it is not.
  std::string_view whyReadOnly(std::string_view path) const noexcept;
  /// Mounts that were answered with an entity whose first transfer is complete.
  uint32_t synced() const noexcept { return synced_; }
  /// Mounts whose first transfer is under way.
  uint32_t syncing() const noexcept { return syncing_; }
  /// What the peer refused, in its words, the oldest first.
  const std::vector<std::string>& refusals() const noexcept { return requests_.refusals(); }
  /// What the peer has that could be mounted.
  RemoteRoots& roots() noexcept { return roots_; }
  const RemoteRoots& roots() const noexcept { return roots_; }

  /// Asks the peer to create a root entity by the name of its type.
  void create(std::string_view path, std::string_view typeName);
  /// The same, of the type and with the constructor values of an entity that is here.
  void create(std::string_view path, const Entity& like);
  /// Asks the peer to unmount a root entity; whoever mirrors it loses it.
  void remove(std::string_view path);

  template <class Visit>
  void forEachMount(const Visit& visit) const {
    for (const auto& [path, mount] : mounts_) visit(path, mount.readOnly);
  }

 private:
  friend class Connection;

  struct Asked {
    bool readOnly;
    size_t bytes;  // that its request counts at the peer; 0: it is still in toAsk_
  };
  using AskedMounts = std::map<std::string, Asked, std::less<>>;
  struct Mirrored {
    uint32_t id;
    uint64_t turn;  // in which it began: complete with the next one
    bool readOnly;
  };

  bool hasToAsk() const noexcept;
  void askQueued();
  void handleMounted(In& in);
  void handleUnmounted(In& in);
  void handleReadOnly(In& in);
  void handleRoot(In& in);
  void turnEnds() noexcept;
  void forget() noexcept;
  /// All mirrors were made by this connection and are filled for the first time, and so many mounts
  /// it has in all.
  bool fillsAllOf(uint32_t mounts) const noexcept { return filling_ > 0 && filling_ == mounts; }
  uint32_t everMounted() const noexcept { return everMounted_; }

  void mountHere(const Mounted& mounted, const Entity* before);
  AskedMounts::iterator findAsked(std::string_view path) noexcept;
  void answered(AskedMounts::iterator asked) noexcept;
  template <class Tell>
  void tell(const Tell& tell);

  Directory& directory_;
  StreamAdapter& log_;
  ControlSender& control_;
  Requests& requests_;
  GuestObserver* observer_ = nullptr;
  RemoteRoots roots_;
  AskedMounts asked_;
  std::deque<std::string> toAsk_;
  size_t askedBytes_ = 0;  // of requests that the peer has not answered
  std::map<std::string, Mirrored, std::less<>> mounts_;
  std::map<std::string, std::string, std::less<>> readOnlyReasons_;
  uint64_t turns_ = 0;
  uint32_t synced_ = 0;
  uint32_t syncing_ = 0;
  uint32_t everMounted_ = 0;
  uint32_t filling_ = 0;  // of these, made here and not complete yet
};

}  // namespace Tovo::NboAttrLog
