// What one connection still has to be told of one entity.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Pelmo/Ptr.h"
#include "Pelmo/Publisher.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Module.h"
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
class FlowOut : public Pelmo::Node, public Pelmo::Observer {
 public:
  /// Ids at or above this mark nothing dirty.
  static constexpr AttributeId startNowhere = 0xffff;

  /// Attaches to the entity. Nothing is dirty yet; collections below `start` count as sent.
  FlowOut(StreamAdapter& adapter, Entity& entity, uint32_t entityId, AttributeId start);
  ~FlowOut() override;

  Entity& entity() const noexcept { return *entity_; }
  TovoTypeBase type() const noexcept { return type_; }
  uint32_t entityId() const noexcept { return entityId_; }
  StreamAdapter* adapter() const noexcept { return adapter_; }
  /// The adapter has let go of the flow, or the entity is gone.
  bool detached() const noexcept { return adapter_ == nullptr; }
  void detachFromAdapter() noexcept;

  /// An attribute is to be sent; of a collection, what its dirty keys say, or all elements between
  /// markers while its first transfer is not complete.
  void tovoIsDirtyIs(AttributeId attribute, bool dirty);
  bool tovoIsDirty(AttributeId attribute) const noexcept;
  bool anyDirty() const noexcept { return firstDirty(0) != none; }
  /// The place (attributeOrdinal) of the first dirty attribute from a place on, or none.
  static constexpr uint32_t none = 0xffffffff;
  uint32_t firstDirty(uint32_t fromOrdinal) const noexcept;
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
  void handlePublisherGone(Pelmo::Publisher& publisher) override;

  /// Bytes that the flow holds beyond its own object.
  size_t heldBytes() const noexcept;

 private:
  friend class StreamAdapter;
  struct CollectionFlow;

  CollectionFlow* find(AttributeId collection) const noexcept;
  CollectionFlow& need(AttributeId collection);
  uint64_t& word(uint32_t ordinal) noexcept;
  uint64_t word(uint32_t ordinal) const noexcept;

  StreamAdapter* adapter_;
  Entity* entity_;
  TovoTypeBase type_;
  uint32_t entityId_;
  AttributeId start_;
  bool queued_ = false;
  uint64_t dirty_ = 0;                     // the first 64 attributes
  std::unique_ptr<uint64_t[]> moreDirty_;  // the others, where a type has so many
  std::vector<std::unique_ptr<CollectionFlow>> collections_;
};

}  // namespace Tovo::NboAttrLog
