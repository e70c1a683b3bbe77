#include "Tovo/AttrLog/StreamAdapter.h"

#include <algorithm>

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

StreamAdapter::StreamAdapter() = default;

StreamAdapter::~StreamAdapter() { unbindAll(); }

// ------------------------------------------------------------------------------------- entities

uint32_t StreamAdapter::newId(MountSide side) noexcept {
  ++lastId_;
  return side == MountSide::guest ? lastId_ | guestIds : lastId_;
}

uint32_t StreamAdapter::bind(Entity& entity, Mount mount, AttributeId start, uint32_t id) {
  const auto known = ids_.find(&entity);
  if (id == 0) {
    id = known != ids_.end() ? known->second : newId(mount.side);
  }
  const bool flows = mount.side == MountSide::host || !mount.readOnly;
  const auto old = known != ids_.end() ? bindings_.find(known->second) : bindings_.end();
  if (old != bindings_.end()) {
    // The peer names an entity that is carried already: the new number stands for it as well, and
    // the flow that exists goes on.
    if (id != old->first) {
      const Binding& binding = old->second;
      if (bindings_.emplace(id, Binding{&entity, nullptr, binding.held, mount}).second) ++aliases_;
    }
    return id;
  }
  Binding binding{&entity, nullptr, nullptr, mount};
  if (flows) {
    const EntityHooks& hooks = *entityHooks(entity.tovoType());
    binding.flow = hooks.newFlowOut(*this, entity, id, start);
  } else {
    binding.held = Pelmo::Ptr<Entity>(&entity);
  }
  const Pelmo::Ptr<FlowOut> flow = binding.flow;
  bindings_.insert_or_assign(id, std::move(binding));
  ids_.insert_or_assign(&entity, id);
  reservations_.erase(id);
  if (flow && flow->anyDirty()) enqueue(*flow);
  resolveReferences(id, entity);
  return id;
}

uint32_t StreamAdapter::bindElement(Entity& owner, Entity& element, AttributeId start,
                                    uint32_t id) {
  return bind(element, bindings_.at(ids_.at(&owner)).mount, start, id);
}

void StreamAdapter::unbind(Entity& entity) noexcept {
  const auto known = ids_.find(&entity);
  if (known == ids_.end()) return;
  const auto binding = bindings_.find(known->second);
  ids_.erase(known);
  if (binding == bindings_.end()) return;
  const Pelmo::Ptr<FlowOut> flow = std::move(binding->second.flow);
  const Pelmo::Ptr<Entity> held = std::move(binding->second.held);
  bindings_.erase(binding);
  if (flow) flow->detachFromAdapter();
  // Further numbers of the same entity are rare: two sides named it at the same time.
  for (auto it = bindings_.begin(); aliases_ > 0 && it != bindings_.end();) {
    it = it->second.entity == &entity ? (--aliases_, bindings_.erase(it)) : std::next(it);
  }
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
  transfers_.clear();
  waiting_.clear();
  waitingFor_.clear();
}

void StreamAdapter::entityGone(FlowOut& flow) noexcept {
  const auto known = ids_.find(flow.entity_);
  if (known != ids_.end()) unbind(*flow.entity_);
}

void StreamAdapter::reservationGone(uint32_t id, const Entity& entity) noexcept {
  ids_.erase(&entity);
  reservations_.erase(id);
}

Entity* StreamAdapter::entity(uint32_t id) const noexcept {
  const auto it = bindings_.find(id);
  return it == bindings_.end() ? nullptr : it->second.entity;
}

uint32_t StreamAdapter::entityId(const Entity& entity) const noexcept {
  const auto it = ids_.find(&entity);
  return it == ids_.end() || bindings_.find(it->second) == bindings_.end() ? 0 : it->second;
}

FlowOut* StreamAdapter::flow(const Entity& entity) const noexcept {
  const auto known = ids_.find(&entity);
  if (known == ids_.end()) return nullptr;
  const auto it = bindings_.find(known->second);
  return it == bindings_.end() ? nullptr : it->second.flow.get();
}

uint32_t StreamAdapter::referenceId(const Entity* entity) {
  if (!entity) return 0;
  const auto known = ids_.find(entity);
  if (known != ids_.end()) return known->second;
  auto& target = const_cast<Entity&>(*entity);
  const uint32_t id = newId(MountSide::host);
  reservations_.emplace(id, std::make_unique<Reservation>(*this, target, id));
  ids_.emplace(entity, id);
  return id;
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
    const Pelmo::Ptr<FlowOut> flow = queue_.front();
    if (!flow->detached()) {
      const EntityHooks& hooks = *entityHooks(flow->type());
      if (hooks.handleAttrFlowOut(*this, 0, *flow) == FlowResult::notFinished) return false;
    }
    flow->queued_ = false;
    queue_.pop_front();
    if (!flow->detached() && flow->anyDirty()) enqueue(*flow);
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
  const auto known = ids_.find(&entity);
  if (known == ids_.end()) return false;
  const auto it = bindings_.find(known->second);
  return it != bindings_.end() && it->second.mount.side == MountSide::host &&
         it->second.mount.readOnly;
}

AttributeId StreamAdapter::startOfReceived(const Entity& owner) const noexcept {
  const bool host = bindings_.at(ids_.at(&owner)).mount.side == MountSide::host;
  return host ? AttributeId{0} : FlowOut::startNowhere;
}

bool StreamAdapter::allowWriteFromReadOnlyRemote(const Entity&, AttributeId) { return false; }

void StreamAdapter::applyingIs(Entity* entity, AttributeId attribute) noexcept {
  applyingEntity_ = entity;
  applyingAttribute_ = attribute;
}

bool StreamAdapter::takeApplied(const Entity& entity, AttributeId attribute) noexcept {
  if (applyingEntity_ != &entity || applyingAttribute_ != attribute) return false;
  applyingEntity_ = nullptr;
  const auto known = ids_.find(&entity);
  if (known == ids_.end()) return false;
  const auto it = bindings_.find(known->second);
  return it != bindings_.end() && it->second.mount.side == MountSide::guest;
}

void StreamAdapter::beginTransfer(Entity& entity, Attribute collection) {
  transfers_[{entityId(entity), collection.id()}] = std::make_unique<Transfer>();
}

void StreamAdapter::endTransfer(Entity& owner, Attribute collection) {
  const auto it = transfers_.find({entityId(owner), collection.id()});
  if (it == transfers_.end()) {
    throw StreamException("the end of a transfer of " + pathOf(owner, collection.name()) +
                          " that did not begin");
  }
  const std::unique_ptr<Transfer> transfer = std::move(it->second);
  transfers_.erase(it);
  std::vector<std::string> gone;
  const ValueOps& keyOps = collection.keyOps();
  forEachElement(owner, collection, [&](const void* key, const void*) {
    std::string bytes(keyOps.attrLogSize(key), '\0');
    Out out({reinterpret_cast<uint8_t*>(bytes.data()), bytes.size()});
    keyOps.write(out, key);
    if (!transfer->seen.contains(bytes)) gone.push_back(std::move(bytes));
  });
  for (const std::string& bytes : gone) {
    ValueBuffer key(keyOps);
    In in({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()});
    key.read(in);
    if (collection.kind() == AttributeKind::ownCollection) {
      if (const void* element = collectionFind(owner, collection, key.get())) {
        unbindTree(*elementEntity(element));
      }
    }
    applyingIs(&owner, collection.id());
    collectionOps(collection).erase(owner, key.get());
    applyingIs(nullptr, 0);
  }
}

void StreamAdapter::seenKey(Entity& owner, Attribute collection, const std::string& key) {
  if (transfers_.empty()) return;
  const auto it = transfers_.find({entityId(owner), collection.id()});
  if (it != transfers_.end()) it->second->seen.insert(key);
}

void StreamAdapter::awaitReference(Entity& holder, Attribute attribute, std::string key,
                                   uint32_t target) {
  const ReferenceKey reference{entityId(holder), attribute.id(), std::move(key)};
  waiting_[reference] = {target, false};
  waitingFor_[target].push_back(reference);
}

void StreamAdapter::referenceArrived(Entity& holder, Attribute attribute,
                                     const std::string& key) noexcept {
  if (!waiting_.empty()) waiting_.erase({entityId(holder), attribute.id(), key});
}

void StreamAdapter::checkReferenceType(Attribute attribute, const Entity& target) {
  if (isDerived(target.tovoType(), attribute.type())) return;
  throw StreamException("'" + std::string(attribute.name()) + "' refers to a " +
                        typeName(target.tovoType()) + "; it takes a " + attribute.typeName());
}

void StreamAdapter::resolveReferences(uint32_t target, Entity& entity) {
  const auto it = waitingFor_.find(target);
  if (it == waitingFor_.end()) return;
  const std::vector<ReferenceKey> references = std::move(it->second);
  waitingFor_.erase(it);
  for (const ReferenceKey& reference : references) {
    const auto waiting = waiting_.find(reference);
    if (waiting == waiting_.end() || waiting->second.target != target) continue;
    waiting_.erase(waiting);
    applyReference(reference, &entity);
  }
}

void StreamAdapter::applyReference(const ReferenceKey& reference, Entity* target) {
  const auto& [holderId, attributeId, keyBytes] = reference;
  const Pelmo::Ptr<Entity> holder(entity(holderId));
  if (!holder) return;
  const Attribute attribute = attributeById(holder->tovoType(), attributeId);
  if (target) checkReferenceType(attribute, *target);
  const Pelmo::Ptr<Entity> pointer(target);
  applyingIs(holder.get(), attributeId);
  if (attribute.kind() == AttributeKind::pointer) {
    const Pelmo::FieldDescriptor field = attribute.field();
    const TovoTypeBase type = holder->tovoType();
    genericIf(type).genericIfAttributeOp(type, nullptr, holder.get(), &field, OperationCode::set,
                                         nullptr, &pointer);
  } else {
    ValueBuffer key(attribute.keyOps());
    In in({reinterpret_cast<const uint8_t*>(keyBytes.data()), keyBytes.size()});
    key.read(in);
    if (target) {
      collectionOps(attribute).put(*holder, key.get(), &pointer);
    } else {
      collectionOps(attribute).erase(*holder, key.get());
    }
  }
  applyingIs(nullptr, 0);
}

void StreamAdapter::endTurn() {
  for (auto& [reference, waiting] : waiting_) {
    if (waiting.cleared) continue;
    waiting.cleared = true;
    applyReference(reference, nullptr);
  }
}

}  // namespace Tovo::NboAttrLog
