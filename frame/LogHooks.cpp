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
using Applying = Tovo::NboAttrLog::StreamAdapter::Applying;
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
  adapter.sentIs(flow.entity(), attribute.id());
  return true;
}

bool sendElement(StreamAdapter& adapter, FlowOut& flow, Attribute collection, const void* key,
                 const void* item) {
  const ValueOps& keyOps = collection.keyOps();
  size_t size = keyOps.attrLogSize(key);
  uint32_t target = 0;
  switch (collection.kind()) {
    case AttributeKind::ownCollection: {
      // Before there is room: what waited for the element is resolved now, and observers called.
      const Pelmo::Ptr<Entity> element(Tovo::elementEntity(item));
      target = adapter.bindElement(flow.entity(), *element, 0);
      if (flow.detached() || adapter.entityId(*element) == 0) return true;
      size += attrLogSizeCtorParams(*element) + sizeof target;
      break;
    }
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
    case AttributeKind::ownCollection:
      serializeConstructorParams(*out, *Tovo::elementEntity(item));
      *out << target;
      break;
    case AttributeKind::refCollection:
      *out << target;
      break;
    default:
      collection.ops().write(*out, item);
  }
  adapter.outSmCommitMessage();
  adapter.sentIs(flow.entity(), collection.id(), encoded(keyOps, key));
  return true;
}

bool sendRemoval(StreamAdapter& adapter, FlowOut& flow, Attribute collection,
                 const std::string& key) {
  Out* out =
      adapter.singletonSerializeCheck(flow, Tovo::removalId(collection.id()), 0, 1, key.size(), 0);
  if (!out) return false;
  out->bytes(key.data(), key.size());
  adapter.outSmCommitMessage();
  adapter.sentIs(flow.entity(), collection.id(), key);
  return true;
}

// What was there under the key, and the peer knows, where another element may be there now.
bool sendLeaving(StreamAdapter& adapter, FlowOut& flow, Attribute collection,
                 const std::string& key) {
  if (!flow.hasLeft(collection.id(), key)) return true;
  if (!sendRemoval(adapter, flow, collection, key)) return false;
  flow.leavingIsKnown(collection.id(), key);
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
  bool sent = true;
  while (const void* node = at.next()) {
    std::string key = encoded(collection.keyOps(), nodes.key(node));
    sent = sendLeaving(adapter, flow, collection, key);
    if (!sent) break;
    sent = sendElement(adapter, flow, collection, nodes.key(node), nodes.value(node));
    if (!sent) break;
    flow.dropDirtyKey(id, key);
    last = std::move(key);
  }
  if (sent && adapter.handleCollSerializationTransactionMarkers(flow, id, false)) {
    flow.tovoHasSyncedIs(id);
    adapter.sentIs(flow.entity(), id);
    return true;
  }
  if (last) flow.tovoFlowOutBookmarkEnq(id, std::move(*last));
  return false;
}

FlowResult handleSerializationOfColl(StreamAdapter& adapter, FlowOut& flow, Attribute collection) {
  const AttributeId id = collection.id();
  if (!adapter.handleSerializationOfCollCheck(flow, id) || !adapter.isOkToSerialize()) {
    return FlowResult::notFinished;
  }
  // Observers may let both go while what waited for an element is resolved.
  const Pelmo::Ptr<FlowOut> keep(&flow);
  const Pelmo::Ptr<Entity> keepEntity(&flow.entity());
  if (!flow.tovoHasSynced(id) && !sendWhole(adapter, flow, collection)) {
    return FlowResult::notFinished;
  }
  while (const std::string* first = flow.firstDirtyKey(id)) {
    const std::string bytes = *first;
    ValueBuffer key(collection.keyOps());
    decode(bytes, key);
    const void* item = collectionFind(flow.entity(), collection, key.get());
    const bool sent = item ? sendLeaving(adapter, flow, collection, bytes) &&
                                 sendElement(adapter, flow, collection, key.get(), item)
                           : sendRemoval(adapter, flow, collection, bytes);
    if (!sent) return FlowResult::notFinished;
    flow.dropDirtyKey(id, bytes);
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

void applyValue(StreamAdapter& adapter, Entity& entity, Attribute attribute, In& in) {
  const ValueOps& ops = attribute.ops();
  ValueBuffer value(ops);
  value.read(in);
  in.expectEnd();
  void* stored = storage(entity, attribute);
  if (ops.equal(stored, value.get()) || adapter.isPending(entity, attribute.id())) return;
  ValueBuffer previous(ops);
  previous.constructFrom(stored);
  ops.assign(stored, value.get());
  const Applying applying(adapter, entity, attribute, nullptr);
  entity.nodePublisher().publishChangeRecursive(attribute.id(), nullptr, previous.get(), nullptr);
}

// The target of a reference, null for none; false when it is still to come, or does not count.
bool readTarget(StreamAdapter& adapter, Entity& holder, Attribute attribute, const std::string& key,
                In& in, Entity*& target) {
  const uint32_t id = adapter.received(in.nextEntity());
  in.expectEnd();
  target = adapter.entity(id);
  if (target) StreamAdapter::checkReferenceType(attribute, *target);
  adapter.referenceArrived(holder, attribute, key);
  const bool pending = key.empty() ? adapter.isPending(holder, attribute.id())
                                   : adapter.isPending(holder, attribute.id(), key);
  if (pending) return false;
  if (id != 0 && !target) {
    adapter.awaitReference(holder, attribute, key, id);
    return false;
  }
  return true;
}

void applyPointer(StreamAdapter& adapter, Entity& entity, Attribute attribute, In& in) {
  Entity* target = nullptr;
  if (!readTarget(adapter, entity, attribute, {}, in, target)) return;
  auto& stored = *static_cast<Pelmo::Ptr<Entity>*>(storage(entity, attribute));
  if (stored.get() == target) return;
  const Pelmo::Ptr<Entity> previous = std::exchange(stored, Pelmo::Ptr<Entity>(target));
  const Applying applying(adapter, entity, attribute, nullptr);
  entity.nodePublisher().publishChangeRecursive(attribute.id(), nullptr, &previous, nullptr);
}

void applyOwned(StreamAdapter& adapter, Entity& owner, Attribute collection, In& in) {
  ValueBuffer key(collection.keyOps());
  key.read(in);
  Tovo::ConstructorValues values(collection.type());
  values.read(in);
  const uint32_t id = adapter.received(in.nextU32());
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
  Entity* named = adapter.entity(id);
  if (named && named != element.get() && named->tovoType() == collection.type() &&
      !named->parent()) {
    // A reader's own code took the element out of its mirror.
    adapter.unbindTree(*named);
    named = adapter.entity(id);
  }
  if (id == 0 || (named && named != element.get())) {
    throw StreamException("the number " + std::to_string(id) + " for an element of '" +
                          std::string(collection.name()) + "' stands for something else");
  }
  const std::string bytes = encoded(collection.keyOps(), key.get());
  adapter.seenKey(owner, collection, bytes);
  if (adapter.isPending(owner, collection.id(), bytes)) return;
  const bool host = adapter.isHost(owner);
  if (FlowOut* flow = adapter.flow(owner); flow && host) flow->dropDirtyKey(collection.id(), bytes);
  const uint32_t known = element ? adapter.entityId(*element) : 0;
  // Another number is another element, made after the one before was deleted; but both sides may
  // have made it at the same time. Then the host goes over to what the guest has.
  const bool bothMade = host && known != 0 && (known & StreamAdapter::ofPeer) == 0;
  const bool isNew =
      !element || !values.match(*element) || (known != 0 && known != id && !bothMade);
  if (element && (isNew || bothMade)) adapter.unbindTree(*element);
  if (element && isNew) {
    const Applying applying(adapter, owner, collection, key.get());
    collectionOps(collection).erase(owner, key.get());
  }
  if (isNew) {
    const Applying applying(adapter, owner, collection, key.get());
    element = collectionOps(collection).create(owner, key.get(), values.arguments().subspan(1));
  }
  // An observer may have taken the element, or its owner, out of the tree again.
  if (find() != element || adapter.entityId(owner) == 0) return;
  adapter.bindElement(owner, *element, FlowOut::startNowhere, id);
  if (host && !isNew) adapter.resendReferences(*element);
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
  const Applying applying(adapter, owner, collection, key.get());
  collectionOps(collection).put(owner, key.get(), &pointer);
}

void applyEntry(StreamAdapter& adapter, Entity& owner, Attribute collection, In& in) {
  ValueBuffer key(collection.keyOps());
  key.read(in);
  ValueBuffer value(collection.ops());
  value.read(in);
  in.expectEnd();
  const std::string bytes = encoded(collection.keyOps(), key.get());
  adapter.seenKey(owner, collection, bytes);
  if (adapter.isPending(owner, collection.id(), bytes)) return;
  const Applying applying(adapter, owner, collection, key.get());
  collectionOps(collection).put(owner, key.get(), value.get());
}

void applyRemoval(StreamAdapter& adapter, Entity& owner, Attribute collection, In& in) {
  ValueBuffer key(collection.keyOps());
  key.read(in);
  in.expectEnd();
  const std::string bytes = encoded(collection.keyOps(), key.get());
  adapter.seenKey(owner, collection, bytes, false);
  if (adapter.isPending(owner, collection.id(), bytes)) return;
  if (FlowOut* flow = adapter.flow(owner)) flow->dropDirtyKey(collection.id(), bytes);
  if (collection.kind() == AttributeKind::ownCollection) {
    if (const void* item = collectionFind(owner, collection, key.get())) {
      adapter.unbindTree(*Tovo::elementEntity(item));
    }
  } else if (collection.kind() == AttributeKind::refCollection) {
    adapter.referenceArrived(owner, collection, bytes);
  }
  const Applying applying(adapter, owner, collection, key.get());
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
