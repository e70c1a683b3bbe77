// One end of an attribute log: which entities it carries, and how changes become messages.
#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Pelmo/Ptr.h"
#include "Tovo/AttrLog/FlatMap.h"
#include "Tovo/AttrLog/FlowOut.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Liveness.h"
#include "Tovo/AttrLog/Out.h"
#include "Tovo/AttrLog/Turn.h"
#include "Tovo/AttrLog/UnderWay.h"
#include "Tovo/AttrLog/WaitingReferences.h"
#include "Tovo/Entity.h"
#include "Tovo/Module.h"

namespace Tovo::NboAttrLog {

/// Which side of a mount an adapter is on. The host has the tree and decides; the guest mirrors it
/// and, on a writable mount, sends its own changes to the host.
enum class MountSide : uint8_t { host, guest };

/// What a mount allows, from this side's view.
struct Mount {
  MountSide side;
  bool readOnly;  ///< a host takes no writes from the guest; a guest sends none
};

/// How a hook that writes ended.
enum class FlowResult : int {
  done = 0,
  notFinished = 1,  ///< no room; call again when there is
  notMine = 2,      ///< the attribute id is not one of the type's
};

/// Ids of the runtime's own messages about a carried entity.
namespace BaseMessage {
constexpr AttributeId beginCollection = 1;  ///< U16 collection: a whole transfer starts
constexpr AttributeId endCollection = 2;    ///< U16 collection: what was not mentioned is gone
constexpr AttributeId values = 3;  ///< U16 first, U16 last, the values of these and between
}  // namespace BaseMessage

/// Takes messages before the runtime does. True: it took this one.
class StreamDemuxer {
 public:
  virtual ~StreamDemuxer() = default;
  virtual bool handleMessage(Entity& entity, AttributeId attribute, In& in) = 0;
};

/// The entities of one connection by number, and their flows. Each side gives numbers of its own,
/// counting from 1 and never again, so both may host and both may create. The highest bit is clear
/// in a number of this side and set in one of the peer; on the wire it says the same of sender and
/// receiver.
///
/// Writes of both sides meet at the host, which applies them in the order in which it sees them. A
/// guest ignores what the host says of something that it has itself changed, until the host has
/// seen that change: then both hold the same.
///
/// A frame is: the number of bytes that follow (U32), the entity's number (U32), the attribute id
/// (U16), the payload.
class StreamAdapter {
 public:
  static constexpr uint32_t ofPeer = 0x80000000;
  static constexpr size_t messageHeader = 6;
  static constexpr size_t frameHeader = 4;

  /// Flags that decide whether a message is offered to doMessageMulticast.
  static constexpr uint32_t flagMulticast = 0x4000;
  static constexpr uint32_t flagsNoMulticast = 0x180000;

  StreamAdapter();
  virtual ~StreamAdapter();
  StreamAdapter(const StreamAdapter&) = delete;
  StreamAdapter& operator=(const StreamAdapter&) = delete;

  // --- entities -------------------------------------------------------------------------------

  /// Carries an entity from now on. Creates its flow, unless a guest may not write, with every
  /// attribute from `start` on dirty. Keeps a guest's read-only entity alive. Nothing happens to an
  /// entity that is carried already.
  uint32_t bind(Entity& entity, Mount mount, AttributeId start, uint32_t id = 0);
  /// Throws what keeps an entity from being carried under a number of the peer, before it is made:
  /// StreamException when a reference of another type waits for that number, EndingException when
  /// there are too many.
  void checkNumber(uint32_t id, TovoTypeBase type) const;
  /// The same of an element of a carried entity; EndingException when that is nested too deep.
  void checkElement(const Entity& owner, uint32_t id, TovoTypeBase type) const;
  /// Carries an element of a carried entity, below the same mount.
  uint32_t bindElement(Entity& owner, Entity& element, AttributeId start, uint32_t id = 0);
  /// Stops to carry an entity and everything below it.
  void unbindTree(Entity& entity) noexcept;
  void unbindAll() noexcept;

  /// What is asked of an entity, again and again while its messages are sent or applied. Number 0:
  /// it is not carried.
  struct Carried {
    Entity* entity = nullptr;
    const LogTable* table = nullptr;
    FlowOut* flow = nullptr;
    uint32_t id = 0;
    bool host = false;
    bool readOnly = false;
  };
  /// Good until something is bound or let go.
  const Carried& carried(const Entity& entity) const noexcept {
    if (asked_.entity != &entity) [[unlikely]]
      ask(entity);
    return asked_;
  }
  Entity* entity(uint32_t id) const noexcept;
  /// 0 when the entity is not carried.
  uint32_t entityId(const Entity& entity) const noexcept { return carried(entity).id; }
  FlowOut* flow(const Entity& entity) const noexcept { return carried(entity).flow; }
  /// The number that a reference to the entity is sent as: one may be given before the entity
  /// itself is. 0 for null.
  uint32_t referenceId(const Entity* entity);
  /// References to the entity are sent again: it has got another number.
  void resendReferences(const Entity& entity);
  /// A number as it was received, from this side's view. Throws StreamException for a number of
  /// this side that it has not given.
  uint32_t received(uint32_t id) const {
    if (id == 0) return 0;
    const uint32_t here = id ^ ofPeer;
    if ((here & ofPeer) == 0 && (here == 0 || here > lastId_)) [[unlikely]]
      throwNotGiven(here);
    return here;
  }
  size_t boundCount() const noexcept { return bindings_.size(); }
  size_t flowCount() const noexcept { return flows_; }
  /// For what is dirty in collections.
  size_t heldBytes() const noexcept { return keyBytes_; }
  /// For all that is carried, with that.
  size_t entityBytes() const noexcept {
    return bindings_.bytes() + ids_.bytes() + flows_ * sizeof(FlowOut) + keyBytes_ + seenBytes_ +
           waiting_.bytes();
  }
  FlowOut::Dirty dirty() const noexcept;

  // --- sending --------------------------------------------------------------------------------

  /// Sends what is dirty until there is no more, or no more room. True when nothing is left. Where
  /// a reference waited for what is sent, its observers are called then: see inTurn.
  bool pump();
  bool idle() const noexcept { return firstQueued_ == nullptr; }
  uint32_t flags() const noexcept { return flags_; }
  void flagsIs(uint32_t flags) noexcept { flags_ = flags; }

  /// Room for one message with a payload of `count` values of `size` bytes, or null when the
  /// message is not to be sent now. Ends with outSmCommitMessage.
  Out* singletonSerializeCheck(FlowOut& flow, AttributeId attribute, uint32_t, uint32_t count,
                               size_t size, uint32_t) {
    uint8_t* const payload = startMessage(flow, attribute, count * size);
    if (!payload) return nullptr;
    outSize_ = frameHeader + messageHeader + count * size;
    outAgain_ = flow.complete_;
    out_ = Out({payload, count * size});
    return &out_;
  }
  void outSmCommitMessage() noexcept { commit(outSize_, outAgain_); }
  /// The values of a run travel together where all of them are dirty. What a guest sends is under
  /// way message by message, so it has to send them one by one, and so has who offers each to a
  /// multicast.
  bool maySend(const FlowOut& flow, const LogRun& run) const noexcept {
    return flow.isDirty(run) && !flow.toHost_ && !offersMulticast();
  }
  /// Sends a run, or a value of fixed size. False: no room.
  bool sendRun(FlowOut& flow, const LogRun& run) {
    constexpr size_t ids = sizeof run.first + sizeof run.last;
    const size_t size = ids + run.encodedSize;
    uint8_t* const to = startMessage(flow, BaseMessage::values, size);
    if (!to) return false;
    store(to, run.first);
    store(to + sizeof run.first, run.last);
    run.encode(to + ids, flow.entity());
    commit(frameHeader + messageHeader + size, flow.complete_);
    return true;
  }
  bool sendFixed(FlowOut& flow, const LogAttribute& attribute) {
    uint8_t* const to = startMessage(flow, attribute.id, attribute.encodedSize);
    if (!to) return false;
    attribute.encode(to, attribute.storedIn(flow.entity()));
    commit(frameHeader + messageHeader + attribute.encodedSize, flow.complete_);
    sentIs(flow, attribute.id);
    return true;
  }
  bool offersMulticast() const noexcept {
    return (flags_ & (flagMulticast | flagsNoMulticast)) == flagMulticast;
  }
  /// Offered before a message is written; true: somebody sends it for all. Here nobody does.
  virtual bool doMessageMulticast(FlowOut& flow, AttributeId attribute);
  /// Whether a collection may be sent at all, and now.
  virtual bool handleSerializationOfCollCheck(FlowOut& flow, AttributeId attribute);
  virtual bool isOkToSerialize() const;
  /// Brackets the elements of a whole transfer. False: no room.
  bool handleCollSerializationTransactionMarkers(FlowOut& flow, AttributeId attribute, bool begin);

  // --- receiving ------------------------------------------------------------------------------

  /// Calls apply() and publishes what it changed when it is done, all at once: see Turn. What
  /// apply() throws goes on then, or else what the first observer threw. Within another call, of
  /// whatever adapter, it is part of that. Observers may have destroyed the adapter.
  template <class Apply>
  void inTurn(const Apply& apply) {
    if (Turn::anyOpen()) {
      const Turn::Applying applying(this);
      return apply();
    }
    const std::shared_ptr<Turn> turn = turn_;
    turn->open();
    try {
      const Turn::Applying applying(this);
      apply();
    } catch (...) {
      turn->close(std::current_exception());
    }
    turn->close();
  }
  /// What is being published came from the peer.
  bool appliesNow() const noexcept { return appliesNow_; }

  /// Applies one message, in a turn of its own unless one is open in this thread: then observers
  /// are told with that. Throws StreamException, WriteUpdateFromReadOnlyProxyException and what
  /// observers throw; a message that does not decode has changed nothing. Observers may do
  /// anything, also destroy the adapter.
  void handleMessage(uint32_t entityId, AttributeId attribute, In in);
  /// What an entity that is carried consists of.
  const LogTable& table(const Entity& entity) const {
    // NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn): it is carried
    return *carried(entity).table;
  }
  /// For those who apply: a value of an observed entity is stored, and what was there before.
  static void changed(Entity& entity, const LogAttribute& attribute, const void* previous) {
    Turn::current().changed(entity, attribute, nullptr, previous);
  }
  /// The entity loses a place in the tree, or a reference: its observers are not to hear of its end
  /// before the turn is published.
  static void keepForTurn(Entity* entity) {
    if (entity) Turn::current().keep(Pelmo::Ptr<Entity>(entity));
  }
  /// Stores a reference; a pointer may be null.
  void pointTo(Entity& holder, const LogAttribute& attribute, Entity* target);
  void putReference(Entity& holder, const LogAttribute& attribute, const void* key, Entity& target);
  /// Erases an element or entry of which the peer says that it has left.
  void eraseEntry(Entity& owner, Attribute collection, const void* key, const std::string& bytes);
  /// What was said of an attribute that the type does not have is counted and skipped.
  void unknownAttributeArrived() noexcept { ++counters_.unknownAttributes; }
  /// Messages of the runtime itself, and ids that the type does not have.
  void doBaseTovoNboAttrLogSaMsg(Entity& entity, AttributeId attribute, In& in);
  bool isReadOnlyProxy(const Entity& entity) const noexcept {
    const Carried& known = carried(entity);
    return known.host && known.readOnly;
  }
  bool isHost(const Entity& entity) const noexcept { return carried(entity).host; }
  /// This side is a guest and has changed the attribute, or the entry under an encoded key, and the
  /// host has not seen that: what it says of it is out of date.
  bool isPending(const Entity& entity, AttributeId attribute) const noexcept {
    const Carried& known = carried(entity);
    return known.flow && !known.host && isPendingAtGuest(*known.flow, attribute);
  }
  bool isPending(const Entity& entity, AttributeId collection, const std::string& key) const;
  /// The last message was about that; without a key, about the attribute or the whole collection.
  void sentIs(FlowOut& flow, AttributeId attribute, const std::string& key) {
    if (flow.toHost_) noteUnderWay(flow, attribute, key);
  }
  void sentIs(FlowOut& flow, AttributeId attribute) {
    if (flow.toHost_) noteUnderWay(flow, attribute);
  }
  /// Asked for each write that arrives at a read-only mount; refuses unless a subclass allows it.
  virtual bool allowWriteFromReadOnlyRemote(const Entity& entity, AttributeId attribute);
  StreamDemuxer* streamDemuxer() const noexcept { return demuxer_; }
  /// Asks it, if there is one.
  bool isTakenByDemuxer(Entity& entity, AttributeId attribute, In& in) {
    return demuxer_ && askDemuxer(entity, attribute, in);
  }
  void streamDemuxerIs(StreamDemuxer* demuxer) noexcept { demuxer_ = demuxer; }

  /// A key of a collection has arrived, or has gone, for the whole transfer that may be under way.
  void seenKey(Entity& owner, Attribute collection, const std::string& key, bool there = true);
  /// The same of an element that is carried, by its number.
  void seenElement(Entity& owner, AttributeId collection, uint32_t element);

  /// A reference whose target is not carried yet: it is applied when that arrives. Until the turn
  /// ends the holder keeps what it has, then null. It waits no more when another one arrives, or
  /// somebody here sets the attribute.
  void awaitReference(Entity& holder, Attribute attribute, std::string key, uint32_t target);
  void referenceArrived(Entity& holder, Attribute attribute, const std::string& key = {});
  /// Throws StreamException when a target of that type is not of the attribute's type.
  static void checkReferenceType(Attribute attribute, TovoTypeBase target);

  /// The peer's turn is over: everything it sent so far belongs together.
  void endTurn();

  struct Counters {
    uint64_t messagesSent = 0;
    uint64_t messagesReceived = 0;
    uint64_t unknownEntities = 0;    ///< messages for entities that are gone here
    uint64_t unknownAttributes = 0;  ///< messages with an id that the type does not have
    uint64_t unknownControls = 0;    ///< control messages that this release does not have
  };
  const Counters& counters() const noexcept { return counters_; }

 protected:
  /// Frames are written one behind the other from room_ on, which moves with each.
  uint8_t* room_ = nullptr;
  uint8_t* roomEnd_ = nullptr;
  size_t mostBytes_ = SIZE_MAX;  ///< of one message
  /// Sets both, with room for at least so many bytes. False: there is none now.
  virtual bool makeRoom(size_t bytes) = 0;
  /// Room for the frame of a message of so many bytes. Throws StreamException above the limit.
  bool needRoom(size_t bytes) {
    if (bytes > mostBytes_) throwTooLong(bytes);
    const size_t total = frameHeader + bytes;
    return static_cast<size_t>(roomEnd_ - room_) >= total || makeRoom(total);
  }
  /// Calls code of somebody else in the middle of what is applied. Throws AdapterGone when that has
  /// destroyed the adapter.
  template <class Foreign>
  void callOut(const Foreign& foreign) {
    const Liveness::Watch watch(liveness_);
    {
      const Turn::Applying nobody(nullptr);
      foreign();
    }
    if (watch.gone()) throw AdapterGone();
  }
  /// Applies one message as part of the turn that is open.
  void applyMessage(uint32_t entityId, AttributeId attribute, In& in);
  /// The peer has applied so many messages, counted in 32 bits. Throws StreamException when so many
  /// were not sent.
  void takenIs(uint32_t count);

  /// entityBytes() has come to what entitiesAllowed_ says: makes that more, or throws what keeps
  /// more entities from being carried.
  virtual void entitiesGrow();

  Counters counters_;
  size_t entitiesAllowed_ = SIZE_MAX;
  size_t sentAgain_ = 0;     // bytes about entities whose first transfer was complete
  bool turnOpen_ = false;    // something was sent since it was last set
  bool owesTaken_ = false;   // a guest has sent something since it was told what is applied
  bool changeLost_ = false;  // a flow had no memory to note what changed
  // What a peer may have, at most.
  size_t nesting_ = 64;  // elements below elements
  size_t mostEntities_ = SIZE_MAX;
  Liveness liveness_;

 private:
  friend class FlowOut;
  friend class Turn;

  struct Binding {
    Entity* entity = nullptr;
    const LogTable* table = nullptr;
    Pelmo::Ptr<Pelmo::Node> keeps;  // the flow, or the entity where there is none
    uint32_t transfer = 0;          // the last one that has mentioned it
    Mount mount{};
    bool hasFlow = false;

    FlowOut* flow() const noexcept {
      return hasFlow ? static_cast<FlowOut*>(keeps.get()) : nullptr;
    }
  };
  /// Gives a number to an entity that is referred to before it is carried.
  class Reservation;
  /// A whole transfer of a collection that is under way towards this side.
  struct Transfer {
    uint32_t number;
    std::unordered_set<std::string> seen;  // of elements that are carried, their bindings say it
  };
  using Transfers = std::map<std::pair<const Entity*, AttributeId>, Transfer>;

  [[noreturn]] void throwTooLong(size_t bytes) const;
  [[noreturn]] static void throwNotGiven(uint32_t id);
  uint32_t newId();
  void expectNeighbour(const Entity& entity) noexcept;
  void ask(const Entity& entity) const noexcept;
  void checkNesting(const Entity& owner) const;
  static Carried carriedAs(uint32_t id, const Binding& binding) noexcept {
    return {binding.entity,
            binding.table,
            binding.flow(),
            id,
            binding.mount.side == MountSide::host,
            binding.mount.readOnly};
  }
  bool isPendingAtGuest(const FlowOut& flow, AttributeId attribute) const noexcept;
  void unbind(Entity& entity) noexcept;
  void entityGone(FlowOut& flow) noexcept;
  void reservationGone(uint32_t id, const Entity& entity) noexcept;
  void enqueue(FlowOut& flow) noexcept;
  void dequeue(FlowOut& flow) noexcept;
  void dequeueFirst() noexcept;
  /// Room for the payload of a message, whose head is written; null: none.
  uint8_t* startMessage(const FlowOut& flow, AttributeId attribute, size_t size) {
    const size_t bytes = messageHeader + size;
    if (!needRoom(bytes)) return nullptr;
    uint8_t* const head = room_;
    store(head, static_cast<uint32_t>(bytes));
    store(head + frameHeader, flow.entityId());
    store(head + frameHeader + sizeof(uint32_t), attribute);
    return head + frameHeader + messageHeader;
  }
  /// A message of so many bytes stands there whole; `again`: about something that was sent before.
  void commit(size_t bytes, bool again) noexcept {
    room_ += bytes;
    turnOpen_ = true;
    ++counters_.messagesSent;
    if (again) sentAgain_ += bytes;
  }
  bool sendAllFixed(FlowOut& flow);
  bool sendQueued();
  bool applyFixed(const Carried& target, AttributeId attribute, In& in);
  bool askDemuxer(Entity& entity, AttributeId attribute, In& in);
  static bool applyRun(Entity& entity, const LogTable& table, In& in);
  void noteUnderWay(FlowOut& flow, AttributeId attribute, const std::string& key);
  void noteUnderWay(FlowOut& flow, AttributeId attribute);
  void resolveReferences(uint32_t target, Entity& entity);
  void applyReference(const Place& reference, Entity* target);
  void tellReference(const Place& reference);
  void beginTransfer(Entity& entity, Attribute collection);
  void endTransfer(Entity& owner, Attribute collection);
  void noteSeen(Transfer& transfer, const std::string& key);
  Transfer takeTransfer(Transfers::iterator at) noexcept;

  FlatMap<uint32_t, Binding> bindings_;
  FlatMap<const Entity*, uint32_t> ids_;  // the number that is sent
  std::unordered_map<uint32_t, std::unique_ptr<Reservation>> reservations_;
  mutable Carried asked_;           // the last one: most questions are about the entity in hand
  FlowOut* firstQueued_ = nullptr;  // what is dirty, the longest waiting first
  FlowOut* lastQueued_ = nullptr;
  Transfers transfers_;
  WaitingReferences waiting_;
  UnderWay underWay_;
  uint64_t taken_ = 0;  // the host has seen so many messages
  Out out_{{}};
  size_t outSize_ = 0;
  StreamDemuxer* demuxer_ = nullptr;
  const std::shared_ptr<Turn> turn_ = std::make_shared<Turn>();
  FlowOut* sending_ = nullptr;  // the first one, while it is asked what it has to send
  FlowOut* behind_ = nullptr;   // it, or the last one that was put in behind it meanwhile
  uintptr_t lastBound_ = 0;     // where the entity lies
  uint32_t flags_ = 0;
  size_t flows_ = 0;      // that are bound
  size_t keyBytes_ = 0;   // that the flows hold beyond their own objects
  size_t seenBytes_ = 0;  // of keys that whole transfers have mentioned
  uint32_t lastId_ = 0;
  uint32_t lastTransfer_ = 0;
  bool outAgain_ = false;
  bool appliesNow_ = false;  // a turn publishes what the peer has said
};

// Elements that come to light while their owner is sent follow it at once, while all that was just
// read of them is still at hand.
inline void StreamAdapter::enqueue(FlowOut& flow) noexcept {
  FlowOut* const before = sending_ ? std::exchange(behind_, &flow) : lastQueued_;
  flow.queued_ = true;
  flow.previousQueued_ = before;
  flow.nextQueued_ = before ? before->nextQueued_ : nullptr;
  (before ? before->nextQueued_ : firstQueued_) = &flow;
  (flow.nextQueued_ ? flow.nextQueued_->previousQueued_ : lastQueued_) = &flow;
}

inline void StreamAdapter::dequeue(FlowOut& flow) noexcept {
  if (!flow.queued_) return;
  flow.queued_ = false;
  if (&flow == sending_) sending_ = nullptr;
  if (&flow == behind_) behind_ = flow.previousQueued_;
  (flow.previousQueued_ ? flow.previousQueued_->nextQueued_ : firstQueued_) = flow.nextQueued_;
  (flow.nextQueued_ ? flow.nextQueued_->previousQueued_ : lastQueued_) = flow.previousQueued_;
}

// While none is being sent.
inline void StreamAdapter::dequeueFirst() noexcept {
  FlowOut& first = *firstQueued_;
  first.queued_ = false;
  firstQueued_ = first.nextQueued_;
  (firstQueued_ ? firstQueued_->previousQueued_ : lastQueued_) = nullptr;
}

}  // namespace Tovo::NboAttrLog

namespace Tovo {

/// The adapter as the hooks of entities know it.
using TovoNboAttrLogSa = NboAttrLog::StreamAdapter;

}  // namespace Tovo
