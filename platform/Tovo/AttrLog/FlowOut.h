// What one connection still has to be told of one entity.
#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/AttrLog/LogTable.h"
#include "Tovo/Types.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

class StreamAdapter;

/// Observes its entity and remembers what changed, not how often: an attribute is dirty or not, a
/// collection has a set of keys to send. So what is held for a slow reader is bounded by the
/// entity's attributes and the keys that changed.
///
/// Belongs to a stream adapter; does not keep the entity alive, and says good-bye to the adapter
/// when the entity goes.
class FlowOut : public Pelmo::Observer, public Pelmo::Node {
 public:
  /// Ids at or above this mark nothing dirty.
  static constexpr AttributeId startNowhere = 0xffff;

  /// Attaches to the entity. Nothing is dirty yet; collections below `start` count as sent.
  FlowOut(StreamAdapter& adapter, Entity& entity, uint32_t entityId, AttributeId start);
  ~FlowOut() override;

  Entity& entity() const noexcept { return *entity_; }
  TovoTypeBase type() const noexcept { return table_.type(); }
  const LogTable& table() const noexcept { return table_; }
  uint32_t entityId() const noexcept { return entityId_; }
  StreamAdapter* adapter() const noexcept { return adapter_; }
  /// The adapter has let go of the flow, or the entity is gone.
  bool detached() const noexcept { return adapter_ == nullptr; }
  void detachFromAdapter() noexcept;

  /// An attribute is to be sent; of a collection, what its dirty keys say, or all elements between
  /// markers while its first transfer is not complete.
  void tovoIsDirtyIs(AttributeId attribute, bool dirty);
  bool tovoIsDirty(AttributeId attribute) const noexcept;
  /// All attributes with ids from one on are dirty.
  void dirtyFrom(AttributeId start) noexcept;
  /// The same by the place of the attribute in the table.
  void dirtyIs(const LogAttribute& attribute) noexcept;
  void cleanIs(const LogAttribute& attribute) noexcept {
    word(attribute.ordinal) &= ~(uint64_t{1} << (attribute.ordinal & 63));
  }
  bool isDirty(const LogAttribute& attribute) const noexcept {
    return (word(attribute.ordinal) >> (attribute.ordinal & 63) & 1) != 0;
  }
  /// The same of all attributes of a run.
  bool isDirty(const LogRun& run) const noexcept {
    return (word(64 * run.word) & run.bits) == run.bits;
  }
  void cleanIs(const LogRun& run) noexcept { word(64 * run.word) &= ~run.bits; }
  /// Nothing is dirty but values of fixed size.
  bool onlyFixedDirty() const noexcept {
    return !moreDirty_ && (dirty_ & ~table_.fixedBits()) == 0;
  }
  /// How much is dirty: attributes, collections among them, and keys of these. Cost: their number.
  struct Dirty {
    size_t attributes = 0;
    size_t keys = 0;
  };
  Dirty dirty() const noexcept;
  bool anyDirty() const noexcept { return firstDirty(0) != none; }
  /// The ordinal of the first dirty attribute from one on, or none.
  static constexpr uint32_t none = 0xffffffff;
  uint32_t firstDirty(uint32_t fromOrdinal) const noexcept {
    const uint32_t total = table_.total();
    for (uint32_t ordinal = fromOrdinal; ordinal < total; ordinal = (ordinal | 63) + 1) {
      const uint64_t left = word(ordinal) >> (ordinal & 63);
      if (left != 0) return ordinal + static_cast<uint32_t>(std::countr_zero(left));
    }
    return none;
  }
  /// A collection whose first transfer is complete.
  bool tovoHasSynced(AttributeId collection) const noexcept;
  void tovoHasSyncedIs(AttributeId collection);

  /// The whole transfer of a collection has begun.
  void transferBegun(AttributeId collection);
  bool transferring(AttributeId collection) const noexcept;

  /// The key behind which the interrupted transfer of a collection goes on, in its encoded form.
  void tovoFlowOutBookmarkEnq(AttributeId collection, std::string key);
  std::optional<std::string> tovoFlowOutBookmarkDeq(AttributeId collection);
  void bookmarkIs(AttributeId collection, std::string key) {
    tovoFlowOutBookmarkEnq(collection, std::move(key));
  }

  /// What stood under a key has left, or stands at the end now: the transfer cannot go on there.
  void bookmarkGone(AttributeId collection, const std::string& key) noexcept;

  /// Keys of a collection that changed since it was sent; each once, the oldest first. A host that
  /// would have to remember many more keys than there are elements sends all elements anew instead.
  /// `left`: an element that the peer knows has left, so that one that is there by then is another.
  void dirtyKeyIs(AttributeId collection, std::string key, bool left = false);
  bool hasDirtyKey(AttributeId collection, const std::string& key) const;
  void dropDirtyKey(AttributeId collection, const std::string& key);
  bool hasLeft(AttributeId collection, const std::string& key) const;
  /// The peer was told, or says itself, that the element is not there any more.
  void leavingIsKnown(AttributeId collection, const std::string& key);
  const std::string* firstDirtyKey(AttributeId collection) const noexcept;
  void clearDirtyKeys(AttributeId collection) noexcept;

  /// What a guest's whole transfer has mentioned: the host goes by its own knowledge of these keys,
  /// and deletes others at the end.
  void mentionedIs(AttributeId collection, std::string key);
  bool isMentioned(AttributeId collection, const std::string& key) const;
  void forgetMentioned(AttributeId collection) noexcept;

  /// Forgets bookmarks and key sets of a collection.
  void freeResyncState(AttributeId collection) noexcept;

  void handleChange(const Pelmo::Change& change) override;
  void handlePublisherGone() override;

 private:
  friend class StreamAdapter;
  struct CollectionFlow;

  void handleOtherChange(const LogAttribute& attribute, const Pelmo::Change& change);
  void handleCollectionChange(const LogAttribute& attribute, const Pelmo::Change& change);
  CollectionFlow* find(AttributeId collection) const noexcept;
  CollectionFlow& need(AttributeId collection);
  /// What all flows of the adapter hold beyond their own objects is counted there.
  void holds(size_t bytes) noexcept;
  void drops(size_t bytes) noexcept;
  void forgetCollections() noexcept;
  void dirtyBit(const LogAttribute& attribute) noexcept {
    word(attribute.ordinal) |= uint64_t{1} << (attribute.ordinal & 63);
  }
  uint64_t& word(uint32_t ordinal) noexcept {
    return ordinal < 64 ? dirty_ : moreDirty_[ordinal / 64 - 1];
  }
  uint64_t word(uint32_t ordinal) const noexcept {
    return ordinal < 64 ? dirty_ : moreDirty_[ordinal / 64 - 1];
  }

  // Two cache lines, with what observes: there is one of these for each entity.
  StreamAdapter* adapter_;
  Entity* entity_;
  const LogTable& table_;
  FlowOut* nextQueued_ = nullptr;
  FlowOut* previousQueued_ = nullptr;
  uint32_t entityId_;
  AttributeId start_;
  bool queued_ : 1 = false;
  bool toHost_ : 1 = false;                      // what is sent is under way until it is taken
  bool complete_ : 1 = false;                    // everything was sent once
  uint64_t dirty_ = 0;                           // the first 64 attributes
  std::unique_ptr<uint64_t[]> moreDirty_;        // the others, where a type has so many
  std::unique_ptr<CollectionFlow> collections_;  // the first of them, the last one that was made
};

static_assert(sizeof(FlowOut) <= 128);

}  // namespace Tovo::NboAttrLog
