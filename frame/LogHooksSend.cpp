// How entities put what is dirty into the log.
#include "frame/LogHooks.h"

#include <string>

#include "Tovo/AttrLog/ConstructorValues.h"
#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/Collection.h"
#include "Tovo/ValueOps.h"

namespace Frame {

namespace {

using Tovo::AttributeId;
using Tovo::AttributeKind;
using Tovo::Entity;
using Tovo::ValueBuffer;
using Tovo::NboAttrLog::decode;
using Tovo::NboAttrLog::encode;
using Tovo::NboAttrLog::encoded;
using Tovo::NboAttrLog::FlowOut;
using Tovo::NboAttrLog::FlowResult;
using Tovo::NboAttrLog::LogAttribute;
using Tovo::NboAttrLog::LogTable;
using Tovo::NboAttrLog::Out;
using Tovo::NboAttrLog::StreamAdapter;

const Pelmo::Ptr<Entity>& pointerAt(const void* stored) noexcept {
  return *static_cast<const Pelmo::Ptr<Entity>*>(stored);
}

// A pointer, or a value of any size. False: no room.
bool sendOther(StreamAdapter& adapter, FlowOut& flow, const LogAttribute& attribute) {
  const void* const stored = attribute.storedIn(flow.entity());
  if (attribute.kind == AttributeKind::pointer) {
    const uint32_t target = adapter.referenceId(pointerAt(stored).get());
    Out* out = adapter.singletonSerializeCheck(flow, attribute.id, 0, 1, sizeof target, 0);
    if (!out) return false;
    *out << target;
  } else {
    const size_t size = attribute.ops->attrLogSize(stored);
    Out* out = adapter.singletonSerializeCheck(flow, attribute.id, 0, 1, size, 0);
    if (!out) return false;
    attribute.ops->write(*out, stored);
  }
  adapter.outSmCommitMessage();
  adapter.sentIs(flow, attribute.id);
  return true;
}

// One attribute's value. False: no room.
inline bool handleValueSerialization(StreamAdapter& adapter, FlowOut& flow,
                                     const LogAttribute& attribute) {
  if (adapter.offersMulticast() && adapter.doMessageMulticast(flow, attribute.id)) return true;
  if (attribute.encode) return adapter.sendFixed(flow, attribute);
  return sendOther(adapter, flow, attribute);
}

// `bytes`: the encoded key.
bool sendElement(StreamAdapter& adapter, FlowOut& flow, const LogAttribute& collection,
                 const std::string& bytes, const void* item) {
  size_t size = bytes.size();
  uint32_t target = 0;
  switch (collection.kind) {
    case AttributeKind::ownCollection: {
      // Before there is room: what waited for the element is resolved now.
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
      size += collection.ops->attrLogSize(item);
  }
  Out* out = adapter.singletonSerializeCheck(flow, collection.id, 0, 1, size, 0);
  if (!out) return false;
  out->bytes(bytes.data(), bytes.size());
  switch (collection.kind) {
    case AttributeKind::ownCollection:
      serializeConstructorParams(*out, *Tovo::elementEntity(item));
      *out << target;
      break;
    case AttributeKind::refCollection:
      *out << target;
      break;
    default:
      collection.ops->write(*out, item);
  }
  adapter.outSmCommitMessage();
  adapter.sentIs(flow, collection.id, bytes);
  return true;
}

bool sendRemoval(StreamAdapter& adapter, FlowOut& flow, AttributeId collection,
                 const std::string& key) {
  Out* out =
      adapter.singletonSerializeCheck(flow, Tovo::removalId(collection), 0, 1, key.size(), 0);
  if (!out) return false;
  out->bytes(key.data(), key.size());
  adapter.outSmCommitMessage();
  adapter.sentIs(flow, collection, key);
  return true;
}

// What was there under the key, and the peer knows, where another element may be there now.
bool sendLeaving(StreamAdapter& adapter, FlowOut& flow, AttributeId collection,
                 const std::string& key) {
  if (!flow.hasLeft(collection, key)) return true;
  if (!sendRemoval(adapter, flow, collection, key)) return false;
  flow.leavingIsKnown(collection, key);
  return true;
}

// All elements, between markers. False: no room; the bookmark says where it goes on.
bool sendWhole(StreamAdapter& adapter, FlowOut& flow, const LogAttribute& collection) {
  const AttributeId id = collection.id;
  if (!flow.transferring(id)) {
    if (!adapter.handleCollSerializationTransactionMarkers(flow, id, true)) return false;
    flow.transferBegun(id);
  }
  const Tovo::HashMap2018VTable& nodes = *collectionOps(collection.attribute).nodes;
  const Tovo::HashMap2018& map = collectionMap(flow.entity(), collection.attribute);
  Tovo::HashMap2018::Iterator at(map);
  std::optional<std::string> last = flow.tovoFlowOutBookmarkDeq(id);
  if (last) {
    ValueBuffer key(*collection.keyOps);
    decode(*last, key);
    // When that element is gone the walk starts again; what the peer has by then is sent twice.
    at.moveBehind(map, nodes, key.get());
  }
  bool sent = true;
  std::string key;
  while (const void* node = at.next()) {
    encode(*collection.keyOps, nodes.key(node), key);
    sent = sendLeaving(adapter, flow, id, key) &&
           sendElement(adapter, flow, collection, key, nodes.value(node));
    if (flow.detached()) return true;
    if (!sent) break;
    flow.dropDirtyKey(id, key);
    if (!last) last.emplace();
    last->swap(key);
  }
  if (sent && adapter.handleCollSerializationTransactionMarkers(flow, id, false)) {
    flow.tovoHasSyncedIs(id);
    adapter.sentIs(flow, id);
    return true;
  }
  if (last) flow.tovoFlowOutBookmarkEnq(id, std::move(*last));
  return false;
}

FlowResult handleSerializationOfColl(StreamAdapter& adapter, FlowOut& flow,
                                     const LogAttribute& collection) {
  const AttributeId id = collection.id;
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
    ValueBuffer key(*collection.keyOps);
    decode(bytes, key);
    const void* item = collectionFind(flow.entity(), collection.attribute, key.get());
    const bool sent = item ? sendLeaving(adapter, flow, id, bytes) &&
                                 sendElement(adapter, flow, collection, bytes, item)
                           : sendRemoval(adapter, flow, id, bytes);
    if (!sent) return FlowResult::notFinished;
    flow.dropDirtyKey(id, bytes);
  }
  flow.freeResyncState(id);
  return FlowResult::done;
}

FlowResult flowOutOnAttributeForConnection(StreamAdapter& adapter, FlowOut& flow,
                                           const LogAttribute& attribute) {
  if (attribute.keyOps) {
    const FlowResult result = handleSerializationOfColl(adapter, flow, attribute);
    if (result == FlowResult::done) flow.cleanIs(attribute);
    return result;
  }
  if (!handleValueSerialization(adapter, flow, attribute)) return FlowResult::notFinished;
  flow.cleanIs(attribute);
  return FlowResult::done;
}

}  // namespace

void serializeConstructorParams(Out& out, const Entity& entity) {
  Tovo::ConstructorValues::write(out, entity);
}

size_t attrLogSizeCtorParams(const Entity& entity) {
  return Tovo::ConstructorValues::attrLogSize(entity);
}

void markDirty(FlowOut& flow, AttributeId start) { flow.dirtyFrom(start); }

FlowResult handleAttrFlowOut(StreamAdapter& adapter, AttributeId attribute, FlowOut& flow) {
  const LogTable& table = flow.table();
  if (attribute != 0) {
    const LogAttribute* chosen = table.logged(attribute);
    if (!chosen) return FlowResult::notMine;
    if (!flow.isDirty(*chosen)) return FlowResult::done;
    return flowOutOnAttributeForConnection(adapter, flow, *chosen);
  }
  for (uint32_t ordinal = flow.firstDirty(0); ordinal != FlowOut::none;
       ordinal = flow.firstDirty(ordinal + 1)) {
    const LogAttribute& dirty = table.at(ordinal);
    if (dirty.run && adapter.maySend(flow, *dirty.run)) {
      if (!adapter.sendRun(flow, *dirty.run)) return FlowResult::notFinished;
      flow.cleanIs(*dirty.run);
      continue;
    }
    if (!dirty.keyOps) {
      if (!handleValueSerialization(adapter, flow, dirty)) return FlowResult::notFinished;
      flow.cleanIs(dirty);
      continue;
    }
    const FlowResult result = flowOutOnAttributeForConnection(adapter, flow, dirty);
    if (result != FlowResult::done) return result;
    if (flow.detached()) return FlowResult::done;
  }
  return FlowResult::done;
}

int streamAdapterOnAttribute(StreamAdapter& adapter, AttributeId attribute, FlowOut& flow) {
  const LogAttribute* chosen = flow.table().logged(attribute);
  if (!chosen || chosen->keyOps) return 0;
  return handleValueSerialization(adapter, flow, *chosen) ? 1 : -1;
}

}  // namespace Frame
