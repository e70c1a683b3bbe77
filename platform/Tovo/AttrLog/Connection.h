// An attribute log over a pair of file descriptors.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tovo/AttrLog/Budget.h"
#include "Tovo/AttrLog/Buffer.h"
#include "Tovo/AttrLog/Ending.h"
#include "Tovo/AttrLog/StreamAdapter.h"
#include "Tovo/Directory.h"

namespace Tovo::NboAttrLog {

/// Bounds for what a peer may make this process hold.
struct Limits {
  size_t outputBytes = 64 * 1024;          ///< what waits to be written, at most
  size_t messageBytes = 16 * 1024 * 1024;  ///< one message
  /// One message of a peer that has not greeted yet, or has nothing to tell: it may not write, and
  /// was asked for nothing.
  size_t requestBytes = 64 * 1024;
  size_t turnBytes = 256 * 1024 * 1024;  ///< one turn of the peer, which is held until it is whole
  size_t entities = 16 * 1024 * 1024;    ///< that one connection carries
  size_t nesting = 64;                   ///< elements below elements, from a mount down
  size_t pings = 1024;                   ///< of the peer that wait for their answer
  /// What answers may take beyond outputBytes before it is clear that the peer does not read.
  size_t answerBytes = 64 * 1024;
  /// Requests of the peer to mount something that wait for room for their answers: their paths, and
  /// 64 bytes for each.
  size_t requestsBytes = 1024 * 1024;
  /// From the first tick until the peer's greeting has arrived.
  std::chrono::milliseconds greetingTime{10000};
};

/// One peer. Sockets, pipes, terminals: whatever can be read and written without blocking; sets
/// the descriptors non-blocking, owns and closes them. Never blocks and starts no thread: the
/// process calls it from its own loop when a descriptor is ready.
///
/// Both ends greet each other with the protocol's version and their module records; a difference
/// ends the connection with its reason in words, at both ends. Nothing that a peer sends does more
/// than end its own connection.
///
/// What is changed here between two calls of flush is one turn: the peer applies and publishes it
/// together, and what it has of it when the stream ends is dropped. Only while every mount of a
/// connection is filled for the first time it is applied as it arrives.
///
/// Whatever a connection calls (observers of what it applies and of mirrors that end with it,
/// mountBegan and mountEnded, who takes what was applied, the provider of a status) may do
/// anything, also close or destroy the connection: what was stored by then is still published. Only
/// the loop does not run from there: while changes are applied or published, handleReadable, flush
/// and runUntil of any connection of the thread do nothing, and are to be called again afterwards.
///
/// The directory must outlive the connection. A process that writes to pipes ignores SIGPIPE.
class Connection : public StreamAdapter {
 public:
  using Clock = std::chrono::steady_clock;

  Connection(int fd, Directory& directory, Limits limits = {});
  Connection(int readFd, int writeFd, Directory& directory, Limits limits = {});
  ~Connection() override;

  // --- the loop -------------------------------------------------------------------------------

  int readFd() const noexcept { return readFd_; }
  int writeFd() const noexcept { return writeFd_; }
  /// Something waits to be written: call flush when the descriptor takes it.
  bool wantsWrite() const noexcept {
    return outputWaiting() > 0 || !idle() || turnOpen_ || !whenIdle_.empty() || owesTaken_ ||
           changeLost_ || mayAsk() || hostedMayHaveGone() || owesAnswers();
  }
  /// Bytes that wait for the descriptor.
  size_t outputWaiting() const noexcept {
    return static_cast<size_t>(room_ - out_.data()) - outStart_;
  }
  /// Reads what is there and applies the turns that are whole. Errors close the connection.
  void handleReadable();
  /// Turns what is dirty into messages and writes them as far as the descriptor takes them.
  /// True when nothing is left to write. Errors close the connection.
  bool flush();
  /// Tells the loop's time: what has a limit counts from the first call, and a limit that has
  /// passed closes the connection. A process that never calls it waits for a greeting without end.
  void tick(Clock::time_point now);
  /// When tick has something to do next.
  std::optional<Clock::time_point> due() const noexcept;
  /// handleReadable and flush until nothing is left to do, waiting at most so long for the peer;
  /// true when `done` holds. For tools and tests that have nothing else to do. Where the two do
  /// nothing it only asks `done`.
  bool runUntil(const std::function<bool()>& done, int timeoutMilliseconds);

  bool closed() const noexcept { return readFd_ < 0; }
  /// Why it closed, one printable line; "end of stream" when the peer just went.
  const std::string& closeReason() const noexcept { return closeReason_; }
  Ending ending() const noexcept { return ending_; }
  /// Tells the peer why, if there is room, and closes.
  void close(std::string_view reason);

  // --- the host's side ------------------------------------------------------------------------

  /// Whether the peer may mount what this process has, and write to it. Default: both. A peer that
  /// asks for more gets a read-only mount and is told why in the words of `whyReadOnly`.
  void servesIs(bool serves, bool writable, std::string whyReadOnly = "it is served read-only") {
    serves_ = serves;
    writable_ = writable;
    whyReadOnly_ = std::move(whyReadOnly);
  }

  /// What `status` answers to a peer that asks how this process is: a text that the process makes
  /// each time. Without a provider such a question is refused.
  using StatusProvider = std::function<std::string()>;
  void statusProviderIs(StatusProvider provider) { statusProvider_ = std::move(provider); }

  // --- the guest's side -----------------------------------------------------------------------

  /// The greeting of the peer has arrived.
  bool greeted() const noexcept { return greeted_; }

  /// Paths and the names of types.
  using RemoteMounts = std::map<std::string, std::string, std::less<>>;
  /// Asks what the peer has mounted; the answer replaces remoteMounts and adds one to listings.
  /// What comes or goes while it is on its way may be in it or not.
  void askMounts();
  const RemoteMounts& remoteMounts() const noexcept { return remoteMounts_; }
  uint32_t listings() const noexcept { return listings_; }

  /// Mirrors the peer's entity at a path (mounted there, or anything below what is mounted) into
  /// the directory, at the same path. An entity that is there already, of the same type and
  /// constructor parameters, is brought up to date; another one is replaced. A refusal of the peer
  /// lands in refusals, and the connection stays. When the peer unmounts the path, or what stands
  /// there is deleted, it is unmounted here as well. Nothing is done for a path that is asked for
  /// or mounted already. Any number may be asked for at once: they wait here until the peer has
  /// answered others.
  void mount(std::string_view path, bool readOnly);
  enum class MountState : uint8_t {
    none,      ///< not asked for, refused, or gone
    asked,     ///< the peer has not answered
    open,      ///< the first transfer is under way
    complete,  ///< the first transfer is complete
  };
  MountState mountState(std::string_view path) const noexcept;
  /// Why a path that was asked for writing is mounted read-only; empty when it is not.
  std::string_view whyReadOnly(std::string_view path) const noexcept;
  /// From now on remoteMounts follows whatever root the peer mounts or unmounts. Where these were
  /// too many to be told one by one, a whole list comes as if it had been asked for.
  void followMounts();
  /// Asks the peer to create a root entity by the name of its type.
  void create(std::string_view path, std::string_view typeName);
  /// The same, of the type and with the constructor values of an entity that is here.
  void create(std::string_view path, const Entity& like);
  /// Asks the peer to unmount a root entity; whoever mirrors it loses it.
  void remove(std::string_view path);
  /// Mounts that were answered with an entity whose first transfer is complete.
  uint32_t synced() const noexcept { return synced_; }
  /// Mounts whose first transfer is under way.
  uint32_t syncing() const noexcept { return syncing_; }
  /// What the peer refused, in its words, the oldest first.
  const std::vector<std::string>& refusals() const noexcept { return refusals_; }

  /// Asks how the peer is; the answer replaces remoteStatus and adds one to statuses.
  void askStatus();
  const std::string& remoteStatus() const noexcept { return remoteStatus_; }
  uint32_t statuses() const noexcept { return statuses_; }

  /// A question to which the peer answers when everything before it is applied and everything that
  /// followed from it is on its way here: pongs() is then the number returned.
  uint32_t ping();
  uint32_t pongs() const noexcept { return pongs_; }
  /// Complete turns of the peer that were applied.
  uint64_t turns() const noexcept { return turns_; }

  // --- what it holds --------------------------------------------------------------------------

  /// What a connection holds now, in bytes.
  struct Held {
    size_t itself = 0;  ///< from its beginning to its end
    size_t input = 0;   ///< messages and turns that are not whole, with their room
    size_t output = 0;  ///< what waits for the descriptor, with its room
    size_t entities =
        0;  ///< numbers and flows of what it carries, and what is dirty in collections
    size_t requests = 0;  ///< of the peer, that wait for room to answer
    size_t sum() const noexcept { return itself + input + output + entities + requests; }
  };
  /// Cost: constant.
  Held held() const noexcept;
  /// From now on what it holds is charged to the budget, which outlives it. Where that has no room
  /// for it, now or later, the peer is told whose budget is used up and the connection closes. Up
  /// to `unasked` bytes are charged whether there is room or not, but for a new connection: so who
  /// reads and writes a little goes on beside others who have used up everything. Called once.
  void budgetIs(Budget& budget);
  static constexpr size_t unasked = 192 * 1024;

  // --- figures --------------------------------------------------------------------------------

  struct MountFigures {
    std::string path;
    MountSide side;  ///< of this end
    bool readOnly;
  };
  struct Figures {
    std::vector<MountFigures> mounts;
    size_t entities = 0;
    size_t flows = 0;
    FlowOut::Dirty dirty;
    size_t bytesHeld = 0;     ///< for what is dirty
    size_t bytesWaiting = 0;  ///< for the descriptor
    Counters messages;
    uint64_t bytesSent = 0;
    uint64_t bytesReceived = 0;
    uint64_t turnsSent = 0;
    uint64_t turnsReceived = 0;
    uint64_t refused = 0;  ///< requests of the peer
  };
  /// Cost: the number of entities.
  Figures figures() const;

  /// Calls this with each message of the peer, without its length, when it has been applied: a
  /// recording is made of them. What it throws ends the connection.
  using Applied = std::function<void(std::span<const uint8_t> message)>;
  void appliedIs(Applied applied) {
    applied_ = applied ? std::make_shared<const Applied>(std::move(applied)) : nullptr;
  }

  bool allowWriteFromReadOnlyRemote(const Entity& entity, AttributeId attribute) override;

 protected:
  /// A path that was asked for is mirrored in the directory from now on; its attributes and
  /// elements follow.
  virtual void mountBegan(const std::string& path, Entity& entity);
  /// The peer has refused the path, or does not have it any more.
  virtual void mountEnded(const std::string& path, const std::string& reason);
  /// The peer, whose roots are followed, has mounted something at the path, or has not any more.
  virtual void remoteMountChanged(const std::string& path, bool mounted);
  bool makeRoom(size_t bytes) override;
  void entitiesGrow() override;

 private:
  class Busy;

  void sendGreeting();
  /// What a control message may take beyond outputBytes.
  enum class Beyond : uint8_t {
    nothing,  ///< where there is no room it is not sent
    answers,  ///< answerBytes; then the peer asks and does not read
    any,      ///< of this side's own
  };
  /// False: it was not sent.
  template <class Write>
  bool sendControl(AttributeId id, size_t size, Beyond beyond, const Write& write) {
    uint8_t* const payload = startControl(id, size, beyond);
    if (!payload) return false;
    Out out({payload, size});
    write(out);
    room_ = payload + size;
    return true;
  }
  /// Writes the head of a message; null where sendControl is false. What was begun is part of the
  /// output when room_ moves behind it.
  uint8_t* startControl(AttributeId id, size_t size, Beyond beyond);
  void sendText(AttributeId id, Beyond beyond, std::string_view text);
  bool readSome();
  void trimInput();
  void growOutput(size_t size);
  void trimOutput() noexcept;
  void charge(size_t more);
  void applyArrived();
  void applyFrames(size_t end);
  void tellApplied(std::span<const uint8_t> message);
  bool fillsOnly() const noexcept { return filling_ > 0 && filling_ == roots_; }
  bool onlyListens() const noexcept;
  bool takesRoots() const noexcept { return serves_ && writable_ && !directory_.rootsAreFixed(); }
  void checkLength(uint32_t length) const;
  void handleFrame(std::span<const uint8_t> frame);
  void handleControl(AttributeId id, In in);
  void handleGreeting(In& in);
  struct MountRequest {
    std::string path;
    bool readOnly;
  };
  void handleMountRequest(In& in);
  void answerMount(const MountRequest& request);
  void mountHere(const MountRequest& request, Entity& entity);
  void handleMounted(In& in);
  void handleUnmounted(In& in);
  void handleReadOnly(In& in);
  void handleCreate(In& in);
  void handleCreateWith(In& in);
  void handleRemove(In& in);
  void handleRemoteMounts(In& in, bool isWhole);
  void handleRemoteMount(In& in);
  void askQueuedMounts();
  bool mayAsk() const noexcept;
  /// Answers and what else the peer is to be told of roots, in as much of the output as is theirs.
  void answer();
  bool owesAnswers() const noexcept {
    return !gone_.empty() || !mountRequests_.empty() || listingsOwed_ > 0 || owesChanges();
  }
  bool owesChanges() const noexcept { return tellsMounts_ && mountsTold_ != directory_.changes(); }
  bool roomToAnswer() const noexcept { return 2 * outputWaiting() < limits_.outputBytes; }
  void tellGone();
  void tellChanges();
  bool tellChange(const std::string& path);
  void sendListing();
  bool sendListed(Directory::Mounts::const_iterator from, Directory::Mounts::const_iterator to);
  bool sendPathText(AttributeId id, Beyond beyond, std::string_view path, std::string_view text);
  bool isHosted(uint32_t id, std::string_view path) const noexcept;
  bool hostedMayHaveGone() const noexcept;
  void findGone();
  void findGone(const std::string& path);
  void refuse(std::string_view reason);
  void answerStatus();
  void fillAndWrite();
  bool sendTaken();
  enum class Written { all, some, failed };
  Written writeOut() noexcept;
  struct Farewell {
    Ending ending;
    std::string reason;
  };
  Farewell farewell(std::string reason);
  void end(const std::exception& failure);
  void sayGoodBye(Ending ending, std::string_view reason);
  void shut(Ending ending, std::string reason) noexcept;

  Directory& directory_;
  Limits limits_;
  int readFd_;
  int writeFd_;
  // Input: what is applied, the frames of a turn that is not whole yet, bytes to look at, room.
  //   0 ... inStart_ ... inScanned_ ... inEnd_ ... size
  Buffer in_;
  size_t inStart_ = 0;
  size_t inScanned_ = 0;
  size_t inEnd_ = 0;
  // Output, which ends at room_.
  Buffer out_;
  size_t outStart_ = 0;
  size_t outBefore_ = 0;  // the size of its last block
  Budget* budget_ = nullptr;
  size_t charged_ = 0;
  std::string closeReason_;
  std::shared_ptr<const Applied> applied_;
  RemoteMounts remoteMounts_;
  RemoteMounts listed_;  // so far of a list that is on its way
  size_t listedBytes_ = 0;
  std::vector<std::string> refusals_;
  struct Asked {
    bool readOnly;
    size_t bytes;  // that its request counts at the peer; 0: it is still in toAsk_
  };
  using AskedMounts = std::map<std::string, Asked, std::less<>>;
  AskedMounts::iterator findAsked(std::string_view path) noexcept;
  void answered(AskedMounts::iterator asked) noexcept;
  AskedMounts asked_;
  std::deque<std::string> toAsk_;
  size_t askedBytes_ = 0;  // of requests that the peer has not answered
  struct GuestMount {
    uint32_t id;
    uint64_t turn;  // in which it began: complete with the next one
    bool readOnly;
  };
  bool isComplete(const GuestMount& mount) const noexcept { return mount.turn != turns_; }
  std::map<std::string, GuestMount, std::less<>> guestMounts_;
  StatusProvider statusProvider_;
  std::string remoteStatus_;
  uint64_t bytesSent_ = 0;
  uint64_t bytesReceived_ = 0;
  uint64_t turnsSent_ = 0;
  uint64_t refused_ = 0;
  uint32_t statuses_ = 0;
  uint32_t statusesAsked_ = 0;
  std::map<std::string, std::string, std::less<>> readOnlyReasons_;
  struct HostMount {
    uint32_t id;
    bool readOnly;
  };
  // By path: roots, which go when they are unmounted, and what is below one.
  using HostMounts = std::map<std::string, HostMount, std::less<>>;
  HostMounts hostRoots_;
  HostMounts hostElements_;
  size_t writableMounts_ = 0;  // of both
  struct Gone {
    std::string path;
    bool wasRoot;
  };
  std::deque<Gone> gone_;  // and the peer is to be told
  std::deque<MountRequest> mountRequests_;
  size_t requestBytes_ = 0;
  uint32_t listingsOwed_ = 0;
  std::optional<std::string> listedTo_;  // the last path of a list that is being sent
  uint64_t listedSince_ = 0;             // changes() of the directory when it began
  uint64_t mountsTold_ = 0;              // the directory as the peer knows it
  bool tellsMounts_ = false;             // and wants to go on knowing
  std::string whyReadOnly_;
  Clock::time_point greetingDue_ = Clock::time_point::min();  // until the first tick: at once
  // Pings and pongs that go out behind everything that is dirty: message id and number.
  std::vector<std::pair<AttributeId, uint32_t>> whenIdle_;
  uint64_t turns_ = 0;
  uint64_t directorySeen_ = 0;  // its changes() when what is mounted here was compared with it
  uint32_t listings_ = 0;
  uint32_t listingsAsked_ = 0;
  uint32_t synced_ = 0;
  uint32_t syncing_ = 0;
  uint32_t pings_ = 0;
  uint32_t pongs_ = 0;
  uint32_t requests_ = 0;        // of this side that may be refused
  uint32_t roots_ = 0;           // that were ever mounted over this connection
  uint32_t filling_ = 0;         // of them, made here and not complete yet
  bool busy_ = false;            // in flush or handleReadable, which do not nest
  size_t takenFromAnybody_ = 0;  // the longest message that is taken without a question
  bool greeted_ = false;
  bool followsMounts_ = false;
  bool serves_ = true;
  bool writable_ = true;
  bool isSocket_ = true;
  bool unlimited_ = false;  // the turn is completed whatever the room
  Ending ending_ = Ending::none;
};

}  // namespace Tovo::NboAttrLog
