// What one connection still has to be told of one entity.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Mirror/log/CollectionFlow.h"
#include "Mirror/log/DirtySet.h"
#include "Mirror/log/LogTable.h"
#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Types.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

class FlowQueue;

/// Observes its entity and remembers what changed, not how often: an attribute is dirty or not, a
/// collection has a set of keys to send. So what is held for a slow reader is bounded by the
/// entity's attributes and the keys that changed.
///
/// Belongs to an adapter, by way of its queue; does not keep the entity alive, and tells the
/// adapter when the entity goes.
class FlowOut : public Pelmo::Observer, public Pelmo::Node {
 public:
  /// Ids at or above this mark nothing dirty.
  static constexpr AttributeId startNowhere = 0xffff;

  /// Attaches to the entity. Nothing is dirty yet; collections below `start` count as sent.
  FlowOut(FlowQueue& queue, Entity& entity, uint32_t entityId, AttributeId start);
  ~FlowOut() override;

  Entity& entity() const noexcept { return *entity_; }
  const LogTable& table() const noexcept { return table_; }
  /// The number that is sent for the entity.
  uint32_t entityId() const noexcept { return entityId_; }
  /// The adapter has let go of the flow, or the entity is gone.
  bool detached() const noexcept { return !queue_; }
  /// The adapter lets go of it. Nothing is dirty and nothing is counted any more.
  void detachFromAdapter() noexcept;

  /// An attribute is to be sent; of a collection, what its dirty keys say, or all elements between
  /// markers while its first transfer is not complete.
  void tovoIsDirtyIs(AttributeId attribute, bool dirty);
  bool tovoIsDirty(AttributeId attribute) const noexcept;
  /// The same, of an attribute of the table.
  void dirtyIs(const LogAttribute& attribute) noexcept;
  /// All attributes with ids from one on are dirty.
  void dirtyFrom(AttributeId start) noexcept;
  /// How much is dirty: attributes, collections among them, and keys of these. Cost: their number.
  struct Dirty {
    size_t attributes = 0;
    size_t keys = 0;
  };
  Dirty dirty() const noexcept;

  /// What is to be told of a collection; null where nothing was noted yet.
  CollectionFlow* collection(AttributeId id) const noexcept;
  /// The same, made when there was none. Throws std::bad_alloc.
  CollectionFlow& needCollection(AttributeId id);
  /// A key of a collection is dirty. A host that would have to remember many more keys than there
  /// are elements sends all elements anew instead.
  void dirtyKeyIs(AttributeId collection, std::string key, bool left = false);
  /// A collection whose first transfer is complete.
  bool tovoHasSynced(AttributeId collection) const noexcept;

  /// The key behind which the interrupted transfer of a collection goes on, in its encoded form.
  void tovoFlowOutBookmarkEnq(AttributeId collection, std::string key) {
    needCollection(collection).bookmarkIs(std::move(key));
  }
  std::optional<std::string> tovoFlowOutBookmarkDeq(AttributeId collection);
  void bookmarkIs(AttributeId collection, std::string key) {
    tovoFlowOutBookmarkEnq(collection, std::move(key));
  }
  /// Forgets bookmarks and key sets of a collection.
  void freeResyncState(AttributeId collection) noexcept;

 private:
  friend class FlowQueue;
  friend class Sender;
  friend class Carrier;

  void handleChange(const Pelmo::Change& change) override;
  void handlePublisherGone() override;
  void handleOtherChange(const LogAttribute& attribute, const Pelmo::Change& change);
  void handleCollectionChange(const LogAttribute& attribute, const Pelmo::Change& change);

  // Two cache lines, with what observes: there is one of these for each entity.
  FlowQueue* queue_;
  Entity* entity_;
  const LogTable& table_;
  FlowOut* nextQueued_ = nullptr;
  FlowOut* previousQueued_ = nullptr;
  uint32_t entityId_;
  AttributeId start_;
  bool queued_ : 1 = false;
  bool toHost_ : 1 = false;    // what is sent is under way until it is taken
  bool complete_ : 1 = false;  // everything was sent once
  DirtySet dirty_;
  std::unique_ptr<CollectionFlow> collections_;  // the first of them, the last one that was made
};

static_assert(sizeof(FlowOut) <= 128);

}  // namespace Tovo::NboAttrLog
