#include "Tovo/AttrLog/StreamAdapter.h"

#include <algorithm>
#include <utility>

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

const StreamAdapter::Binding* StreamAdapter::bindingOf(const Entity& entity) const noexcept {
  const auto known = ids_.find(&entity);
  if (known == ids_.end()) return nullptr;
  const auto binding = bindings_.find(known->second);
  return binding == bindings_.end() ? nullptr : &binding->second;
}

uint32_t StreamAdapter::bind(Entity& entity, Mount mount, AttributeId start, uint32_t id) {
  const auto known = ids_.find(&entity);
  const uint32_t reserved = known != ids_.end() ? known->second : 0;
  if (reserved != 0 && bindings_.contains(reserved)) return reserved;
  if (id == 0) id = reserved != 0 ? reserved : newId();
  Binding binding{&entity, nullptr, nullptr, mount};
  if (mount.side == MountSide::host || !mount.readOnly) {
    const EntityHooks& hooks = *entityHooks(entity.tovoType());
    binding.flow = hooks.newFlowOut(*this, entity, id, start);
  } else {
    binding.held = Pelmo::Ptr<Entity>(&entity);
  }
  const Pelmo::Ptr<FlowOut> flow = binding.flow;
  ids_.insert_or_assign(&entity, id);
  bindings_.insert_or_assign(id, std::move(binding));
  reservations_.erase(reserved);
  if (flow && flow->anyDirty()) enqueue(*flow);
  if (reserved != 0 && reserved != id) resendReferences(entity);
  resolveReferences(id, entity);
  return id;
}

void StreamAdapter::resendReferences(const Entity& entity) {
  for (const auto& carried : bindings_) {
    const Entity& holder = *carried.second.entity;
    FlowOut* flow = carried.second.flow.get();
    if (!flow) continue;
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
  }
}

uint32_t StreamAdapter::bindElement(Entity& owner, Entity& element, AttributeId start,
                                    uint32_t id) {
  const Binding* above = bindingOf(owner);
  if (!above) throw StreamException("the owner of an element is not carried any more");
  return bind(element, above->mount, start, id);
}

void StreamAdapter::unbind(Entity& entity) noexcept {
  const auto known = ids_.find(&entity);
  if (known == ids_.end()) return;
  const auto binding = bindings_.find(known->second);
  if (binding == bindings_.end()) return;  // only referred to: that number stays
  ids_.erase(known);
  const Pelmo::Ptr<FlowOut> flow = std::move(binding->second.flow);
  const Pelmo::Ptr<Entity> held = std::move(binding->second.held);
  bindings_.erase(binding);
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
  if (!flow) return;
  flow->detachFromAdapter();
  if (!flow->queued_) return;
  // A peer that makes and deletes without reading must not fill the queue.
  constexpr size_t worthIt = 64;
  if (++queuedInVain_ < worthIt || queuedInVain_ < queue_.size() / 2) return;
  std::erase_if(queue_, [](const Pelmo::Ptr<FlowOut>& queued) { return queued->detached(); });
  queuedInVain_ = 0;
}

void StreamAdapter::unbindTree(Entity& entity) noexcept {
  if (ids_.find(&entity) == ids_.end()) return;
  const Pelmo::Ptr<Entity> keep(&entity);
  forEachChild(entity, [&](Entity& child, Attribute) { unbindTree(child); });
  unbind(entity);
}

void StreamAdapter::unbindAll() noexcept {
  for (auto& [id, binding] : bindings_) {
    if (binding.flow) binding.flow->detachFromAdapter();
  }
  auto bindings = std::move(bindings_);
  bindings_.clear();
  ids_.clear();
  reservations_.clear();
  queue_.clear();
  queuedInVain_ = 0;
  transfers_.clear();
  waiting_.clear();
  waitingFor_.clear();
  owesTaken_ = false;
  underWay_.clear();
  underWayAt_.clear();
}

void StreamAdapter::entityGone(FlowOut& flow) noexcept { unbind(*flow.entity_); }

void StreamAdapter::reservationGone(uint32_t id, const Entity& entity) noexcept {
  ids_.erase(&entity);
  reservations_.erase(id);
}

Entity* StreamAdapter::entity(uint32_t id) const noexcept {
  const auto it = bindings_.find(id);
  return it == bindings_.end() ? nullptr : it->second.entity;
}

uint32_t StreamAdapter::entityId(const Entity& entity) const noexcept {
  return bindingOf(entity) ? ids_.find(&entity)->second : 0;
}

FlowOut* StreamAdapter::flow(const Entity& entity) const noexcept {
  const Binding* binding = bindingOf(entity);
  return binding ? binding->flow.get() : nullptr;
}

uint32_t StreamAdapter::referenceId(const Entity* entity) {
  if (!entity) return 0;
  const auto known = ids_.find(entity);
  if (known != ids_.end()) return known->second;
  auto& target = const_cast<Entity&>(*entity);
  const uint32_t id = newId();
  reservations_.emplace(id, std::make_unique<Reservation>(*this, target, id));
  ids_.emplace(entity, id);
  return id;
}

uint32_t StreamAdapter::received(uint32_t id) const {
  if (id == 0) return 0;
  const uint32_t here = id ^ ofPeer;
  if ((here & ofPeer) == 0 && (here == 0 || here > lastId_)) {
    throw StreamException("the number " + std::to_string(here) +
                          " of an entity, which was not given here");
  }
  return here;
}

size_t StreamAdapter::flowCount() const noexcept {
  return static_cast<size_t>(
      std::count_if(bindings_.begin(), bindings_.end(),
                    [](const auto& entry) { return static_cast<bool>(entry.second.flow); }));
}

size_t StreamAdapter::heldBytes() const noexcept {
  size_t bytes = 0;
  for (const auto& [id, binding] : bindings_) {
    if (binding.flow) bytes += binding.flow->heldBytes();
  }
  return bytes;
}

// -------------------------------------------------------------------------------------- sending

void StreamAdapter::enqueue(FlowOut& flow) {
  if (flow.queued_) return;
  queue_.emplace_back(&flow);
  flow.queued_ = true;
}

bool StreamAdapter::pump() {
  while (!queue_.empty()) {
    const Pelmo::Ptr<FlowOut> flow = std::move(queue_.front());
    queue_.pop_front();
    if (flow->detached()) {
      flow->queued_ = false;
      if (queuedInVain_ > 0) --queuedInVain_;
      continue;
    }
    // It counts as queued meanwhile: when it is not finished it goes on before all others, because
    // an element must not be spoken of before it is sent itself.
    const EntityHooks& hooks = *entityHooks(flow->type());
    const FlowResult result = hooks.handleAttrFlowOut(*this, 0, *flow);
    flow->queued_ = !flow->detached() && flow->anyDirty();
    if (flow->queued_) {
      if (result == FlowResult::notFinished) {
        queue_.push_front(flow);
      } else {
        queue_.push_back(flow);
      }
    }
    if (result == FlowResult::notFinished) return false;
  }
  return true;
}

Out* StreamAdapter::singletonSerializeCheck(FlowOut& flow, AttributeId attribute, uint32_t,
                                            uint32_t count, size_t size, uint32_t) {
  outSize_ = messageHeader + count * size;
  const std::span<uint8_t> room = reserve(outSize_);
  if (room.empty()) return nullptr;
  out_ = Out(room);
  out_ << flow.entityId() << attribute;
  return &out_;
}

void StreamAdapter::outSmCommitMessage() {
  commit(outSize_);
  ++counters_.messagesSent;
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
  ++counters_.messagesReceived;
  const Pelmo::Ptr<Entity> target(entity(entityId));
  owesTaken_ = owesTaken_ || !target || isHost(*target);
  if (!target) {
    // It was removed here while the message was on its way.
    ++counters_.unknownEntities;
    return;
  }
  entityHooks(target->tovoType())->doHandleAttrDeserialization(*this, *target, attribute, in);
}

void StreamAdapter::doBaseTovoNboAttrLogSaMsg(Entity& entity, AttributeId attribute, In& in) {
  if (attribute != BaseMessage::beginCollection && attribute != BaseMessage::endCollection) {
    ++counters_.unknownAttributes;
    return;
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

bool StreamAdapter::isReadOnlyProxy(const Entity& entity) const noexcept {
  const Binding* binding = bindingOf(entity);
  return binding && binding->mount.side == MountSide::host && binding->mount.readOnly;
}

bool StreamAdapter::isHost(const Entity& entity) const noexcept {
  const Binding* binding = bindingOf(entity);
  return binding && binding->mount.side == MountSide::host;
}

bool StreamAdapter::isPending(const Entity& entity, AttributeId attribute) const noexcept {
  const Binding* binding = bindingOf(entity);
  if (!binding || !binding->flow || binding->mount.side == MountSide::host) return false;
  return binding->flow->tovoIsDirty(attribute) ||
         underWayAt_.contains({binding->entity, attribute, std::string()});
}

bool StreamAdapter::isPending(const Entity& entity, AttributeId collection,
                              const std::string& key) const {
  const Binding* binding = bindingOf(entity);
  if (!binding || !binding->flow || binding->mount.side == MountSide::host) return false;
  const FlowOut& flow = *binding->flow;
  if (flow.hasDirtyKey(collection, key) ||
      underWayAt_.contains({binding->entity, collection, key})) {
    return true;
  }
  const bool whole = !flow.tovoHasSynced(collection) ||
                     underWayAt_.contains({binding->entity, collection, std::string()});
  return whole && !flow.isMentioned(collection, key);
}

void StreamAdapter::sentIs(const Entity& entity, AttributeId attribute, std::string key) {
  const Binding* binding = bindingOf(entity);
  if (!binding || binding->mount.side == MountSide::host) return;
  if (!key.empty() && !binding->flow->tovoHasSynced(attribute)) {
    binding->flow->mentionedIs(attribute, key);
  }
  const uint64_t number = counters_.messagesSent;
  const auto [at, inserted] =
      underWayAt_.try_emplace(ReferenceKey{binding->entity, attribute, std::move(key)}, number);
  if (!inserted) {
    underWay_.erase(at->second);
    at->second = number;
  }
  underWay_.emplace(number, at->first);
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

bool StreamAdapter::takeApplied(const Entity& entity, const Pelmo::Change& change) noexcept {
  const Applying* applied = applying_;
  if (!applied || applied->entity_ != &entity || applied->attribute_.id() != change.attribute) {
    return false;
  }
  // An observer that was called before this one may have changed another entry.
  if (change.key && !applied->attribute_.keyOps().equal(change.key, applied->key_)) return false;
  applying_ = nullptr;
  return true;
}

void StreamAdapter::beginTransfer(Entity& entity, Attribute collection) {
  transfers_[{&entity, collection.id()}] = std::make_unique<Transfer>();
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
  forEachElement(owner, collection, [&](const void* key, const void*) {
    std::string bytes = encoded(keyOps, key);
    if (!transfer->seen.contains(bytes) && !isPending(owner, id, bytes)) {
      gone.push_back(std::move(bytes));
    }
  });
  for (const std::string& bytes : gone) {
    ValueBuffer key(keyOps);
    decode(bytes, key);
    if (collection.kind() == AttributeKind::ownCollection) {
      if (const void* element = collectionFind(owner, collection, key.get())) {
        unbindTree(*elementEntity(element));
      }
    }
    const Applying applying(*this, owner, collection, key.get());
    collectionOps(collection).erase(owner, key.get());
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

void StreamAdapter::checkReferenceType(Attribute attribute, const Entity& target) {
  if (isDerived(target.tovoType(), attribute.type())) return;
  throw StreamException("'" + std::string(attribute.name()) + "' refers to a " +
                        typeName(target.tovoType()) + "; it takes a " + attribute.typeName());
}

void StreamAdapter::resolveReferences(uint32_t target, Entity& entity) {
  for (;;) {
    const auto first =
        waitingFor_.lower_bound({target, ReferenceKey{nullptr, AttributeId{0}, std::string()}});
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
  const Attribute attribute = attributeById(holder->tovoType(), attributeId);
  if (target) checkReferenceType(attribute, *target);
  const Pelmo::Ptr<Entity> pointer(target);
  if (attribute.kind() == AttributeKind::pointer) {
    if (isPending(*holder, attributeId)) return;
    const Applying applying(*this, *holder, attribute, nullptr);
    const Pelmo::FieldDescriptor field = attribute.field();
    const TovoTypeBase type = holder->tovoType();
    genericIf(type).genericIfAttributeOp(type, nullptr, holder.get(), &field, OperationCode::set,
                                         nullptr, &pointer);
    return;
  }
  if (isPending(*holder, attributeId, keyBytes)) return;
  ValueBuffer key(attribute.keyOps());
  decode(keyBytes, key);
  const Applying applying(*this, *holder, attribute, key.get());
  if (target) {
    collectionOps(attribute).put(*holder, key.get(), &pointer);
  } else {
    collectionOps(attribute).erase(*holder, key.get());
  }
}

void StreamAdapter::endTurn() {
  std::vector<ReferenceKey> unresolved;
  for (auto& [reference, waiting] : waiting_) {
    if (!std::exchange(waiting.cleared, true)) unresolved.push_back(reference);
  }
  for (const ReferenceKey& reference : unresolved) {
    // Observers of the one before may have let the holder go, or the connection.
    if (!waiting_.contains(reference)) continue;
    applyReference(reference, nullptr);
    // The guest holds what does not exist here.
    if (waiting_.contains(reference)) tellReference(reference);
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
