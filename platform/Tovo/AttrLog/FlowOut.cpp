#include "Tovo/AttrLog/FlowOut.h"

#include <algorithm>
#include <bit>
#include <deque>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/AttrLog/StreamAdapter.h"
#include "Tovo/Collection.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

struct FlowOut::CollectionFlow {
  AttributeId collection;
  bool synced = false;
  bool walking = false;  // a whole transfer has begun and its end marker is not sent
  std::string bookmark;  // the last key that it sent
  bool hasBookmark = false;
  std::deque<const std::string*> order;        // of `keys`
  std::unordered_map<std::string, bool> keys;  // whether an element that the peer knows has left
  std::unordered_set<std::string> mentioned;
  std::unique_ptr<CollectionFlow> next;
};

namespace {

// A node, its part of the index and of the order, and a text that is too long to stand in it.
size_t costOf(const std::string& key) noexcept {
  constexpr size_t node = sizeof(std::string) + 6 * sizeof(void*);
  return node + (key.capacity() < sizeof(std::string) / 2 ? 0 : key.capacity() + 1);
}

}  // namespace

FlowOut::FlowOut(StreamAdapter& adapter, Entity& entity, uint32_t entityId, AttributeId start)
    : adapter_(&adapter),
      entity_(&entity),
      table_(LogTable::of(entity.tovoType())),
      entityId_(entityId),
      start_(start) {
  const uint32_t total = table_.total();
  if (total > 64) moreDirty_ = std::make_unique<uint64_t[]>((total - 1) / 64);
  observe(entity.nodePublisher());
}

FlowOut::~FlowOut() {
  if (!adapter_) return;
  adapter_->dequeue(*this);
  forgetCollections();
}

void FlowOut::detachFromAdapter() noexcept {
  adapter_->dequeue(*this);
  forgetCollections();
  adapter_ = nullptr;
  detach();
}

void FlowOut::holds(size_t bytes) noexcept {
  if (adapter_) adapter_->keyBytes_ += bytes;
}

void FlowOut::drops(size_t bytes) noexcept {
  if (adapter_) adapter_->keyBytes_ -= bytes;
}

// What was held is not counted any more; a call that is going on may still ask for it.
void FlowOut::forgetCollections() noexcept {
  for (const auto* flow = collections_.get(); flow; flow = flow->next.get()) {
    clearDirtyKeys(flow->collection);
    forgetMentioned(flow->collection);
    drops(sizeof(CollectionFlow));
  }
}

void FlowOut::dirtyIs(const LogAttribute& attribute) noexcept {
  dirtyBit(attribute);
  if (!queued_ && adapter_) adapter_->enqueue(*this);
}

void FlowOut::dirtyFrom(AttributeId start) noexcept {
  if (start == 0 && !moreDirty_) {
    dirty_ |= table_.loggedBits();
  } else if (start != startNowhere) {
    for (uint32_t ordinal = 0; ordinal < table_.total(); ++ordinal) {
      const LogAttribute& attribute = table_.at(ordinal);
      if (attribute.logged && attribute.id >= start) dirtyBit(attribute);
    }
  }
  if (!queued_ && adapter_ && anyDirty()) adapter_->enqueue(*this);
}

void FlowOut::tovoIsDirtyIs(AttributeId attribute, bool dirty) {
  const LogAttribute* chosen = table_.logged(attribute);
  if (!chosen) return;
  if (dirty) {
    dirtyIs(*chosen);
  } else {
    cleanIs(*chosen);
  }
}

bool FlowOut::tovoIsDirty(AttributeId attribute) const noexcept {
  const LogAttribute* chosen = table_.logged(attribute);
  return chosen && isDirty(*chosen);
}

FlowOut::Dirty FlowOut::dirty() const noexcept {
  Dirty dirty;
  for (uint32_t at = firstDirty(0); at != none; at = firstDirty(at + 1)) ++dirty.attributes;
  for (const auto* flow = collections_.get(); flow; flow = flow->next.get()) {
    dirty.keys += flow->keys.size();
  }
  return dirty;
}

FlowOut::CollectionFlow* FlowOut::find(AttributeId collection) const noexcept {
  CollectionFlow* flow = collections_.get();
  while (flow && flow->collection != collection) flow = flow->next.get();
  return flow;
}

FlowOut::CollectionFlow& FlowOut::need(AttributeId collection) {
  if (CollectionFlow* flow = find(collection)) return *flow;
  auto flow = std::make_unique<CollectionFlow>();
  flow->collection = collection;
  flow->synced = collection < start_;
  flow->next = std::move(collections_);
  collections_ = std::move(flow);
  holds(sizeof(CollectionFlow));
  return *collections_;
}

bool FlowOut::tovoHasSynced(AttributeId collection) const noexcept {
  const CollectionFlow* flow = find(collection);
  return flow ? flow->synced : collection < start_;
}

void FlowOut::tovoHasSyncedIs(AttributeId collection) {
  CollectionFlow& flow = need(collection);
  flow.synced = true;
  flow.walking = false;
}

void FlowOut::tovoFlowOutBookmarkEnq(AttributeId collection, std::string key) {
  CollectionFlow& flow = need(collection);
  flow.bookmark = std::move(key);
  flow.hasBookmark = true;
}

std::optional<std::string> FlowOut::tovoFlowOutBookmarkDeq(AttributeId collection) {
  CollectionFlow* flow = find(collection);
  if (!flow || !flow->hasBookmark) return std::nullopt;
  flow->hasBookmark = false;
  return std::move(flow->bookmark);
}

void FlowOut::bookmarkGone(AttributeId collection, const std::string& key) noexcept {
  CollectionFlow* flow = find(collection);
  if (flow && flow->hasBookmark && flow->bookmark == key) flow->hasBookmark = false;
}

void FlowOut::transferBegun(AttributeId collection) { need(collection).walking = true; }

bool FlowOut::transferring(AttributeId collection) const noexcept {
  const CollectionFlow* flow = find(collection);
  return flow && flow->walking;
}

void FlowOut::dirtyKeyIs(AttributeId collection, std::string key, bool left) {
  CollectionFlow& flow = need(collection);
  const auto [at, inserted] = flow.keys.try_emplace(std::move(key), false);
  at->second = at->second || left;
  if (inserted) {
    flow.order.push_back(&at->first);
    holds(costOf(at->first));
  }
  // Mostly keys that came and went while the peer did not read. A guest may not do this: what it
  // does not mention would be deleted at the host.
  constexpr size_t alwaysKept = 256;
  if (!inserted || flow.keys.size() <= alwaysKept) return;
  const Attribute attribute = table_.logged(collection)->attribute;
  if (flow.keys.size() > alwaysKept + 2 * collectionMap(*entity_, attribute).size() && adapter_ &&
      !toHost_) {
    freeResyncState(collection);
    flow.synced = false;
  }
}

bool FlowOut::hasDirtyKey(AttributeId collection, const std::string& key) const {
  const CollectionFlow* flow = find(collection);
  return flow && flow->keys.contains(key);
}

bool FlowOut::hasLeft(AttributeId collection, const std::string& key) const {
  const CollectionFlow* flow = find(collection);
  if (!flow) return false;
  const auto known = flow->keys.find(key);
  return known != flow->keys.end() && known->second;
}

void FlowOut::leavingIsKnown(AttributeId collection, const std::string& key) {
  CollectionFlow* flow = find(collection);
  if (!flow) return;
  const auto known = flow->keys.find(key);
  if (known != flow->keys.end()) known->second = false;
}

void FlowOut::dropDirtyKey(AttributeId collection, const std::string& key) {
  CollectionFlow* flow = find(collection);
  if (!flow) return;
  const auto known = flow->keys.find(key);
  if (known == flow->keys.end()) return;
  flow->order.erase(std::find(flow->order.begin(), flow->order.end(), &known->first));
  drops(costOf(known->first));
  flow->keys.erase(known);
}

const std::string* FlowOut::firstDirtyKey(AttributeId collection) const noexcept {
  const CollectionFlow* flow = find(collection);
  return flow && !flow->order.empty() ? flow->order.front() : nullptr;
}

void FlowOut::clearDirtyKeys(AttributeId collection) noexcept {
  CollectionFlow* flow = find(collection);
  if (!flow) return;
  for (const auto& [key, left] : flow->keys) drops(costOf(key));
  flow->order.clear();
  flow->keys.clear();
  constexpr size_t keptPlaces = 256;
  if (flow->keys.bucket_count() <= keptPlaces) return;
  flow->order.shrink_to_fit();
  const auto index = std::exchange(flow->keys, {});
}

void FlowOut::mentionedIs(AttributeId collection, std::string key) {
  const auto [at, inserted] = need(collection).mentioned.insert(std::move(key));
  if (inserted) holds(costOf(*at));
}

bool FlowOut::isMentioned(AttributeId collection, const std::string& key) const {
  const CollectionFlow* flow = find(collection);
  return flow && flow->mentioned.contains(key);
}

void FlowOut::forgetMentioned(AttributeId collection) noexcept {
  CollectionFlow* flow = find(collection);
  if (!flow) return;
  for (const std::string& key : flow->mentioned) drops(costOf(key));
  const auto last = std::exchange(flow->mentioned, {});
}

void FlowOut::freeResyncState(AttributeId collection) noexcept {
  CollectionFlow* flow = find(collection);
  if (!flow) return;
  clearDirtyKeys(collection);
  flow->walking = false;
  flow->hasBookmark = false;
  flow->bookmark.clear();
}

void FlowOut::handleChange(const Pelmo::Change& change) {
  if (!adapter_) return;
  const LogAttribute* attribute = table_.logged(change.attribute);
  // What the peer says, it knows; and what hung below it is forgotten already.
  if (!attribute || adapter_->appliesNow()) return;
  if (attribute->kind != AttributeKind::attribute) return handleOtherChange(*attribute, change);
  dirtyBit(*attribute);
  if (!queued_) adapter_->enqueue(*this);
}

// Apart, so that a value's change has no more to do than it needs.
[[gnu::noinline]] void FlowOut::handleOtherChange(const LogAttribute& attribute,
                                                  const Pelmo::Change& change) {
  if (attribute.kind == AttributeKind::pointer) {
    adapter_->referenceArrived(*entity_, attribute.attribute);
    return dirtyIs(attribute);
  }
  // Keeps the flow while the adapter forgets what hangs below the entity.
  const Pelmo::Ptr<FlowOut> self(this);
  try {
    handleCollectionChange(attribute, change);
  } catch (const std::exception&) {
    // The writer is not to blame that there is no memory; but the peer would never be told.
    if (adapter_) adapter_->changeLost_ = true;
  }
}

void FlowOut::handleCollectionChange(const LogAttribute& attribute, const Pelmo::Change& change) {
  const AttributeId id = attribute.id;
  bool left = false;
  if (attribute.kind == AttributeKind::ownCollection && change.previous) {
    Entity& element = **static_cast<Entity* const*>(change.previous);
    left = adapter_->entityId(element) != 0;
    adapter_->unbindTree(element);
  }
  // A transfer that has not begun will send the collection as it is by then.
  const bool early =
      !transferring(id) && isDirty(attribute) && !firstDirtyKey(id) && !tovoHasSynced(id);
  const bool isReference = attribute.kind == AttributeKind::refCollection;
  if (early && !isReference) return;
  std::string key = encoded(*attribute.keyOps, change.key);
  if (isReference) adapter_->referenceArrived(*entity_, attribute.attribute, key);
  if (early) return;
  // An element that is made again stands at the end of the collection: a transfer that went on
  // behind it would miss all in between.
  if (!change.previous || !collectionFind(*entity_, attribute.attribute, change.key)) {
    bookmarkGone(id, key);
  }
  dirtyKeyIs(id, std::move(key), left);
  dirtyIs(attribute);
}

void FlowOut::handlePublisherGone() {
  if (!adapter_) return;
  const Pelmo::Ptr<FlowOut> self(this);
  adapter_->entityGone(*this);
}

}  // namespace Tovo::NboAttrLog
