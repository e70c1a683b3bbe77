#include "Mirror/log/Receiver.h"

#include <utility>
#include <vector>

#include "Mirror/log/BaseMessage.h"
#include "Mirror/log/ConstructorValues.h"
#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/Collection.h"
#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

CollectionFlow* Receiver::flowOf(const Entity& owner, AttributeId collection) const noexcept {
  const FlowOut* const flow = numbers_.of(owner).flow;
  return flow ? flow->collection(collection) : nullptr;
}

// ---------------------------------------------------------------------------------------- values

inline void Receiver::applyValue(const Numbers::Carried& target, const LogAttribute& attribute,
                                 In& in) {
  Entity& entity = *target.entity;
  void* const stored = attribute.storedIn(entity);
  // An entity that nobody observes has no flow, since that would observe it; so nothing is pending.
  if (entity.nodePublisher().observed()) return applyObserved(target, attribute, in);
  if (!attribute.decode) return static_cast<void>(attribute.ops->update(in, stored, nullptr));
  const uint8_t* const from = in.take(attribute.encodedSize);
  in.expectEnd();
  attribute.decode(from, stored);
}

// This is a function of its own, so that a value of an entity that nobody observes is stored
// without preparing for observers.
[[gnu::noinline]] void Receiver::applyObserved(const Numbers::Carried& target,
                                               const LogAttribute& attribute, In& in) {
  Entity& entity = *target.entity;
  void* const stored = attribute.storedIn(entity);
  ValueBuffer value(*attribute.ops);
  if (carrier_.pending().has(target, attribute.id)) {
    value.read(in);
    return in.expectEnd();
  }
  // After an update the buffer holds the value from before it.
  if (value.update(in, stored)) Turn::current().changed(entity, attribute, nullptr, value.get());
}

// A run that the type's module knows is stored like one record where nobody is to be told of single
// values: this second way is for first transfers. Otherwise each value is applied like one that
// came alone.
inline void Receiver::applyValues(const Numbers::Carried& target, In& in) {
  const AttributeId first = in.nextU16();
  const AttributeId last = in.nextU16();
  if (target.host && target.readOnly) checkMayWrite(target, first);
  if (!demuxer_ && !target.entity->nodePublisher().observed()) {
    for (const LogRun& run : target.table->runs()) {
      if (run.first != first || run.last != last || run.encodedSize != in.remaining()) continue;
      return run.decode(in.take(run.encodedSize), *target.entity);
    }
  }
  applyOneByOne(target, first, last, in);
}

[[gnu::noinline]] void Receiver::applyOneByOne(Numbers::Carried target, AttributeId firstId,
                                               AttributeId lastId, In& in) {
  const LogAttribute* const first = target.table->logged(firstId);
  const LogAttribute* const last = target.table->logged(lastId);
  if (!first || !last) {
    ++counters_.unknownAttributes;
    return;
  }
  const auto throwOf = [&](const std::string& why) {
    throw StreamException("the values of " + std::string(first->attribute.name()) + " to " +
                          std::string(last->attribute.name()) + ", " + why);
  };
  if (last < first) throwOf("which comes before it");
  size_t size = 0;
  for (const LogAttribute* at = first; at <= last; ++at) {
    if (!at->logged) continue;
    if (!at->decode) throwOf("where " + std::string(at->attribute.name()) + " has no fixed size");
    size += at->encodedSize;
  }
  const uint8_t* from = in.take(size);
  in.expectEnd();
  for (const LogAttribute* at = first; at <= last; ++at) {
    if (!at->logged) continue;
    In value({from, at->encodedSize});
    from += at->encodedSize;
    apply(target, at->id, value);
  }
}

// -------------------------------------------------------------------------------------- messages

[[gnu::noinline]] void Receiver::checkMayWrite(const Numbers::Carried& target, AttributeId id) {
  if (policy_.allowWriteFromReadOnlyRemote(*target.entity, id)) return;
  throwWriteUpdateFromReadOnlyProxyException(*target.entity, id);
}

[[gnu::noinline]] bool Receiver::isTakenByDemuxer(Entity& entity, AttributeId id, In& in) {
  bool isTaken = false;
  turn_.callOut([&] { isTaken = demuxer_->handleMessage(entity, id, in); });
  return isTaken;
}

[[gnu::always_inline]] inline void Receiver::applyNow(const Numbers::Carried& target,
                                                      AttributeId id, In& in) {
  if (id == BaseMessage::values) return applyValues(target, in);
  if (target.host && target.readOnly) checkMayWrite(target, id);
  const LogAttribute* const attribute = target.table->logged(id);
  if (attribute && attribute->kind == AttributeKind::attribute) [[likely]]
    return applyValue(target, *attribute, in);
  applyOther(target, attribute, id, in);
}

void Receiver::apply(const Numbers::Carried& known, AttributeId id, In& in) {
  // What is known of the target is copied, since the demuxer may change it.
  const Numbers::Carried target = known;
  if (demuxer_ && id != BaseMessage::values) {
    if (target.host && target.readOnly) checkMayWrite(target, id);
    const Pelmo::Ptr<Entity> keep(target.entity);
    if (isTakenByDemuxer(*keep, id, in)) return;
    // The demuxer may have closed the connection, or let go of the entity.
    if (numbers_.of(*keep).id != target.id) return;
  }
  applyNow(target, id, in);
}

void Receiver::apply(uint32_t number, AttributeId id, In& in) {
  ++counters_.messages;
  const Numbers::Carried* const known = numbers_.at(number);
  if (!known) {
    // The entity was removed here while the message was on its way.
    owesTaken_ = true;
    ++counters_.unknownEntities;
    return;
  }
  if (known->host) owesTaken_ = true;
  if (demuxer_) [[unlikely]]
    return apply(*known, id, in);
  applyNow(*known, id, in);
}

[[gnu::noinline]] void Receiver::applyOther(const Numbers::Carried& target,
                                            const LogAttribute* attribute, AttributeId id, In& in) {
  Entity& entity = *target.entity;
  if (!attribute) {
    const LogAttribute* const left = target.table->logged(removalId(id));
    if (left && left->keyOps) return applyRemoval(entity, *left, in);
    return doBaseTovoNboAttrLogSaMsg(entity, id, in);
  }
  switch (attribute->kind) {
    case AttributeKind::pointer:
      return applyPointer(entity, *attribute, in);
    case AttributeKind::ownCollection:
      return applyOwned(entity, *attribute, in);
    case AttributeKind::refCollection:
      return applyReferenceEntry(entity, *attribute, in);
    default:
      return applyEntry(entity, *attribute, in);
  }
}

// ------------------------------------------------------------------------------------ references

// The target of a reference, null for none; false when it is still to come, or does not count.
bool Receiver::readTarget(Entity& holder, const LogAttribute& attribute, const std::string& key,
                          In& in, Entity*& target) {
  const uint32_t id = numbers_.received(in.nextEntity());
  in.expectEnd();
  target = id == 0 ? nullptr : numbers_.entity(id);
  if (target) References::checkType(attribute.attribute, target->tovoType());
  carrier_.references().forget(holder, attribute.id, key);
  const bool pending =
      key.empty() ? isPending(holder, attribute.id) : isPending(holder, attribute.id, key);
  if (pending) return false;
  if (id != 0 && !target) {
    carrier_.references().await(holder, attribute.id, key, id);
    return false;
  }
  return true;
}

void Receiver::applyPointer(Entity& entity, const LogAttribute& attribute, In& in) {
  Entity* target = nullptr;
  if (readTarget(entity, attribute, {}, in, target)) {
    References::pointTo(entity, attribute, target);
  }
}

void Receiver::applyReferenceEntry(Entity& owner, const LogAttribute& collection, In& in) {
  ValueBuffer key(*collection.keyOps);
  key.read(in);
  const std::string bytes = encoded(*collection.keyOps, key.get());
  Entity* target = nullptr;
  const bool known = readTarget(owner, collection, bytes, in, target);
  carrier_.transfers().seen(owner, collection.id, bytes);
  if (!known) return;
  if (!target) return eraseEntry(owner, collection, key.get(), bytes);
  References::put(owner, collection, key.get(), *target);
}

// ----------------------------------------------------------------------------------- collections

// Throws StreamException when the number stands for something else than an element that may come to
// be, or the one that is there.
void Receiver::checkNumberOf(uint32_t id, const LogAttribute& collection, const Entity* element) {
  const Attribute attribute = collection.attribute;
  Entity* named = numbers_.entity(id);
  if (named && named != element && named->tovoType() == attribute.type() && !named->parent()) {
    // The code of this process has taken the element out of its mirror.
    keepForTurn(named);
    carrier_.release(*named);
    named = numbers_.entity(id);
  }
  if (id == 0 || (named && named != element)) {
    throw StreamException("the number " + std::to_string(id) + " for an element of '" +
                          std::string(attribute.name()) + "' stands for something else");
  }
}

void Receiver::applyOwned(Entity& owner, const LogAttribute& collection, In& in) {
  const Attribute attribute = collection.attribute;
  const ValueOps& keyOps = *collection.keyOps;
  ValueBuffer key(keyOps);
  key.read(in);
  const ConstructorValues values(attribute.type(), in);
  const uint32_t id = numbers_.received(in.nextU32());
  in.expectEnd();
  if (!keyOps.equal(key.get(), values.key())) {
    throw StreamException("an element of '" + std::string(attribute.name()) +
                          "' has another name than its key");
  }
  const void* found = collectionFind(owner, attribute, key.get());
  Pelmo::Ptr<Entity> element(found ? elementEntity(found) : nullptr);
  checkNumberOf(id, collection, element.get());
  carrier_.checkElement(owner, id, attribute.type());
  const Numbers::Carried target = numbers_.of(owner);
  std::string bytes;  // the encoded key, which is needed where there is a flow
  if (target.flow) {
    bytes = encoded(keyOps, key.get());
    if (carrier_.pending().has(target, collection.id, bytes)) {
      return carrier_.transfers().seen(owner, collection.id, bytes);
    }
    CollectionFlow* const changes = target.flow->collection(collection.id);
    if (target.host && changes) changes->dropDirtyKey(bytes);
  }
  const uint32_t known = element ? numbers_.of(*element).id : 0;
  // Another number is another element, made after the one before was deleted; but both sides may
  // have made it at the same time. Then the host goes over to what the guest has.
  const bool bothMade = target.host && known != 0 && (known & ofPeer) == 0;
  const bool isNew =
      !element || !values.match(*element) || (known != 0 && known != id && !bothMade);
  if (element && isNew) {
    eraseEntry(owner, collection, key.get(), bytes);
  } else if (bothMade) {
    carrier_.release(*element);
  }
  if (isNew) {
    element = collectionOps(attribute).create(owner, key.get(), values.arguments().subspan(1));
  }
  carrier_.carryElement(owner, *element, FlowOut::startNowhere, id);
  if (const uint32_t transfer = carrier_.transfers().number(owner, collection.id)) {
    numbers_.mentionedIs(id, transfer);
  }
  if (target.host && !isNew) carrier_.resendReferences(*element);
}

void Receiver::applyEntry(Entity& owner, const LogAttribute& collection, In& in) {
  ValueBuffer key(*collection.keyOps);
  key.read(in);
  ValueBuffer value(*collection.ops);
  value.read(in);
  in.expectEnd();
  const std::string bytes = encoded(*collection.keyOps, key.get());
  carrier_.transfers().seen(owner, collection.id, bytes);
  if (isPending(owner, collection.id, bytes)) return;
  collectionOps(collection.attribute).put(owner, key.get(), value.get());
}

void Receiver::applyRemoval(Entity& owner, const LogAttribute& collection, In& in) {
  ValueBuffer key(*collection.keyOps);
  key.read(in);
  in.expectEnd();
  const std::string bytes = encoded(*collection.keyOps, key.get());
  carrier_.transfers().seen(owner, collection.id, bytes, false);
  if (isPending(owner, collection.id, bytes)) return;
  if (CollectionFlow* const changes = flowOf(owner, collection.id)) changes->dropDirtyKey(bytes);
  if (collection.kind == AttributeKind::refCollection) {
    carrier_.references().forget(owner, collection.id, bytes);
  }
  eraseEntry(owner, collection, key.get(), bytes);
}

// An element or entry of which the peer says that it has left.
void Receiver::eraseEntry(Entity& owner, const LogAttribute& collection, const void* key,
                          const std::string& bytes) {
  if (collection.kind == AttributeKind::ownCollection) {
    const void* const item = collectionFind(owner, collection.attribute, key);
    if (Entity* const element = item ? elementEntity(item) : nullptr) {
      keepForTurn(element);
      carrier_.release(*element);
    }
  }
  carrier_.references().erase(owner, collection, key, bytes);
}

// ------------------------------------------------------------------------------- whole transfers

void Receiver::doBaseTovoNboAttrLogSaMsg(Entity& entity, AttributeId id, In& in) {
  if (id != BaseMessage::beginCollection && id != BaseMessage::endCollection) {
    ++counters_.unknownAttributes;
    return;
  }
  const AttributeId named = in.nextU16();
  in.expectEnd();
  const LogAttribute* const collection = LogTable::of(entity.tovoType()).logged(named);
  if (!collection || !collection->keyOps) {
    throw StreamException("a transfer of attribute " + std::to_string(named) + ", which is no " +
                          "collection of " + typeName(entity.tovoType()));
  }
  if (id == BaseMessage::beginCollection) {
    carrier_.transfers().begin(entity, named);
  } else {
    endTransfer(entity, *collection);
  }
}

void Receiver::endTransfer(Entity& owner, const LogAttribute& collection) {
  const AttributeId id = collection.id;
  const std::optional<Transfers::Transfer> transfer = carrier_.transfers().take(owner, id);
  if (!transfer) {
    throw StreamException("the end of a transfer of " + pathOf(owner, collection.attribute.name()) +
                          " that did not begin");
  }
  carrier_.references().forgetUnless(
      owner, id, [&](const std::string& key) { return transfer->seen.contains(key); });
  std::vector<std::string> gone;
  const bool ofElements = collection.kind == AttributeKind::ownCollection;
  forEachElement(owner, collection.attribute, [&](const void* key, const void* item) {
    if (ofElements && numbers_.lastMention(*elementEntity(item)) == transfer->number) return;
    std::string bytes = encoded(*collection.keyOps, key);
    if (!transfer->seen.contains(bytes) && !isPending(owner, id, bytes)) {
      gone.push_back(std::move(bytes));
    }
  });
  for (const std::string& bytes : gone) {
    ValueBuffer key(*collection.keyOps);
    decode(bytes, key);
    eraseEntry(owner, collection, key.get(), bytes);
  }
}

}  // namespace Tovo::NboAttrLog
