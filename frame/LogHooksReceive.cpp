// How entities take what arrives from the log.
#include "frame/LogHooks.h"

#include <string>

#include "Tovo/AttrLog/ConstructorValues.h"
#include "Tovo/AttrLog/EncodedValue.h"
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
namespace BaseMessage = Tovo::NboAttrLog::BaseMessage;
using Tovo::NboAttrLog::decode;
using Tovo::NboAttrLog::encoded;
using Tovo::NboAttrLog::FlowOut;
using Tovo::NboAttrLog::In;
using Tovo::NboAttrLog::LogAttribute;
using Tovo::NboAttrLog::LogTable;
using Tovo::NboAttrLog::StreamAdapter;

inline void checkMayWrite(StreamAdapter& adapter, const Entity& entity, AttributeId id) {
  if (adapter.isReadOnlyProxy(entity) && !adapter.allowWriteFromReadOnlyRemote(entity, id)) {
    Tovo::throwWriteUpdateFromReadOnlyProxyException(entity, id);
  }
}

inline void applyValue(StreamAdapter& adapter, Entity& entity, const LogAttribute& attribute,
                       In& in) {
  const ValueOps& ops = *attribute.ops;
  void* const stored = attribute.storedIn(entity);
  if (!entity.nodePublisher().observed()) {
    // A flow would observe it.
    return static_cast<void>(ops.update(in, stored, nullptr));
  }
  if (adapter.isPending(entity, attribute.id)) {
    ValueBuffer value(ops);
    value.read(in);
    return in.expectEnd();
  }
  ValueBuffer previous(ops);
  if (previous.update(in, stored)) adapter.changed(entity, attribute, previous.get());
}

// The target of a reference, null for none; false when it is still to come, or does not count.
bool readTarget(StreamAdapter& adapter, Entity& holder, Attribute attribute, const std::string& key,
                In& in, Entity*& target) {
  const uint32_t id = adapter.received(in.nextEntity());
  in.expectEnd();
  target = adapter.entity(id);
  if (target) StreamAdapter::checkReferenceType(attribute, target->tovoType());
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

void applyPointer(StreamAdapter& adapter, Entity& entity, const LogAttribute& attribute, In& in) {
  Entity* target = nullptr;
  if (!readTarget(adapter, entity, attribute.attribute, {}, in, target)) return;
  adapter.pointTo(entity, attribute, target);
}

void applyOwned(StreamAdapter& adapter, Entity& owner, const LogAttribute& attribute, In& in) {
  const Attribute collection = attribute.attribute;
  const ValueOps& keyOps = *attribute.keyOps;
  ValueBuffer key(keyOps);
  key.read(in);
  const Tovo::ConstructorValues values(collection.type(), in);
  const uint32_t id = adapter.received(in.nextU32());
  in.expectEnd();
  if (!keyOps.equal(key.get(), values.key())) {
    throw StreamException("an element of '" + std::string(collection.name()) +
                          "' has another name than its key");
  }
  const void* found = collectionFind(owner, collection, key.get());
  Pelmo::Ptr<Entity> element(found ? Tovo::elementEntity(found) : nullptr);
  Entity* named = adapter.entity(id);
  if (named && named != element.get() && named->tovoType() == collection.type() &&
      !named->parent()) {
    // A reader's own code took the element out of its mirror.
    adapter.keepForTurn(named);
    adapter.unbindTree(*named);
    named = adapter.entity(id);
  }
  if (id == 0 || (named && named != element.get())) {
    throw StreamException("the number " + std::to_string(id) + " for an element of '" +
                          std::string(collection.name()) + "' stands for something else");
  }
  adapter.checkElement(owner, id, collection.type());
  const bool host = adapter.isHost(owner);
  std::string bytes;  // only a flow asks for them
  if (FlowOut* flow = adapter.flow(owner)) {
    bytes = encoded(keyOps, key.get());
    if (adapter.isPending(owner, collection.id(), bytes)) {
      return adapter.seenKey(owner, collection, bytes);
    }
    if (host) flow->dropDirtyKey(collection.id(), bytes);
  }
  const uint32_t known = element ? adapter.entityId(*element) : 0;
  // Another number is another element, made after the one before was deleted; but both sides may
  // have made it at the same time. Then the host goes over to what the guest has.
  const bool bothMade = host && known != 0 && (known & StreamAdapter::ofPeer) == 0;
  const bool isNew =
      !element || !values.match(*element) || (known != 0 && known != id && !bothMade);
  if (element && isNew) {
    adapter.eraseEntry(owner, collection, key.get(), bytes);
  } else if (bothMade) {
    adapter.unbindTree(*element);
  }
  if (isNew) {
    element = collectionOps(collection).create(owner, key.get(), values.arguments().subspan(1));
  }
  adapter.bindElement(owner, *element, FlowOut::startNowhere, id);
  adapter.seenElement(owner, collection.id(), id);
  if (host && !isNew) adapter.resendReferences(*element);
}

void applyReferenceEntry(StreamAdapter& adapter, Entity& owner, const LogAttribute& attribute,
                         In& in) {
  ValueBuffer key(*attribute.keyOps);
  key.read(in);
  const std::string bytes = encoded(*attribute.keyOps, key.get());
  Entity* target = nullptr;
  const bool known = readTarget(adapter, owner, attribute.attribute, bytes, in, target);
  adapter.seenKey(owner, attribute.attribute, bytes);
  if (!known) return;
  if (!target) return adapter.eraseEntry(owner, attribute.attribute, key.get(), bytes);
  adapter.putReference(owner, attribute, key.get(), *target);
}

void applyEntry(StreamAdapter& adapter, Entity& owner, const LogAttribute& attribute, In& in) {
  ValueBuffer key(*attribute.keyOps);
  key.read(in);
  ValueBuffer value(*attribute.ops);
  value.read(in);
  in.expectEnd();
  const std::string bytes = encoded(*attribute.keyOps, key.get());
  adapter.seenKey(owner, attribute.attribute, bytes);
  if (adapter.isPending(owner, attribute.id, bytes)) return;
  collectionOps(attribute.attribute).put(owner, key.get(), value.get());
}

// What each value of the message would do in a message of its own.
void applyOneByOne(StreamAdapter& adapter, Entity& entity, const LogAttribute& first,
                   const LogAttribute& last, In& in) {
  const auto throwOf = [&](const std::string& why) {
    throw StreamException("the values of " + std::string(first.attribute.name()) + " to " +
                          std::string(last.attribute.name()) + ", " + why);
  };
  if (&last < &first) throwOf("which comes before it");
  size_t size = 0;
  for (const LogAttribute* at = &first; at <= &last; ++at) {
    if (!at->logged) continue;
    if (!at->decode) {
      throwOf("where " + std::string(at->attribute.name()) + " has no fixed size");
    }
    size += at->encodedSize;
  }
  const uint8_t* from = in.take(size);
  in.expectEnd();
  for (const LogAttribute* at = &first; at <= &last; ++at) {
    if (!at->logged) continue;
    In value({from, at->encodedSize});
    from += at->encodedSize;
    doHandleAttrDeserialization(adapter, entity, at->id, value);
  }
}

void applyValues(StreamAdapter& adapter, Entity& entity, const LogTable& table, In& in) {
  const AttributeId firstId = in.nextU16();
  const AttributeId lastId = in.nextU16();
  checkMayWrite(adapter, entity, firstId);
  const LogAttribute* const first = table.logged(firstId);
  const LogAttribute* const last = table.logged(lastId);
  if (!first || !last) return adapter.unknownAttributeArrived();
  applyOneByOne(adapter, entity, *first, *last, in);
}

void applyRemoval(StreamAdapter& adapter, Entity& owner, const LogAttribute& attribute, In& in) {
  const Attribute collection = attribute.attribute;
  ValueBuffer key(*attribute.keyOps);
  key.read(in);
  in.expectEnd();
  const std::string bytes = encoded(*attribute.keyOps, key.get());
  adapter.seenKey(owner, collection, bytes, false);
  if (adapter.isPending(owner, collection.id(), bytes)) return;
  if (FlowOut* flow = adapter.flow(owner)) flow->dropDirtyKey(collection.id(), bytes);
  if (collection.kind() == AttributeKind::refCollection) {
    adapter.referenceArrived(owner, collection, bytes);
  }
  adapter.eraseEntry(owner, collection, key.get(), bytes);
}

}  // namespace

Pelmo::Ptr<Entity> newEntityForAttrLog(Tovo::TovoTypeBase type, In* in) {
  const Tovo::ConstructorValues values(type, *in);
  return entityHooks(type)->create(values.arguments());
}

void doHandleAttrDeserialization(StreamAdapter& adapter, Entity& entity, AttributeId id, In& in) {
  const LogTable& table = adapter.table(entity);
  if (id == BaseMessage::values) return applyValues(adapter, entity, table, in);
  checkMayWrite(adapter, entity, id);
  if (adapter.isTakenByDemuxer(entity, id, in)) return;
  const LogAttribute* attribute = table.logged(id);
  if (!attribute) {
    const LogAttribute* left = table.logged(Tovo::removalId(id));
    if (left && left->keyOps) return applyRemoval(adapter, entity, *left, in);
    return adapter.doBaseTovoNboAttrLogSaMsg(entity, id, in);
  }
  if (attribute->kind == AttributeKind::attribute) [[likely]]
    return applyValue(adapter, entity, *attribute, in);
  switch (attribute->kind) {
    case AttributeKind::pointer:
      return applyPointer(adapter, entity, *attribute, in);
    case AttributeKind::ownCollection:
      return applyOwned(adapter, entity, *attribute, in);
    case AttributeKind::refCollection:
      return applyReferenceEntry(adapter, entity, *attribute, in);
    default:
      return applyEntry(adapter, entity, *attribute, in);
  }
}

}  // namespace Frame
