#include "Tovo/AttrLog/StreamAdapter.h"

#include <bit>
#include <unordered_set>
#include <utility>

#include "Tovo/AttrLog/Ending.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

class StreamAdapter::Reservation : public Pelmo::Observer {
 public:
  Reservation(StreamAdapter& adapter, Entity& entity, uint32_t id)
      : adapter_(adapter), entity_(entity), id_(id) {
    observe(entity.nodePublisher());
  }
  void handleChange(const Pelmo::Change&) override {}
  void handlePublisherGone(Pelmo::Publisher&) override { adapter_.reservationGone(id_, entity_); }

 private:
  StreamAdapter& adapter_;
  const Entity& entity_;
  uint32_t id_;
};

/// A whole transfer of a collection that is under way towards this side.
struct StreamAdapter::Transfer {
  uint32_t number;
  // Of elements that are carried, their bindings say it.
  std::unordered_set<std::string> seen;
};

namespace {

std::string encoded(const ValueOps& ops, const void* value) {
  std::string bytes(ops.attrLogSize(value), '\0');
  Out out({reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
  ops.write(out, value);
  return bytes;
}

void decode(const std::string& bytes, ValueBuffer& value) {
  In in({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
  value.read(in);
}

}  // namespace

StreamAdapter::StreamAdapter() = default;

StreamAdapter::~StreamAdapter() { unbindAll(); }

// ------------------------------------------------------------------------------------- entities

uint32_t StreamAdapter::newId() {
  if (lastId_ == ofPeer - 1) throw StreamException("all numbers for entities are used up");
  return ++lastId_;
}

StreamAdapter::Carried StreamAdapter::carriedAs(uint32_t id, const Binding& binding) noexcept {
  return {binding.entity,
          binding.table,
          binding.flow(),
          id,
          binding.mount.side == MountSide::host,
          binding.mount.readOnly};
}

void StreamAdapter::ask(const Entity& entity) const noexcept {
  const uint32_t* id = ids_.find(&entity);
  const Binding* binding = id ? bindings_.find(*id) : nullptr;
  asked_ = binding ? carriedAs(*id, *binding)
                   : Carried{const_cast<Entity*>(&entity), nullptr, nullptr, 0, false, false};
}

uint32_t StreamAdapter::bind(Entity& entity, Mount mount, AttributeId start, uint32_t id) {
  const uint32_t* known = ids_.find(&entity);
  const uint32_t reserved = known ? *known : 0;
  if (reserved != 0 && bindings_.contains(reserved)) return reserved;
  if (id == 0) id = reserved != 0 ? reserved : newId();
  expectNeighbour(entity);
  const LogTable& table = LogTable::of(entity.tovoType());
  Binding binding{&entity, &table, nullptr, 0, mount, false};
  const bool host = mount.side == MountSide::host;
  if (host || !mount.readOnly) {
    const Pelmo::Ptr<FlowOut> flow = table.hooks().newFlowOut(*this, entity, id, start);
    flow->toHost_ = !host;
    binding.keeps = flow;
    binding.hasFlow = true;
  } else {
    binding.keeps = Pelmo::Ptr<Entity>(&entity);
  }
  ids_[&entity] = id;
  bindings_[id] = std::move(binding);
  if (asked_.entity == &entity) asked_ = {};
  if (reserved != 0) reservations_.erase(reserved);
  if (reserved != 0 && reserved != id) resendReferences(entity);
  if (!waitingFor_.empty()) resolveReferences(id, entity);
  return id;
}

// Many that are bound one after the other were made one after the other, and lie at equal
// distances.
void StreamAdapter::expectNeighbour(const Entity& entity) noexcept {
  const auto here = reinterpret_cast<uintptr_t>(&entity);
  const uintptr_t next = here + (here - std::exchange(lastBound_, here));
  ids_.expect(reinterpret_cast<const Entity*>(next));
}

void StreamAdapter::resendReferences(const Entity& entity) {
  bindings_.forEach([&](uint32_t, const Binding& carried) {
    const Entity& holder = *carried.entity;
    FlowOut* flow = carried.flow();
    if (!flow) return;
    forEachAttribute(flow->type(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::pointer) {
        const auto& pointer = *static_cast<const Pelmo::Ptr<Entity>*>(storage(holder, attribute));
        if (pointer.get() == &entity) flow->tovoIsDirtyIs(attribute.id(), true);
      } else if (attribute.kind() == AttributeKind::refCollection) {
        forEachElement(holder, attribute, [&](const void* key, const void* target) {
          if (elementEntity(target) != &entity) return;
          flow->dirtyKeyIs(attribute.id(), encoded(attribute.keyOps(), key));
          flow->tovoIsDirtyIs(attribute.id(), true);
        });
      }
    });
  });
}

uint32_t StreamAdapter::bindElement(Entity& owner, Entity& element, AttributeId start,
                                    uint32_t id) {
  const Carried& above = carried(owner);
  if (above.id == 0) throw StreamException("the owner of an element is not carried any more");
  const Mount mount{above.host ? MountSide::host : MountSide::guest, above.readOnly};
  checkNesting(owner);
  return bind(element, mount, start, id);
}

void StreamAdapter::checkNesting(const Entity& owner) const {
  size_t depth = 1;
  for (const Entity* entity = &owner; (entity = entity->parent()) != nullptr;) ++depth;
  if (depth > nesting_) {
    throw EndingException(Ending::nesting,
                          "an element nested deeper than " + std::to_string(nesting_));
  }
}

void StreamAdapter::checkNumber(uint32_t id, TovoTypeBase type) const {
  for (auto at = firstWaitingFor(id); at != waitingFor_.end() && at->first == id; ++at) {
    const auto& [holder, attribute, key] = at->second;
    checkReferenceType(table(*holder).logged(attribute)->attribute, type);
  }
}

void StreamAdapter::checkElement(const Entity& owner, uint32_t id, TovoTypeBase type) const {
  checkNesting(owner);
  if (!waitingFor_.empty()) checkNumber(id, type);
}

void StreamAdapter::unbind(Entity& entity) noexcept {
  const uint32_t* known = ids_.find(&entity);
  if (!known) return;
  const uint32_t id = *known;
  const Binding* binding = bindings_.find(id);
  if (!binding) return;  // only referred to: that number stays
  const Pelmo::Ptr<Pelmo::Node> keep = binding->keeps;
  FlowOut* flow = binding->flow();
  asked_ = {};
  ids_.erase(&entity);
  bindings_.erase(id);
  for (auto it = transfers_.lower_bound({&entity, 0});
       it != transfers_.end() && it->first.first == &entity;) {
    it = transfers_.erase(it);
  }
  for (auto it = waiting_.lower_bound({&entity, AttributeId{0}, std::string()});
       it != waiting_.end() && std::get<0>(it->first) == &entity;) {
    stopWaiting(it++);
  }
  for (auto it = underWayAt_.lower_bound({&entity, AttributeId{0}, std::string()});
       it != underWayAt_.end() && std::get<0>(it->first) == &entity;) {
    underWay_.erase(it->second);
    it = underWayAt_.erase(it);
  }
  if (flow) flow->detachFromAdapter();
}

void StreamAdapter::unbindTree(Entity& entity) noexcept {
  if (!ids_.contains(&entity)) return;
  const Pelmo::Ptr<Entity> keep(&entity);
  forEachChild(entity, [&](Entity& child, Attribute) { unbindTree(child); });
  unbind(entity);
}

void StreamAdapter::unbindAll() noexcept {
  bindings_.forEach([](uint32_t, const Binding& binding) {
    if (FlowOut* flow = binding.flow()) flow->detachFromAdapter();
  });
  asked_ = {};
  ids_.clear();
  reservations_.clear();
  transfers_.clear();
  waiting_.clear();
  waitingFor_.clear();
  owesTaken_ = false;
  underWay_.clear();
  underWayAt_.clear();
  bindings_.clear();
}

void StreamAdapter::entityGone(FlowOut& flow) noexcept { unbind(*flow.entity_); }

void StreamAdapter::reservationGone(uint32_t id, const Entity& entity) noexcept {
  ids_.erase(&entity);
  reservations_.erase(id);
}

Entity* StreamAdapter::entity(uint32_t id) const noexcept {
  const Binding* binding = bindings_.find(id);
  return binding ? binding->entity : nullptr;
}

uint32_t StreamAdapter::referenceId(const Entity* entity) {
  if (!entity) return 0;
  if (const uint32_t* known = ids_.find(entity)) return *known;
  auto& target = const_cast<Entity&>(*entity);
  const uint32_t id = newId();
  reservations_.emplace(id, std::make_unique<Reservation>(*this, target, id));
  ids_[entity] = id;
  return id;
}

void StreamAdapter::throwNotGiven(uint32_t id) {
  throw StreamException("the number " + std::to_string(id) +
                        " of an entity, which was not given here");
}

size_t StreamAdapter::flowCount() const noexcept {
  size_t count = 0;
  bindings_.forEach([&](uint32_t, const Binding& binding) { count += binding.hasFlow ? 1 : 0; });
  return count;
}

size_t StreamAdapter::heldBytes() const noexcept {
  size_t bytes = 0;
  bindings_.forEach([&](uint32_t, const Binding& binding) {
    if (const FlowOut* flow = binding.flow()) bytes += flow->heldBytes();
  });
  return bytes;
}

FlowOut::Dirty StreamAdapter::dirty() const noexcept {
  FlowOut::Dirty all;
  bindings_.forEach([&](uint32_t, const Binding& binding) {
    const FlowOut* flow = binding.flow();
    if (!flow) return;
    const FlowOut::Dirty one = flow->dirty();
    all.attributes += one.attributes;
    all.keys += one.keys;
  });
  return all;
}

// -------------------------------------------------------------------------------------- sending

// Of a flow in which nothing else is dirty. False: no room.
[[gnu::always_inline]] inline bool StreamAdapter::sendAllFixed(FlowOut& flow) {
  while (flow.dirty_ != 0) {
    const LogAttribute& first =
        flow.table_.at(static_cast<uint32_t>(std::countr_zero(flow.dirty_)));
    if (first.run && !flow.toHost_ && (flow.dirty_ & first.run->bits) == first.run->bits) {
      if (!sendRun(flow, *first.run)) return false;
      flow.dirty_ &= ~first.run->bits;
    } else {
      if (!sendFixed(flow, first)) return false;
      flow.dirty_ &= flow.dirty_ - 1;
    }
  }
  return true;
}

bool StreamAdapter::pump() {
  constexpr size_t cacheLine = 64;
  while (firstQueued_) {
    // The next one comes from memory while this one is sent, and the one behind it is looked for.
    if (const FlowOut* next = firstQueued_->nextQueued_) {
      __builtin_prefetch(next->entity_);
      __builtin_prefetch(next->nextQueued_);
      // As a number: there may be none behind it.
      const auto behind = reinterpret_cast<uintptr_t>(next->nextQueued_) + cacheLine;
      __builtin_prefetch(reinterpret_cast<const void*>(behind));
    }
    // Nobody is called who could change anything meanwhile.
    if (firstQueued_->onlyFixedDirty() && !offersMulticast()) {
      FlowOut& flow = *firstQueued_;
      if (!sendAllFixed(flow)) return false;
      flow.complete_ = true;
      dequeueFirst();
      continue;
    }
    // It stays the first one meanwhile: when it is not finished it goes on before all others,
    // because an element must not be spoken of before it is sent itself.
    const Pelmo::Ptr<FlowOut> flow(firstQueued_);
    sending_ = behind_ = flow.get();
    FlowResult result;
    try {
      result = flow->table().hooks().handleAttrFlowOut(*this, 0, *flow);
    } catch (...) {
      sending_ = nullptr;
      throw;
    }
    sending_ = nullptr;
    if (flow->detached()) continue;
    if (result == FlowResult::notFinished) return false;
    dequeue(*flow);
    if (flow->anyDirty()) {
      enqueue(*flow);
    } else {
      flow->complete_ = true;
    }
  }
  return true;
}

void StreamAdapter::throwTooLong(size_t bytes) const {
  throw EndingException(Ending::messageSize, "a message of " + std::to_string(bytes) +
                                                 " bytes is above the limit of " +
                                                 std::to_string(mostBytes_));
}

bool StreamAdapter::doMessageMulticast(FlowOut&, AttributeId) { return false; }

bool StreamAdapter::handleSerializationOfCollCheck(FlowOut& flow, AttributeId) {
  return !flow.detached();
}

bool StreamAdapter::isOkToSerialize() const { return true; }

bool StreamAdapter::handleCollSerializationTransactionMarkers(FlowOut& flow, AttributeId attribute,
                                                              bool begin) {
  const AttributeId marker = begin ? BaseMessage::beginCollection : BaseMessage::endCollection;
  Out* out = singletonSerializeCheck(flow, marker, 0, 1, sizeof attribute, 0);
  if (!out) return false;
  *out << attribute;
  outSmCommitMessage();
  return true;
}

// ------------------------------------------------------------------------------------ receiving

void StreamAdapter::handleMessage(uint32_t entityId, AttributeId attribute, In in) {
  inTurn([&] { applyMessage(entityId, attribute, in); });
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
  return !underWayAt_.empty() && underWayAt_.contains({&flow.entity(), attribute, std::string()});
}

bool StreamAdapter::isPending(const Entity& entity, AttributeId collection,
                              const std::string& key) const {
  const Carried& known = carried(entity);
  if (!known.flow || known.host) return false;
  const FlowOut& flow = *known.flow;
  Entity* const holder = &flow.entity();
  if (flow.hasDirtyKey(collection, key) || underWayAt_.contains({holder, collection, key})) {
    return true;
  }
  const bool whole =
      !flow.tovoHasSynced(collection) || underWayAt_.contains({holder, collection, std::string()});
  return whole && !flow.isMentioned(collection, key);
}

void StreamAdapter::noteUnderWay(FlowOut& flow, AttributeId attribute, const std::string& key) {
  if (flow.detached()) return;
  if (!key.empty() && !flow.tovoHasSynced(attribute)) flow.mentionedIs(attribute, key);
  const uint64_t number = counters_.messagesSent;
  const auto [at, inserted] =
      underWayAt_.try_emplace(ReferenceKey{&flow.entity(), attribute, key}, number);
  if (!inserted) {
    underWay_.erase(at->second);
    at->second = number;
  }
  underWay_.emplace(number, at->first);
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
  while (!underWay_.empty() && underWay_.begin()->first <= taken) {
    const auto first = underWay_.begin();
    const auto& [entity, attribute, key] = first->second;
    if (FlowOut* whole = key.empty() ? flow(*entity) : nullptr) whole->forgetMentioned(attribute);
    // A transfer that is under way may have gone past its place.
    const auto transfer = transfers_.find({entity, attribute});
    if (transfer != transfers_.end()) transfer->second->seen.insert(key);
    underWayAt_.erase(first->second);
    underWay_.erase(first);
  }
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
  transfers_[{&entity, collection.id()}] =
      std::unique_ptr<Transfer>(new Transfer{++lastTransfer_, {}});
}

void StreamAdapter::endTransfer(Entity& owner, Attribute collection) {
  const auto it = transfers_.find({&owner, collection.id()});
  if (it == transfers_.end()) {
    throw StreamException("the end of a transfer of " + pathOf(owner, collection.name()) +
                          " that did not begin");
  }
  const std::unique_ptr<Transfer> transfer = std::move(it->second);
  transfers_.erase(it);
  const AttributeId id = collection.id();
  for (auto at = waiting_.lower_bound({&owner, id, std::string()});
       at != waiting_.end() && std::get<0>(at->first) == &owner && std::get<1>(at->first) == id;) {
    const auto reference = at++;
    if (!transfer->seen.contains(std::get<2>(reference->first))) stopWaiting(reference);
  }
  std::vector<std::string> gone;
  const ValueOps& keyOps = collection.keyOps();
  const bool ofElements = collection.kind() == AttributeKind::ownCollection;
  forEachElement(owner, collection, [&](const void* key, const void* item) {
    if (ofElements) {
      const uint32_t* known = ids_.find(elementEntity(item));
      const Binding* binding = known ? bindings_.find(*known) : nullptr;
      if (binding && binding->transfer == transfer->number) return;
    }
    std::string bytes = encoded(keyOps, key);
    if (!transfer->seen.contains(bytes) && !isPending(owner, id, bytes)) {
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
    it->second->seen.insert(key);
  } else {
    it->second->seen.erase(key);
  }
}

void StreamAdapter::seenElement(Entity& owner, AttributeId collection, uint32_t element) {
  if (transfers_.empty()) return;
  const auto it = transfers_.find({&owner, collection});
  if (it == transfers_.end()) return;
  if (Binding* binding = bindings_.find(element)) binding->transfer = it->second->number;
}

void StreamAdapter::awaitReference(Entity& holder, Attribute attribute, std::string key,
                                   uint32_t target) {
  ReferenceKey reference{&holder, attribute.id(), std::move(key)};
  const auto known = waiting_.find(reference);
  if (known != waiting_.end()) stopWaiting(known);
  waitingFor_.emplace(target, reference);
  waiting_.emplace(std::move(reference), Waiting{target, false});
}

void StreamAdapter::referenceArrived(Entity& holder, Attribute attribute,
                                     const std::string& key) noexcept {
  if (waiting_.empty()) return;
  const auto waiting = waiting_.find({&holder, attribute.id(), key});
  if (waiting != waiting_.end()) stopWaiting(waiting);
}

void StreamAdapter::stopWaiting(std::map<ReferenceKey, Waiting>::iterator waiting) noexcept {
  waitingFor_.erase({waiting->second.target, waiting->first});
  waiting_.erase(waiting);
}

void StreamAdapter::checkReferenceType(Attribute attribute, TovoTypeBase target) {
  if (isDerived(target, attribute.type())) return;
  throw StreamException("'" + std::string(attribute.name()) + "' refers to a " + typeName(target) +
                        "; it takes a " + attribute.typeName());
}

StreamAdapter::ReferencesByTarget::const_iterator StreamAdapter::firstWaitingFor(
    uint32_t target) const {
  return waitingFor_.lower_bound({target, ReferenceKey{nullptr, AttributeId{0}, std::string()}});
}

void StreamAdapter::resolveReferences(uint32_t target, Entity& entity) {
  if (!Turn::anyOpen()) return inTurn([&] { resolveReferences(target, entity); });
  for (;;) {
    const auto first = firstWaitingFor(target);
    if (first == waitingFor_.end() || first->first != target) return;
    const ReferenceKey reference = first->second;
    const Pelmo::Ptr<Entity> holder(std::get<0>(reference));
    stopWaiting(waiting_.find(reference));
    applyReference(reference, &entity);
    // The guest may have been told meanwhile that it is null.
    tellReference(reference);
  }
}

void StreamAdapter::applyReference(const ReferenceKey& reference, Entity* target) {
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
  std::vector<ReferenceKey> unresolved;
  for (auto& [reference, waiting] : waiting_) {
    if (!std::exchange(waiting.cleared, true)) unresolved.push_back(reference);
  }
  for (const ReferenceKey& reference : unresolved) {
    applyReference(reference, nullptr);
    // The guest holds what does not exist here.
    tellReference(reference);
  }
}

// A host that does not hold what the guest sent says so.
void StreamAdapter::tellReference(const ReferenceKey& reference) {
  const auto& [holder, attribute, key] = reference;
  if (!isHost(*holder)) return;
  FlowOut& told = *flow(*holder);
  if (!key.empty()) told.dirtyKeyIs(attribute, key);
  told.tovoIsDirtyIs(attribute, true);
}

}  // namespace Tovo::NboAttrLog
