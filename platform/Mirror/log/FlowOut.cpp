#include "Mirror/log/FlowOut.h"

#include <exception>

#include "Mirror/log/FlowQueue.h"
#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/Collection.h"
#include "Tovo/Entity.h"

namespace Tovo::NboAttrLog {

FlowOut::FlowOut(FlowQueue& queue, Entity& entity, uint32_t entityId, AttributeId start)
    : queue_(&queue),
      entity_(&entity),
      table_(LogTable::of(entity.tovoType())),
      entityId_(entityId),
      start_(start),
      dirty_(table_) {
  observe(entity.nodePublisher());
}

FlowOut::~FlowOut() {
  if (queue_) queue_->remove(*this);
}

// What was noted of collections is forgotten, but its objects stay: a call that is going on may
// still ask them.
void FlowOut::detachFromAdapter() noexcept {
  queue_->remove(*this);
  for (auto* flow = collections_.get(); flow; flow = flow->next_.get()) flow->forget();
  queue_ = nullptr;
  detach();
}

void FlowOut::dirtyIs(const LogAttribute& attribute) noexcept {
  dirty_.add(attribute);
  if (!queued_ && queue_) queue_->add(*this);
}

void FlowOut::dirtyFrom(AttributeId start) noexcept {
  const uint32_t total = table_.total();
  if (start == 0 && total <= 64) {
    dirty_.addFirst(table_.loggedBits());
  } else if (start != startNowhere) {
    for (uint32_t ordinal = 0; ordinal < total; ++ordinal) {
      const LogAttribute& attribute = table_.at(ordinal);
      if (attribute.logged && attribute.id >= start) dirty_.add(attribute);
    }
  }
  if (!queued_ && queue_ && dirty_.first(total) != DirtySet::none) queue_->add(*this);
}

void FlowOut::tovoIsDirtyIs(AttributeId attribute, bool dirty) {
  const LogAttribute* chosen = table_.logged(attribute);
  if (!chosen) return;
  if (dirty) {
    dirtyIs(*chosen);
  } else {
    dirty_.remove(*chosen);
  }
}

bool FlowOut::tovoIsDirty(AttributeId attribute) const noexcept {
  const LogAttribute* chosen = table_.logged(attribute);
  return chosen && dirty_.has(*chosen);
}

FlowOut::Dirty FlowOut::dirty() const noexcept {
  Dirty dirty;
  const uint32_t total = table_.total();
  for (uint32_t at = dirty_.first(total); at != DirtySet::none; at = dirty_.next(at + 1, total)) {
    ++dirty.attributes;
  }
  for (const auto* flow = collections_.get(); flow; flow = flow->next_.get()) {
    dirty.keys += flow->dirtyKeys();
  }
  return dirty;
}

CollectionFlow* FlowOut::collection(AttributeId id) const noexcept {
  CollectionFlow* flow = collections_.get();
  while (flow && flow->collection() != id) flow = flow->next_.get();
  return flow;
}

CollectionFlow& FlowOut::needCollection(AttributeId id) {
  if (CollectionFlow* flow = collection(id)) return *flow;
  auto flow =
      std::make_unique<CollectionFlow>(id, id < start_, queue_ ? &queue_->heldBytes() : nullptr);
  flow->next_ = std::move(collections_);
  collections_ = std::move(flow);
  return *collections_;
}

bool FlowOut::tovoHasSynced(AttributeId id) const noexcept {
  const CollectionFlow* flow = collection(id);
  return flow ? flow->transfer() == CollectionFlow::Transfer::complete : id < start_;
}

std::optional<std::string> FlowOut::tovoFlowOutBookmarkDeq(AttributeId id) {
  CollectionFlow* flow = collection(id);
  return flow ? flow->takeBookmark() : std::nullopt;
}

void FlowOut::freeResyncState(AttributeId id) noexcept {
  if (CollectionFlow* flow = collection(id)) flow->freeResyncState();
}

void FlowOut::dirtyKeyIs(AttributeId id, std::string key, bool left) {
  CollectionFlow& flow = needCollection(id);
  flow.dirtyKeyIs(std::move(key), left);
  // So many keys are mostly of entries that came and went while the peer did not read. A guest may
  // not send the collection anew: the host would delete what the guest does not mention.
  constexpr size_t alwaysKept = 256;
  if (flow.dirtyKeys() <= alwaysKept || toHost_) return;
  const size_t elements = collectionMap(*entity_, table_.logged(id)->attribute).size();
  if (flow.dirtyKeys() <= alwaysKept + 2 * elements) return;
  flow.freeResyncState();
  flow.transferIs(CollectionFlow::Transfer::due);
}

void FlowOut::handleChange(const Pelmo::Change& change) {
  if (!queue_) return;
  const LogAttribute* attribute = table_.logged(change.attribute);
  // The peer knows what it has said itself. An element that it has removed is not carried any more:
  // the receiver has let go of it already.
  if (!attribute || queue_->publishesPeer()) return;
  if (attribute->kind != AttributeKind::attribute) return handleOtherChange(*attribute, change);
  dirty_.add(*attribute);
  if (!queued_) queue_->add(*this);
}

// This is a function of its own, so that the change of a value, which is the usual one, does
// nothing for the others.
[[gnu::noinline]] void FlowOut::handleOtherChange(const LogAttribute& attribute,
                                                  const Pelmo::Change& change) {
  if (attribute.kind == AttributeKind::pointer) {
    queue_->owner().handleReferenceSet(*entity_, attribute.id, {});
    return dirtyIs(attribute);
  }
  // The adapter may let go of the flow together with what hangs below the entity.
  const Pelmo::Ptr<FlowOut> self(this);
  try {
    handleCollectionChange(attribute, change);
  } catch (const std::exception&) {
    // The writer is not to blame that there is no memory, so it sees no exception; but the
    // connection has to end, since its peer would never be told of the change.
    if (queue_) queue_->changeLost();
  }
}

void FlowOut::handleCollectionChange(const LogAttribute& attribute, const Pelmo::Change& change) {
  const AttributeId id = attribute.id;
  bool left = false;
  if (attribute.kind == AttributeKind::ownCollection && change.previous) {
    left = queue_->owner().handleElementLeft(**static_cast<Entity* const*>(change.previous));
    if (!queue_) return;
  }
  // A transfer that has not begun will send the collection as it is by then.
  const CollectionFlow* known = collection(id);
  const bool isEarly =
      dirty_.has(attribute) && !tovoHasSynced(id) &&
      (!known || (known->transfer() == CollectionFlow::Transfer::due && !known->firstDirtyKey()));
  const bool isReference = attribute.kind == AttributeKind::refCollection;
  if (isEarly && !isReference) return;
  std::string key = encoded(*attribute.keyOps, change.key);
  if (isReference) queue_->owner().handleReferenceSet(*entity_, id, key);
  if (isEarly) return;
  // An element that is made again stands at the end of the collection: a transfer that went on
  // behind it would miss all in between.
  if (!change.previous || !collectionFind(*entity_, attribute.attribute, change.key)) {
    needCollection(id).bookmarkGone(key);
  }
  dirtyKeyIs(id, std::move(key), left);
  dirtyIs(attribute);
}

void FlowOut::handlePublisherGone() {
  if (!queue_) return;
  const Pelmo::Ptr<FlowOut> self(this);
  queue_->owner().handleEntityGone(*entity_);
}

}  // namespace Tovo::NboAttrLog
