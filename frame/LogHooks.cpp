#include "frame/LogHooks.h"

#include <string>

#include "Tovo/AttrLog/ConstructorValues.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/ValueOps.h"

namespace Frame {

namespace {

using Tovo::Attribute;
using Tovo::AttributeId;
using Tovo::AttributeKind;
using Tovo::Entity;
using Tovo::StreamException;
using Tovo::ValueBuffer;
using Tovo::ValueOps;
using Tovo::NboAttrLog::FlowOut;
using Tovo::NboAttrLog::FlowResult;
using Tovo::NboAttrLog::In;
using Tovo::NboAttrLog::Out;
using Tovo::NboAttrLog::StreamAdapter;

const Pelmo::Ptr<Entity>& pointerAt(const void* stored) noexcept {
  return *static_cast<const Pelmo::Ptr<Entity>*>(stored);
}

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

// ---------------------------------------------------------------------------------------- sending

// One attribute's value. False: no room.
bool handleValueSerialization(StreamAdapter& adapter, FlowOut& flow, Attribute attribute) {
  const uint32_t flags = adapter.flags();
  if ((flags & StreamAdapter::flagMulticast) != 0 &&
      (flags & StreamAdapter::flagsNoMulticast) == 0 &&
      adapter.doMessageMulticast(flow, attribute.id())) {
    return true;
  }
  const void* stored = storage(flow.entity(), attribute);
  const bool isPointer = attribute.kind() == AttributeKind::pointer;
  const size_t size = isPointer ? sizeof(uint32_t) : attribute.ops().attrLogSize(stored);
  const uint32_t target = isPointer ? adapter.referenceId(pointerAt(stored).get()) : 0;
  Out* out = adapter.singletonSerializeCheck(flow, attribute.id(), 0, 1, size, 0);
  if (!out) return false;
  if (isPointer) {
    *out << target;
  } else {
    attribute.ops().write(*out, stored);
  }
  adapter.outSmCommitMessage();
  return true;
}

bool sendElement(StreamAdapter& adapter, FlowOut& flow, Attribute collection, const void* key,
                 const void* item) {
  const ValueOps& keyOps = collection.keyOps();
  size_t size = keyOps.attrLogSize(key);
  uint32_t target = 0;
  switch (collection.kind()) {
    case AttributeKind::ownCollection:
      size += attrLogSizeCtorParams(*Tovo::elementEntity(item)) + sizeof target;
      break;
    case AttributeKind::refCollection:
      target = adapter.referenceId(Tovo::elementEntity(item));
      size += sizeof target;
      break;
    default:
      size += collection.ops().attrLogSize(item);
  }
  Out* out = adapter.singletonSerializeCheck(flow, collection.id(), 0, 1, size, 0);
  if (!out) return false;
  keyOps.write(*out, key);
  switch (collection.kind()) {
    case AttributeKind::ownCollection: {
      Entity& element = *Tovo::elementEntity(item);
      serializeConstructorParams(*out, element);
      *out << adapter.bindElement(flow.entity(), element, 0);
      break;
    }
    case AttributeKind::refCollection:
      *out << target;
      break;
    default:
      collection.ops().write(*out, item);
  }
  adapter.outSmCommitMessage();
  return true;
}

bool sendRemoval(StreamAdapter& adapter, FlowOut& flow, Attribute collection,
                 const std::string& key) {
  Out* out =
      adapter.singletonSerializeCheck(flow, Tovo::removalId(collection.id()), 0, 1, key.size(), 0);
  if (!out) return false;
  out->bytes(key.data(), key.size());
  adapter.outSmCommitMessage();
  return true;
}

// All elements, between markers. False: no room; the bookmark says where it goes on.
bool sendWhole(StreamAdapter& adapter, FlowOut& flow, Attribute collection) {
  const AttributeId id = collection.id();
  if (!flow.transferring(id)) {
    if (!adapter.handleCollSerializationTransactionMarkers(flow, id, true)) return false;
    flow.transferBegun(id);
  }
  const Tovo::HashMap2018VTable& nodes = *collectionOps(collection).nodes;
  const Tovo::HashMap2018& map = collectionMap(flow.entity(), collection);
  Tovo::HashMap2018::Iterator at(map);
  std::optional<std::string> last = flow.tovoFlowOutBookmarkDeq(id);
  if (last) {
    ValueBuffer key(collection.keyOps());
    decode(*last, key);
    // When that element is gone the walk starts again; what the peer has by then is sent twice.
    at.moveBehind(map, nodes, key.get());
  }
  const void* lastSent = nullptr;
  while (const void* node = at.next()) {
    if (!sendElement(adapter, flow, collection, nodes.key(node), nodes.value(node))) {
      if (lastSent) last = encoded(collection.keyOps(), nodes.key(lastSent));
      if (last) flow.tovoFlowOutBookmarkEnq(id, std::move(*last));
      return false;
    }
    lastSent = node;
  }
  if (!adapter.handleCollSerializationTransactionMarkers(flow, id, false)) {
    if (lastSent) last = encoded(collection.keyOps(), nodes.key(lastSent));
    if (last) flow.tovoFlowOutBookmarkEnq(id, std::move(*last));
    return false;
  }
  flow.tovoHasSyncedIs(id);
  return true;
}

FlowResult handleSerializationOfColl(StreamAdapter& adapter, FlowOut& flow, Attribute collection) {
  const AttributeId id = collection.id();
  if (!adapter.handleSerializationOfCollCheck(flow, id) || !adapter.isOkToSerialize()) {
    return FlowResult::notFinished;
  }
  // The flow must stay while its own entity may be let go by what is sent.
  const Pelmo::Ptr<FlowOut> keep(&flow);
  if (!flow.tovoHasSynced(id) && !sendWhole(adapter, flow, collection)) {
    return FlowResult::notFinished;
  }
  while (const std::string* bytes = flow.firstDirtyKey(id)) {
    ValueBuffer key(collection.keyOps());
    decode(*bytes, key);
    const void* item = collectionFind(flow.entity(), collection, key.get());
    const bool sent = item ? sendElement(adapter, flow, collection, key.get(), item)
                           : sendRemoval(adapter, flow, collection, *bytes);
    if (!sent) return FlowResult::notFinished;
    flow.dropFirstDirtyKey(id);
  }
  flow.freeResyncState(id);
  return FlowResult::done;
}

FlowResult flowOutOnAttributeForConnection(StreamAdapter& adapter, FlowOut& flow,
                                           Attribute attribute) {
  if (attribute.isCollection()) {
    const FlowResult result = handleSerializationOfColl(adapter, flow, attribute);
    if (result == FlowResult::done) flow.tovoIsDirtyIs(attribute.id(), false);
    return result;
  }
  if (!handleValueSerialization(adapter, flow, attribute)) return FlowResult::notFinished;
  flow.tovoIsDirtyIs(attribute.id(), false);
  return FlowResult::done;
}

// -------------------------------------------------------------------------------------- receiving

// The change that is applied comes from the peer, until this goes.
class Applying {
 public:
  Applying(StreamAdapter& adapter, Entity& entity, AttributeId attribute) : adapter_(adapter) {
    adapter_.applyingIs(&entity, attribute);
  }
  ~Applying() { adapter_.applyingIs(nullptr, 0); }
  Applying(const Applying&) = delete;
  Applying& operator=(const Applying&) = delete;

 private:
  StreamAdapter& adapter_;
};

void applyValue(StreamAdapter& adapter, Entity& entity, Attribute attribute, In& in) {
  const ValueOps& ops = attribute.ops();
  ValueBuffer value(ops);
  value.read(in);
  in.expectEnd();
  void* stored = storage(entity, attribute);
  if (ops.equal(stored, value.get())) return;
  ValueBuffer previous(ops);
  previous.constructFrom(stored);
  ops.assign(stored, value.get());
  const Applying applying(adapter, entity, attribute.id());
  entity.nodePublisher().publishChangeRecursive(attribute.id(), nullptr, previous.get(), nullptr);
}

// The target of a reference, null for none; false when it is still to come.
bool readTarget(StreamAdapter& adapter, Entity& holder, Attribute attribute, const std::string& key,
                In& in, Entity*& target) {
  const uint32_t id = in.nextEntity();
  in.expectEnd();
  target = adapter.entity(id);
  if (target) StreamAdapter::checkReferenceType(attribute, *target);
  if (id != 0 && !target) {
    adapter.awaitReference(holder, attribute, key, id);
    return false;
  }
  adapter.referenceArrived(holder, attribute, key);
  return true;
}

void applyPointer(StreamAdapter& adapter, Entity& entity, Attribute attribute, In& in) {
  Entity* target = nullptr;
  if (!readTarget(adapter, entity, attribute, {}, in, target)) return;
  auto& stored = *static_cast<Pelmo::Ptr<Entity>*>(storage(entity, attribute));
  if (stored.get() == target) return;
  const Pelmo::Ptr<Entity> previous = std::exchange(stored, Pelmo::Ptr<Entity>(target));
  const Applying applying(adapter, entity, attribute.id());
  entity.nodePublisher().publishChangeRecursive(attribute.id(), nullptr, &previous, nullptr);
}

void applyOwned(StreamAdapter& adapter, Entity& owner, Attribute collection, In& in) {
  ValueBuffer key(collection.keyOps());
  key.read(in);
  Tovo::ConstructorValues values(collection.type());
  values.read(in);
  const uint32_t id = in.nextU32();
  in.expectEnd();
  if (!collection.keyOps().equal(key.get(), values.key())) {
    throw StreamException("an element of '" + std::string(collection.name()) +
                          "' has another name than its key");
  }
  const auto find = [&] {
    const void* item = collectionFind(owner, collection, key.get());
    return Pelmo::Ptr<Entity>(item ? Tovo::elementEntity(item) : nullptr);
  };
  Pelmo::Ptr<Entity> element = find();
  if (const Entity* named = adapter.entity(id); id == 0 || (named && named != element.get())) {
    throw StreamException("the number " + std::to_string(id) + " for an element of '" +
                          std::string(collection.name()) + "' stands for something else");
  }
  if (element && !values.match(*element)) {
    // It was deleted and made again at the peer while this side was behind.
    adapter.unbindTree(*element);
    const Applying applying(adapter, owner, collection.id());
    collectionOps(collection).erase(owner, key.get());
    element = nullptr;
  }
  if (!element) {
    const Applying applying(adapter, owner, collection.id());
    element = collectionOps(collection).create(owner, key.get(), values.arguments().subspan(1));
  }
  adapter.seenKey(owner, collection, encoded(collection.keyOps(), key.get()));
  // An observer may have taken the element, or its owner, out of the tree again.
  if (find() != element || adapter.entityId(owner) == 0) return;
  adapter.bindElement(owner, *element, adapter.startOfReceived(owner), id);
}

void applyReferenceEntry(StreamAdapter& adapter, Entity& owner, Attribute collection, In& in) {
  ValueBuffer key(collection.keyOps());
  key.read(in);
  std::string bytes = encoded(collection.keyOps(), key.get());
  Entity* target = nullptr;
  const bool known = readTarget(adapter, owner, collection, bytes, in, target);
  adapter.seenKey(owner, collection, bytes);
  if (!known) return;
  const Pelmo::Ptr<Entity> pointer(target);
  const Applying applying(adapter, owner, collection.id());
  collectionOps(collection).put(owner, key.get(), &pointer);
}

void applyEntry(StreamAdapter& adapter, Entity& owner, Attribute collection, In& in) {
  ValueBuffer key(collection.keyOps());
  key.read(in);
  ValueBuffer value(collection.ops());
  value.read(in);
  in.expectEnd();
  adapter.seenKey(owner, collection, encoded(collection.keyOps(), key.get()));
  const Applying applying(adapter, owner, collection.id());
  collectionOps(collection).put(owner, key.get(), value.get());
}

void applyRemoval(StreamAdapter& adapter, Entity& owner, Attribute collection, In& in) {
  ValueBuffer key(collection.keyOps());
  key.read(in);
  in.expectEnd();
  if (collection.kind() == AttributeKind::ownCollection) {
    if (const void* item = collectionFind(owner, collection, key.get())) {
      adapter.unbindTree(*Tovo::elementEntity(item));
    }
  } else if (collection.kind() == AttributeKind::refCollection) {
    adapter.referenceArrived(owner, collection, encoded(collection.keyOps(), key.get()));
  }
  const Applying applying(adapter, owner, collection.id());
  collectionOps(collection).erase(owner, key.get());
}

}  // namespace

Pelmo::Ptr<Entity> newEntityForAttrLog(Tovo::TovoTypeBase type, In* in) {
  Tovo::ConstructorValues values(type);
  values.read(*in);
  return entityHooks(type)->create(values.arguments());
}

void serializeConstructorParams(Out& out, const Entity& entity) {
  Tovo::ConstructorValues::write(out, entity);
}

size_t attrLogSizeCtorParams(const Entity& entity) {
  return Tovo::ConstructorValues::attrLogSize(entity);
}

void markDirty(FlowOut& flow, AttributeId start) {
  forEachAttribute(flow.type(), [&](Attribute attribute) {
    if (attribute.isLogged() && attribute.id() >= start) flow.tovoIsDirtyIs(attribute.id(), true);
  });
}

FlowResult handleAttrFlowOut(StreamAdapter& adapter, AttributeId attribute, FlowOut& flow) {
  if (attribute != 0) {
    const Attribute chosen = attributeById(flow.type(), attribute);
    if (!chosen || !chosen.isLogged()) return FlowResult::notMine;
    if (!flow.tovoIsDirty(attribute)) return FlowResult::done;
    return flowOutOnAttributeForConnection(adapter, flow, chosen);
  }
  for (uint32_t ordinal = flow.firstDirty(0); ordinal != FlowOut::none;
       ordinal = flow.firstDirty(ordinal + 1)) {
    const FlowResult result =
        flowOutOnAttributeForConnection(adapter, flow, attributeAt(flow.type(), ordinal));
    if (result != FlowResult::done) return result;
    if (flow.detached()) return FlowResult::done;
  }
  return FlowResult::done;
}

int streamAdapterOnAttribute(StreamAdapter& adapter, AttributeId attribute, FlowOut& flow) {
  const Attribute chosen = attributeById(flow.type(), attribute);
  if (!chosen || !chosen.isLogged() || chosen.isCollection()) return 0;
  return handleValueSerialization(adapter, flow, chosen) ? 1 : -1;
}

void doHandleAttrDeserialization(StreamAdapter& adapter, Entity& entity, AttributeId id, In& in) {
  if (adapter.isReadOnlyProxy(entity) && !adapter.allowWriteFromReadOnlyRemote(entity, id)) {
    Tovo::throwWriteUpdateFromReadOnlyProxyException(entity, id);
  }
  if (Tovo::NboAttrLog::StreamDemuxer* demuxer = adapter.streamDemuxer()) {
    if (demuxer->handleMessage(entity, id, in)) return;
  }
  const Tovo::TovoTypeBase type = entity.tovoType();
  const Attribute attribute = attributeById(type, id);
  if (!attribute || !attribute.isLogged()) {
    const Attribute removed = attributeById(type, Tovo::removalId(id));
    if (!attribute && removed && removed.isCollection()) {
      applyRemoval(adapter, entity, removed, in);
    } else {
      adapter.doBaseTovoNboAttrLogSaMsg(entity, id, in);
    }
    return;
  }
  switch (attribute.kind()) {
    case AttributeKind::pointer:
      return applyPointer(adapter, entity, attribute, in);
    case AttributeKind::ownCollection:
      return applyOwned(adapter, entity, attribute, in);
    case AttributeKind::refCollection:
      return applyReferenceEntry(adapter, entity, attribute, in);
    case AttributeKind::valueCollection:
    case AttributeKind::selfKeyedCollection:
      return applyEntry(adapter, entity, attribute, in);
    default:
      return applyValue(adapter, entity, attribute, in);
  }
}

}  // namespace Frame
