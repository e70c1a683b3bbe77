// How an adapter applies what it receives.
#include <utility>
#include <vector>

#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/AttrLog/StreamAdapter.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"

namespace Tovo::NboAttrLog {

void StreamAdapter::handleMessage(uint32_t entityId, AttributeId attribute, In in) {
  try {
    inTurn([&] { applyMessage(entityId, attribute, in); });
  } catch (const AdapterGone&) {
    // It is applied as far as it got.
  }
}

bool StreamAdapter::askDemuxer(Entity& entity, AttributeId attribute, In& in) {
  bool taken = false;
  callOut([&] { taken = demuxer_->handleMessage(entity, attribute, in); });
  return taken;
}

void StreamAdapter::applyMessage(uint32_t entityId, AttributeId attribute, In& in) {
  ++counters_.messagesReceived;
  Carried target = asked_;
  if (target.id != entityId) {
    const Binding* binding = bindings_.find(entityId);
    if (!binding) {
      // It was removed here while the message was on its way.
      owesTaken_ = true;
      ++counters_.unknownEntities;
      return;
    }
    asked_ = target = carriedAs(entityId, *binding);
  }
  if (target.host) owesTaken_ = true;
  if (applyFixed(target, attribute, in)) return;
  target.table->hooks().doHandleAttrDeserialization(*this, *target.entity, attribute, in);
}

// Values of fixed size for an entity that nobody observes, a flow neither, and the peer may write.
// False, and nothing is read: it is something else.
inline bool StreamAdapter::applyFixed(const Carried& target, AttributeId attribute, In& in) {
  Entity& entity = *target.entity;
  if (demuxer_ || (target.host && target.readOnly) || entity.nodePublisher().observed()) {
    return false;
  }
  if (attribute == BaseMessage::values) return applyRun(entity, *target.table, in);
  const LogAttribute* const known = target.table->logged(attribute);
  if (!known || !known->decode) return false;
  const uint8_t* const from = in.take(known->encodedSize);
  in.expectEnd();
  known->decode(from, known->storedIn(entity));
  return true;
}

inline bool StreamAdapter::applyRun(Entity& entity, const LogTable& table, In& in) {
  constexpr size_t ids = 2 * sizeof(AttributeId);
  if (in.remaining() < ids) return false;
  In ahead = in;
  const AttributeId first = ahead.nextU16();
  const AttributeId last = ahead.nextU16();
  for (const LogRun& run : table.runs()) {
    if (run.first != first || run.last != last || run.encodedSize != ahead.remaining()) continue;
    run.decode(ahead.take(run.encodedSize), entity);
    in = ahead;
    return true;
  }
  return false;
}

void StreamAdapter::doBaseTovoNboAttrLogSaMsg(Entity& entity, AttributeId attribute, In& in) {
  if (attribute != BaseMessage::beginCollection && attribute != BaseMessage::endCollection) {
    return unknownAttributeArrived();
  }
  const AttributeId id = in.nextU16();
  in.expectEnd();
  const Attribute collection = attributeById(entity.tovoType(), id);
  if (!collection || !collection.isCollection()) {
    throw StreamException("a transfer of attribute " + std::to_string(id) + ", which is no " +
                          "collection of " + typeName(entity.tovoType()));
  }
  if (attribute == BaseMessage::beginCollection) {
    beginTransfer(entity, collection);
  } else {
    endTransfer(entity, collection);
  }
}

bool StreamAdapter::isPendingAtGuest(const FlowOut& flow, AttributeId attribute) const noexcept {
  if (flow.tovoIsDirty(attribute)) return true;
  return !underWay_.empty() && underWay_.contains({&flow.entity(), attribute, {}});
}

bool StreamAdapter::isPending(const Entity& entity, AttributeId collection,
                              const std::string& key) const {
  const Carried& known = carried(entity);
  if (!known.flow || known.host) return false;
  const FlowOut& flow = *known.flow;
  Entity* const holder = &flow.entity();
  if (flow.hasDirtyKey(collection, key) || underWay_.contains({holder, collection, key})) {
    return true;
  }
  const bool whole =
      !flow.tovoHasSynced(collection) || underWay_.contains({holder, collection, {}});
  return whole && !flow.isMentioned(collection, key);
}

void StreamAdapter::noteUnderWay(FlowOut& flow, AttributeId attribute, const std::string& key) {
  if (flow.detached()) return;
  if (!key.empty() && !flow.tovoHasSynced(attribute)) flow.mentionedIs(attribute, key);
  underWay_.add({&flow.entity(), attribute, key}, counters_.messagesSent);
}

void StreamAdapter::noteUnderWay(FlowOut& flow, AttributeId attribute) {
  noteUnderWay(flow, attribute, {});
}

void StreamAdapter::takenIs(uint32_t count) {
  const uint64_t taken = taken_ + static_cast<uint32_t>(count - static_cast<uint32_t>(taken_));
  if (taken > counters_.messagesSent) {
    throw StreamException("the peer has taken " + std::to_string(taken) + " messages, but " +
                          std::to_string(counters_.messagesSent) + " were sent");
  }
  taken_ = taken;
  underWay_.seen(taken, [&](const Place& place) {
    const auto& [entity, attribute, key] = place;
    if (FlowOut* whole = key.empty() ? flow(*entity) : nullptr) whole->forgetMentioned(attribute);
    // A transfer that is under way may have gone past its place.
    const auto transfer = transfers_.find({entity, attribute});
    if (transfer != transfers_.end()) noteSeen(transfer->second, key);
  });
}

bool StreamAdapter::allowWriteFromReadOnlyRemote(const Entity&, AttributeId) { return false; }

void StreamAdapter::eraseEntry(Entity& owner, Attribute collection, const void* key,
                               const std::string& bytes) {
  if (FlowOut* told = flow(owner)) told->bookmarkGone(collection.id(), bytes);
  if (collection.kind() == AttributeKind::ownCollection ||
      collection.kind() == AttributeKind::refCollection) {
    const void* item = collectionFind(owner, collection, key);
    Entity* element = item ? elementEntity(item) : nullptr;
    keepForTurn(element);
    if (element && collection.kind() == AttributeKind::ownCollection) unbindTree(*element);
  }
  collectionOps(collection).erase(owner, key);
}

void StreamAdapter::beginTransfer(Entity& entity, Attribute collection) {
  const auto before = transfers_.find({&entity, collection.id()});
  if (before != transfers_.end()) takeTransfer(before);
  transfers_.emplace(std::pair(&entity, collection.id()), Transfer{++lastTransfer_, {}});
}

namespace {

// A node and its place in the index.
size_t costOf(const std::string& key) noexcept {
  return sizeof(std::string) + 4 * sizeof(void*) + key.size();
}

}  // namespace

void StreamAdapter::noteSeen(Transfer& transfer, const std::string& key) {
  if (transfer.seen.insert(key).second) seenBytes_ += costOf(key);
}

StreamAdapter::Transfer StreamAdapter::takeTransfer(Transfers::iterator at) noexcept {
  for (const std::string& key : at->second.seen) seenBytes_ -= costOf(key);
  Transfer transfer = std::move(at->second);
  transfers_.erase(at);
  return transfer;
}

void StreamAdapter::endTransfer(Entity& owner, Attribute collection) {
  const auto it = transfers_.find({&owner, collection.id()});
  if (it == transfers_.end()) {
    throw StreamException("the end of a transfer of " + pathOf(owner, collection.name()) +
                          " that did not begin");
  }
  const Transfer transfer = takeTransfer(it);
  const AttributeId id = collection.id();
  waiting_.removeUnless(owner, id,
                        [&](const std::string& key) { return transfer.seen.contains(key); });
  std::vector<std::string> gone;
  const ValueOps& keyOps = collection.keyOps();
  const bool ofElements = collection.kind() == AttributeKind::ownCollection;
  forEachElement(owner, collection, [&](const void* key, const void* item) {
    if (ofElements) {
      const uint32_t* known = ids_.find(elementEntity(item));
      const Binding* binding = known ? bindings_.find(*known) : nullptr;
      if (binding && binding->transfer == transfer.number) return;
    }
    std::string bytes = encoded(keyOps, key);
    if (!transfer.seen.contains(bytes) && !isPending(owner, id, bytes)) {
      gone.push_back(std::move(bytes));
    }
  });
  for (const std::string& bytes : gone) {
    ValueBuffer key(keyOps);
    decode(bytes, key);
    eraseEntry(owner, collection, key.get(), bytes);
  }
}

void StreamAdapter::seenKey(Entity& owner, Attribute collection, const std::string& key,
                            bool there) {
  if (transfers_.empty()) return;
  const auto it = transfers_.find({&owner, collection.id()});
  if (it == transfers_.end()) return;
  if (there) {
    noteSeen(it->second, key);
  } else if (it->second.seen.erase(key) > 0) {
    seenBytes_ -= costOf(key);
  }
}

void StreamAdapter::seenElement(Entity& owner, AttributeId collection, uint32_t element) {
  if (transfers_.empty()) return;
  const auto it = transfers_.find({&owner, collection});
  if (it == transfers_.end()) return;
  if (Binding* binding = bindings_.find(element)) binding->transfer = it->second.number;
}

void StreamAdapter::awaitReference(Entity& holder, Attribute attribute, std::string key,
                                   uint32_t target) {
  waiting_.add({&holder, attribute.id(), std::move(key)}, target);
}

void StreamAdapter::referenceArrived(Entity& holder, Attribute attribute, const std::string& key) {
  if (!waiting_.empty()) waiting_.remove({&holder, attribute.id(), key});
}

void StreamAdapter::checkReferenceType(Attribute attribute, TovoTypeBase target) {
  if (isDerived(target, attribute.type())) return;
  throw StreamException("'" + std::string(attribute.name()) + "' refers to a " + typeName(target) +
                        "; it takes a " + attribute.typeName());
}

void StreamAdapter::resolveReferences(uint32_t target, Entity& entity) {
  if (!Turn::anyOpen()) return inTurn([&] { resolveReferences(target, entity); });
  while (const Place* first = waiting_.firstFor(target)) {
    const Place reference = *first;
    const Pelmo::Ptr<Entity> holder(reference.holder);
    waiting_.remove(reference);
    applyReference(reference, &entity);
    // The guest may have been told meanwhile that it is null.
    tellReference(reference);
  }
}

void StreamAdapter::applyReference(const Place& reference, Entity* target) {
  const auto& [holding, attributeId, keyBytes] = reference;
  const Pelmo::Ptr<Entity> holder(holding);
  const LogAttribute& attribute = *table(*holder).logged(attributeId);
  if (target) checkReferenceType(attribute.attribute, target->tovoType());
  if (attribute.kind == AttributeKind::pointer) {
    if (!isPending(*holder, attributeId)) pointTo(*holder, attribute, target);
    return;
  }
  if (isPending(*holder, attributeId, keyBytes)) return;
  ValueBuffer key(*attribute.keyOps);
  decode(keyBytes, key);
  if (!target) return eraseEntry(*holder, attribute.attribute, key.get(), keyBytes);
  putReference(*holder, attribute, key.get(), *target);
}

void StreamAdapter::pointTo(Entity& holder, const LogAttribute& attribute, Entity* target) {
  auto& stored = *static_cast<Pelmo::Ptr<Entity>*>(storage(holder, attribute.attribute));
  if (stored.get() == target) return;
  const Pelmo::Ptr<Entity> previous = std::exchange(stored, Pelmo::Ptr<Entity>(target));
  keepForTurn(previous.get());
  if (holder.nodePublisher().observed()) changed(holder, attribute, &previous);
}

void StreamAdapter::putReference(Entity& holder, const LogAttribute& attribute, const void* key,
                                 Entity& target) {
  if (const void* previous = collectionFind(holder, attribute.attribute, key)) {
    keepForTurn(elementEntity(previous));
  }
  const Pelmo::Ptr<Entity> pointer(&target);
  collectionOps(attribute.attribute).put(holder, key, &pointer);
}

void StreamAdapter::endTurn() {
  if (!Turn::anyOpen()) return inTurn([&] { endTurn(); });
  for (const Place& reference : waiting_.takeNew()) {
    applyReference(reference, nullptr);
    // The guest holds what does not exist here.
    tellReference(reference);
  }
}

// A host that does not hold what the guest sent says so.
void StreamAdapter::tellReference(const Place& reference) {
  const auto& [holder, attribute, key] = reference;
  if (!isHost(*holder)) return;
  FlowOut& told = *flow(*holder);
  if (!key.empty()) told.dirtyKeyIs(attribute, key);
  told.tovoIsDirtyIs(attribute, true);
}

}  // namespace Tovo::NboAttrLog
