// One end of an attribute log: which entities it carries, and how changes become messages.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "Pelmo/Ptr.h"
#include "Tovo/AttrLog/FlowOut.h"
#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
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
/// A message is: the entity's number (U32), the attribute id (U16), the payload.
class StreamAdapter {
 public:
  static constexpr uint32_t ofPeer = 0x80000000;
  static constexpr size_t messageHeader = 6;

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
  /// Carries an element of a carried entity, below the same mount.
  uint32_t bindElement(Entity& owner, Entity& element, AttributeId start, uint32_t id = 0);
  /// Stops to carry an entity and everything below it.
  void unbindTree(Entity& entity) noexcept;
  void unbindAll() noexcept;

  Entity* entity(uint32_t id) const noexcept;
  /// 0 when the entity is not carried.
  uint32_t entityId(const Entity& entity) const noexcept;
  FlowOut* flow(const Entity& entity) const noexcept;
  /// The number that a reference to the entity is sent as: one may be given before the entity
  /// itself is. 0 for null.
  uint32_t referenceId(const Entity* entity);
  /// References to the entity are sent again: it has got another number.
  void resendReferences(const Entity& entity);
  /// A number as it was received, from this side's view. Throws StreamException for a number of
  /// this side that it has not given.
  uint32_t received(uint32_t id) const;
  size_t boundCount() const noexcept { return bindings_.size(); }
  size_t flowCount() const noexcept;
  size_t heldBytes() const noexcept;

  // --- sending --------------------------------------------------------------------------------

  /// Sends what is dirty until there is no more, or no more room. True when nothing is left.
  bool pump();
  bool idle() const noexcept { return queue_.empty(); }
  uint32_t flags() const noexcept { return flags_; }
  void flagsIs(uint32_t flags) noexcept { flags_ = flags; }

  /// Room for one message with a payload of `count` values of `size` bytes, or null when the
  /// message is not to be sent now. Ends with outSmCommitMessage.
  Out* singletonSerializeCheck(FlowOut& flow, AttributeId attribute, uint32_t flag, uint32_t count,
                               size_t size, uint32_t reserved);
  void outSmCommitMessage();
  /// Offered before a message is written; true: somebody sends it for all. Here nobody does.
  virtual bool doMessageMulticast(FlowOut& flow, AttributeId attribute);
  /// Whether a collection may be sent at all, and now.
  virtual bool handleSerializationOfCollCheck(FlowOut& flow, AttributeId attribute);
  virtual bool isOkToSerialize() const;
  /// Brackets the elements of a whole transfer. False: no room.
  bool handleCollSerializationTransactionMarkers(FlowOut& flow, AttributeId attribute, bool begin);

  // --- receiving ------------------------------------------------------------------------------

  /// Applies one message. Throws StreamException, WriteUpdateFromReadOnlyProxyException and what
  /// observers throw; a message that does not decode has changed nothing.
  void handleMessage(uint32_t entityId, AttributeId attribute, In in);
  /// Messages of the runtime itself, and ids that the type does not have: these are counted.
  void doBaseTovoNboAttrLogSaMsg(Entity& entity, AttributeId attribute, In& in);
  bool isReadOnlyProxy(const Entity& entity) const noexcept;
  bool isHost(const Entity& entity) const noexcept;
  /// This side is a guest and has changed the attribute, or the entry under an encoded key, and the
  /// host has not seen that: what it says of it is out of date.
  bool isPending(const Entity& entity, AttributeId attribute) const noexcept;
  bool isPending(const Entity& entity, AttributeId collection, const std::string& key) const;
  /// The last message was about that; without a key, about the attribute or the whole collection.
  void sentIs(const Entity& entity, AttributeId attribute, std::string key = {});
  /// Asked for each write that arrives at a read-only mount; refuses unless a subclass allows it.
  virtual bool allowWriteFromReadOnlyRemote(const Entity& entity, AttributeId attribute);
  StreamDemuxer* streamDemuxer() const noexcept { return demuxer_; }
  void streamDemuxerIs(StreamDemuxer* demuxer) noexcept { demuxer_ = demuxer; }

  /// While it lives, the next change of this attribute (of a collection: under this key) comes from
  /// the peer. A guest does not send it back.
  class Applying {
   public:
    Applying(StreamAdapter& adapter, const Entity& entity, Attribute attribute, const void* key)
        : adapter_(adapter), entity_(&entity), attribute_(attribute), key_(key) {
      adapter_.applying_ = this;
    }
    ~Applying() { adapter_.applying_ = nullptr; }
    Applying(const Applying&) = delete;
    Applying& operator=(const Applying&) = delete;

   private:
    friend class StreamAdapter;
    StreamAdapter& adapter_;
    const Entity* entity_;
    Attribute attribute_;
    const void* key_;
  };
  /// True once for the change that is being applied: it comes from the peer.
  bool takeApplied(const Entity& entity, const Pelmo::Change& change) noexcept;

  /// A key of a collection has arrived, or has gone, for the whole transfer that may be under way.
  void seenKey(Entity& owner, Attribute collection, const std::string& key, bool there = true);

  /// A reference whose target is not carried yet: it is applied when that arrives. Until the turn
  /// ends the holder keeps what it has, then null. It waits no more when another one arrives, or
  /// somebody here sets the attribute.
  void awaitReference(Entity& holder, Attribute attribute, std::string key, uint32_t target);
  void referenceArrived(Entity& holder, Attribute attribute, const std::string& key = {}) noexcept;
  /// Throws StreamException when an entity is not of the attribute's type.
  static void checkReferenceType(Attribute attribute, const Entity& target);

  /// The peer's turn is over: everything it sent so far belongs together.
  void endTurn();

  struct Counters {
    uint64_t messagesSent = 0;
    uint64_t messagesReceived = 0;
    uint64_t unknownEntities = 0;    ///< messages for entities that are gone here
    uint64_t unknownAttributes = 0;  ///< messages with an id that the type does not have
  };
  const Counters& counters() const noexcept { return counters_; }

 protected:
  /// Room for one message of so many bytes behind the frame, or an empty span when there is none.
  virtual std::span<uint8_t> reserve(size_t bytes) = 0;
  virtual void commit(size_t bytes) = 0;
  /// The peer has applied so many messages, counted in 32 bits. Throws StreamException when so many
  /// were not sent.
  void takenIs(uint32_t count);

  Counters counters_;
  bool owesTaken_ = false;  // a guest has sent something since it was told what is applied

 private:
  friend class FlowOut;

  struct Binding {
    Entity* entity;
    Pelmo::Ptr<FlowOut> flow;
    Pelmo::Ptr<Entity> held;
    Mount mount;
  };
  /// Gives a number to an entity that is referred to before it is carried.
  class Reservation;
  struct Transfer;
  // The holder, the attribute, the encoded key in a collection (which is never empty).
  using ReferenceKey = std::tuple<Entity*, AttributeId, std::string>;
  struct Waiting {
    uint32_t target;
    bool cleared;
  };

  uint32_t newId();
  const Binding* bindingOf(const Entity& entity) const noexcept;
  void stopWaiting(std::map<ReferenceKey, Waiting>::iterator waiting) noexcept;
  void unbind(Entity& entity) noexcept;
  void entityGone(FlowOut& flow) noexcept;
  void reservationGone(uint32_t id, const Entity& entity) noexcept;
  void enqueue(FlowOut& flow);
  void resolveReferences(uint32_t target, Entity& entity);
  void applyReference(const ReferenceKey& key, Entity* target);
  void tellReference(const ReferenceKey& key);
  void beginTransfer(Entity& entity, Attribute collection);
  void endTransfer(Entity& entity, Attribute collection);

  std::unordered_map<uint32_t, Binding> bindings_;
  std::unordered_map<const Entity*, uint32_t> ids_;  // the number that is sent
  std::unordered_map<uint32_t, std::unique_ptr<Reservation>> reservations_;
  std::deque<Pelmo::Ptr<FlowOut>> queue_;
  size_t queuedInVain_ = 0;  // flows in the queue that were detached since
  std::map<std::pair<const Entity*, AttributeId>, std::unique_ptr<Transfer>> transfers_;
  std::map<ReferenceKey, Waiting> waiting_;
  std::set<std::pair<uint32_t, ReferenceKey>> waitingFor_;  // the same by target
  // What a guest has sent and the host has not seen, by message number and the other way round.
  std::map<uint64_t, ReferenceKey> underWay_;
  std::map<ReferenceKey, uint64_t> underWayAt_;
  uint64_t taken_ = 0;
  Out out_{{}};
  size_t outSize_ = 0;
  StreamDemuxer* demuxer_ = nullptr;
  const Applying* applying_ = nullptr;
  uint32_t flags_ = 0;
  uint32_t lastId_ = 0;
};

/// Ids of the runtime's own messages about a carried entity.
namespace BaseMessage {
constexpr AttributeId beginCollection = 1;  ///< U16 collection: a whole transfer starts
constexpr AttributeId endCollection = 2;    ///< U16 collection: what was not mentioned is gone
}  // namespace BaseMessage

}  // namespace Tovo::NboAttrLog

namespace Tovo {

/// The adapter as the hooks of entities know it.
using TovoNboAttrLogSa = NboAttrLog::StreamAdapter;

}  // namespace Tovo
