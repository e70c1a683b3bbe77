// A connection that comes back.
#pragma once

#include <poll.h>

#include <array>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

#include "Mirror/Connection.h"
#include "Mirror/log/Liveness.h"
#include "Mirror/wire/Stream.h"
#include "Pelmo/Ptr.h"
#include "Tovo/Directory.h"
#include "Tovo/Entity.h"

namespace Tovo::NboAttrLog {

class Link;

enum class LinkState : uint8_t {
  connecting,  ///< a connection is being made
  greeting,    ///< it is made; the peer's greeting has not arrived
  syncing,     ///< what is wanted is on its way
  synced,      ///< all of it that the peer has is here, and follows it
  waiting,     ///< not connected; tries again at nextTry
  refused,     ///< as waiting, because the peer is another version or has other modules
};
/// "waiting".
const char* linkStateName(LinkState state) noexcept;

/// Told from within Link::handle, or a call that changes the state at once (mount, mountAll). May
/// do anything, also destroy the link; only handle and runUntil do nothing meanwhile.
class LinkObserver {
 public:
  virtual ~LinkObserver() = default;
  /// state(), reason() and nextTry() have changed.
  virtual void handleLinkState(Link&) {}
  /// The path is mirrored, for the first time or again; what the entity holds is brought up to date
  /// from here on. `isNew`: no entity was there before, or another one, which is out of the
  /// directory now.
  virtual void handleMounted(Link&, const std::string& path, Entity& entity, bool isNew);
  /// The peer does not have the path (any more) or refuses it, or what it has there is of a type
  /// that this process does not know: nothing is mounted here under it.
  virtual void handleUnmounted(Link&, const std::string& path, const std::string& reason);
  /// Link::mountAll leaves out a root of a type that this process does not know. Told again when it
  /// was gone meanwhile.
  virtual void handleLeftOut(Link&, const std::string& path, const std::string& type);
};

struct LinkOptions {
  Limits limits;
  /// Between two tries: doubles from the first to the longest, and each time somewhere between half
  /// of it and the whole, so that many clients of one server do not come at once. Starts over when
  /// the link was synced for as long as it waited before. The longest one is also how often the
  /// peer is asked again for what it did not have.
  std::chrono::milliseconds firstWait{100};
  std::chrono::milliseconds longestWait{10000};
  /// For a connection to be made.
  std::chrono::milliseconds connectTime{5000};
  /// What the peer may mount from here: by default nothing.
  bool serves = false;
  bool writable = false;
  /// Of the random part of the waits; 0: another one in each process.
  uint64_t seed = 0;
};

/// Keeps mirrors of a peer's trees in a directory, whatever happens to the connection. While there
/// is none the mirrors stay as they are. When it is back they are mounted again and brought up to
/// date: what vanished meanwhile vanishes, what is the same is not published, an element that was
/// made again with other parameters is replaced, and what this side wrote and the peer had not
/// taken is undone. A root that the peer does not have any more is unmounted here, and mirrored
/// again when the peer has it again.
///
/// Never blocks and starts no thread. The process waits for what pollFds says, until due at the
/// latest, and calls handle; a call too many does no harm. The directory outlives the link; its
/// mirrors stay when the link goes.
class Link : private GuestObserver {
 public:
  using Clock = Connection::Clock;

  /// Makes a stream, connected or being connected without blocking, that the link then owns; an
  /// exception's text is the reason for another wait.
  using Connect = std::function<std::unique_ptr<Stream>()>;

  Link(Connect connect, Directory& directory, LinkOptions options = {});
  /// To a Unix socket at a path.
  Link(const std::string& socket, Directory& directory, LinkOptions options = {});
  ~Link() override;
  Link(const Link&) = delete;
  Link& operator=(const Link&) = delete;

  /// One, or none by null; outlives the link or is taken off before.
  void observerIs(LinkObserver* observer) noexcept { observer_ = observer; }

  // --- the loop -------------------------------------------------------------------------------

  /// What to wait for; descriptors of -1 are none, as poll() has it.
  std::array<pollfd, 2> pollFds() const noexcept;
  /// When handle has something to do without a descriptor being ready.
  std::optional<Clock::time_point> due() const noexcept;
  /// Does what can be done without waiting.
  void handle(Clock::time_point now);
  /// handle, and waiting for it to have something to do, until `done` holds or the time is over;
  /// true when it holds. From within handle, and while a connection of the thread applies or
  /// publishes something, it only asks `done`. For tools and tests that have nothing else to do.
  bool runUntil(const std::function<bool()>& done, int timeoutMilliseconds);

  // --- what is mirrored -----------------------------------------------------------------------

  /// From now on, as GuestSide::mount; a path that is mirrored already is left as it is, and one
  /// that the peer did not have is asked for again.
  void mount(std::string_view path, bool readOnly);
  /// Whatever the peer has mounted now, and when it is asked again. Roots of types that this
  /// process does not know are left out.
  void mountAll(bool readOnly);
  /// The first transfer of the path is complete, on the connection that there is.
  bool isMirrored(std::string_view path) const noexcept;

  // --- state ----------------------------------------------------------------------------------

  LinkState state() const noexcept { return state_; }
  /// Why the last connection ended or could not be made; empty before the first one did.
  const std::string& reason() const noexcept { return reason_; }
  /// Of the last connection that ended.
  Ending ending() const noexcept { return ending_; }
  /// Of the last stream that could not be made, where the system said why.
  std::error_code error() const noexcept { return error_; }
  /// While waiting or refused.
  std::optional<Clock::time_point> nextTry() const noexcept;
  /// Connections that were greeted, and tries that were not.
  uint64_t connections() const noexcept { return connections_; }
  uint64_t failures() const noexcept { return failures_; }
  /// For requests of other kinds; null while there is none. Another one after each loss.
  Connection* connection() noexcept;

 private:
  enum class Want : uint8_t {
    asked,     // or to be asked when there is a connection
    probing,   // asked again for what the peer did not have
    mirrored,  // what the peer has at the path, or comes from there
    missing,   // the peer does not have it, or refuses
  };
  struct Wanted {
    bool readOnly;
    bool byName;  // and not as one of all that the peer has
    Want want = Want::asked;
    Pelmo::Ptr<Entity> entity;  // that was mirrored last
  };
  using AllWanted = std::map<std::string, Wanted, std::less<>>;

  void begin();
  void finishConnecting();
  void serve();
  void follow();
  void listMounts();
  void mountListed();
  void wantListed(const std::string& path, const std::string& type);
  void probe();
  void lost(Ending ending, std::string reason);
  void stateIs(LinkState state);
  std::chrono::milliseconds jittered(std::chrono::milliseconds wait);
  void want(std::string_view path, bool readOnly, bool byName);
  void wantIs(Wanted& wanted, Want want) noexcept;
  size_t& counted(Want want) noexcept { return counts_[static_cast<size_t>(want)]; }
  void mountBegan(const std::string& path, Entity& entity) override;
  void mountEnded(const std::string& path, const std::string& reason) override;
  void remoteMountChanged(const std::string& path, bool mounted) override;
  void forgetGone(AllWanted::iterator at);
  void forget(AllWanted::iterator at);

  Connect connect_;
  Directory& directory_;
  LinkOptions options_;
  LinkObserver* observer_ = nullptr;
  std::minstd_rand random_;
  AllWanted wanted_;
  std::array<size_t, 4> counts_{};   // of them, by what is wanted
  std::optional<bool> allReadOnly_;  // mountAll was called
  std::set<std::string> leftOut_;    // of what the peer has
  std::unique_ptr<Stream> stream_;   // while connecting
  std::unique_ptr<Connection> peer_;
  Clock::time_point now_{};
  Clock::time_point due_ = Clock::time_point::min();  // the next try, the end of one, or a probe
  Clock::time_point syncedSince_{};
  std::chrono::milliseconds wait_{0};  // the last one
  std::string reason_;
  std::error_code error_;
  uint64_t connections_ = 0;
  uint64_t failures_ = 0;
  uint32_t listingsSeen_ = 0;
  LinkState state_ = LinkState::waiting;
  Ending ending_ = Ending::none;
  bool listing_ = false;
  bool handling_ = false;
  Liveness liveness_;
};

}  // namespace Tovo::NboAttrLog
