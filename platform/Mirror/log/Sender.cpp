#include "Mirror/log/Sender.h"

#include <algorithm>
#include <utility>

#include "Mirror/log/BaseMessage.h"
#include "Mirror/log/ConstructorValues.h"
#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/Collection.h"
#include "Tovo/Entity.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

// ---------------------------------------------------------------------------------------- values

bool Sender::sendValue(FlowOut& flow, const LogAttribute& attribute) {
  return handleValueSerialization(flow, attribute);
}

[[gnu::always_inline]] inline bool Sender::handleValueSerialization(FlowOut& flow,
                                                                    const LogAttribute& attribute) {
  if (offersMulticast() && policy_.doMessageMulticast(flow, attribute.id)) return true;
  const void* const stored = attribute.storedIn(flow.entity());
  size_t size = attribute.encodedSize;
  if (const auto encode = attribute.encode) [[likely]] {
    uint8_t* const payload = singletonSerializeCheck(flow, attribute.id, 0, 1, size, 0);
    if (!payload) return false;
    encode(payload, stored);
  } else if (attribute.kind == AttributeKind::pointer) {
    const auto& pointer = *static_cast<const Pelmo::Ptr<Entity>*>(stored);
    const uint32_t target = carrier_.numbers().referenceNumber(pointer.get());
    uint8_t* const payload = singletonSerializeCheck(flow, attribute.id, 0, 1, size, 0);
    if (!payload) return false;
    store(payload, target);
  } else {
    size = attribute.ops->attrLogSize(stored);
    uint8_t* const payload = singletonSerializeCheck(flow, attribute.id, 0, 1, size, 0);
    if (!payload) return false;
    Out out({payload, size});
    attribute.ops->write(out, stored);
  }
  outSmCommitMessage(flow, size);
  if (flow.toHost_) carrier_.pending().sent(flow, attribute.id, {}, messages_);
  return true;
}

// What a guest sends is under way message by message, so it has to send values one by one, and so
// has who offers each to a multicast.
inline bool Sender::mayTravelTogether(const FlowOut& flow, const LogRun& run) const noexcept {
  return flow.dirty_.has(run) && !flow.toHost_ && !offersMulticast();
}

inline bool Sender::sendRun(const FlowOut& flow, const LogRun& run) {
  const size_t size = sizeof run.first + sizeof run.last + run.encodedSize;
  uint8_t* const payload = singletonSerializeCheck(flow, BaseMessage::values, 0, 1, size, 0);
  if (!payload) return false;
  store(payload, run.first);
  store(payload + sizeof run.first, run.last);
  run.encode(payload + sizeof run.first + sizeof run.last, flow.entity());
  outSmCommitMessage(flow, size);
  return true;
}

// ----------------------------------------------------------------------------------------- flows

// The flow stays in its place in the queue until all of it is sent: one that was interrupted goes
// on before all others, because an element must not be spoken of before it is sent itself.
[[gnu::always_inline]] inline Sender::Sent Sender::sendFlow(FlowOut& flow) {
  const LogTable& table = flow.table_;
  for (;;) {
    const uint32_t place = flow.dirty_.first(table.total());
    if (place == DirtySet::none) break;
    const LogAttribute& attribute = table.at(place);
    if (attribute.run && mayTravelTogether(flow, *attribute.run)) {
      if (!sendRun(flow, *attribute.run)) return Sent::noRoom;
      flow.dirty_.remove(*attribute.run);
    } else if (!attribute.keyOps) {
      if (!handleValueSerialization(flow, attribute)) return Sent::noRoom;
      flow.dirty_.removeFound(place);
    } else {
      const Sent sent = handleSerializationOfColl(flow, attribute);
      if (sent != Sent::all) return sent;
      flow.dirty_.remove(attribute);
    }
  }
  flow.complete_ = true;
  return Sent::all;
}

bool Sender::pump() {
  // References that waited for an element that is sent now are resolved; their observers are called
  // when nothing is being sent any more.
  if (!carrier_.references().anyWaits() || Turn::anyOpen()) return sendQueued();
  return pumpInTurn();
}

bool Sender::pumpInTurn() {
  const Liveness::Watch watch(turn_.liveness());
  bool sentAll = false;
  turn_.run([&] { sentAll = sendQueued(); });
  return watch.gone() || (sentAll && queue_.empty());
}

bool Sender::sendQueued() {
  while (FlowOut* const flow = queue_.first()) {
    queue_.prefetchSecond();
    const Sent sent = sendFlow(*flow);
    if (sent == Sent::noRoom) {
      queue_.sendingIs(nullptr);
      return false;
    }
    if (sent == Sent::all) queue_.removeFirst();
  }
  return true;
}

FlowResult Sender::send(FlowOut& flow, AttributeId attribute) {
  const LogAttribute* const chosen = flow.table_.logged(attribute);
  if (attribute != 0 && !chosen) return FlowResult::notMine;
  const Pelmo::Ptr<FlowOut> keep(&flow);
  // Only a flow that is queued is noticed when it is let go of while it is being sent.
  if (!flow.queued_) queue_.add(flow);
  const Sent sent = chosen ? sendOne(flow, *chosen) : sendFlow(flow);
  if (flow.detached()) return FlowResult::done;
  queue_.sendingIs(nullptr);
  if (sent == Sent::noRoom) return FlowResult::notFinished;
  if (!chosen) queue_.remove(flow);
  return FlowResult::done;
}

Sender::Sent Sender::sendOne(FlowOut& flow, const LogAttribute& attribute) {
  if (!flow.dirty_.has(attribute)) return Sent::all;
  Sent sent = Sent::all;
  if (attribute.keyOps) {
    sent = handleSerializationOfColl(flow, attribute);
  } else if (!handleValueSerialization(flow, attribute)) {
    sent = Sent::noRoom;
  }
  if (sent == Sent::all) flow.dirty_.remove(attribute);
  return sent;
}

// ----------------------------------------------------------------------------------- collections

// The flow and the entity are kept: both may be let go of while references that waited for an
// element are resolved.
[[gnu::noinline]] Sender::Sent Sender::handleSerializationOfColl(FlowOut& flow,
                                                                 const LogAttribute& collection) {
  if (!policy_.handleSerializationOfCollCheck(flow, collection.id) || !policy_.isOkToSerialize()) {
    return Sent::noRoom;
  }
  const Pelmo::Ptr<FlowOut> keep(&flow);
  const Pelmo::Ptr<Entity> keepEntity(&flow.entity());
  // The elements of all collections of the flow are sent in the order in which they were found.
  if (!queue_.isSending(flow)) queue_.sendingIs(&flow);
  bool sent = false;
  try {
    sent = (flow.tovoHasSynced(collection.id) || sendWhole(flow, collection)) &&
           (flow.detached() || sendChanges(flow, collection));
  } catch (const AdapterGone&) {
    throw;
  } catch (...) {
    queue_.sendingIs(nullptr);
    throw;
  }
  if (flow.detached()) return Sent::letGo;
  return sent ? Sent::all : Sent::noRoom;
}

// Entries whose keys are dirty. False: no room.
bool Sender::sendChanges(FlowOut& flow, const LogAttribute& collection) {
  CollectionFlow* const changes = flow.collection(collection.id);
  if (!changes) return true;
  while (const std::string* first = changes->firstDirtyKey()) {
    const std::string bytes = *first;
    ValueBuffer key(*collection.keyOps);
    decode(bytes, key);
    const void* item = collectionFind(flow.entity(), collection.attribute, key.get());
    const bool sent =
        item ? sendItem(flow, collection, bytes, item) : sendRemoval(flow, collection.id, bytes);
    if (flow.detached()) return true;
    if (!sent) return false;
    changes->dropDirtyKey(bytes);
  }
  changes->freeResyncState();
  return true;
}

// All elements, between markers. False: no room; the bookmark says where it goes on.
bool Sender::sendWhole(FlowOut& flow, const LogAttribute& collection) {
  const AttributeId id = collection.id;
  CollectionFlow& progress = flow.needCollection(id);
  if (progress.transfer() == CollectionFlow::Transfer::due) {
    if (!handleCollSerializationTransactionMarkers(flow, id, true)) return false;
    progress.transferIs(CollectionFlow::Transfer::underWay);
  }
  const HashMap2018VTable& nodes = *collectionOps(collection.attribute).nodes;
  const HashMap2018& map = collectionMap(flow.entity(), collection.attribute);
  HashMap2018::Iterator at(map);
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
    sent = sendItem(flow, collection, key, nodes.value(node));
    if (flow.detached()) return true;
    if (!sent) break;
    progress.dropDirtyKey(key);
    if (!last) last.emplace();
    last->swap(key);
  }
  if (sent && handleCollSerializationTransactionMarkers(flow, id, false)) {
    progress.transferIs(CollectionFlow::Transfer::complete);
    if (flow.toHost_) carrier_.pending().sent(flow, id, {}, messages_);
    return true;
  }
  if (last) flow.tovoFlowOutBookmarkEnq(id, std::move(*last));
  return false;
}

// Sends what stands under a key now, and before that the removal of an element that the peer still
// knows there.
bool Sender::sendItem(FlowOut& flow, const LogAttribute& collection, const std::string& key,
                      const void* item) {
  CollectionFlow* const changes = flow.collection(collection.id);
  if (changes && changes->hasLeft(key)) {
    if (!sendRemoval(flow, collection.id, key)) return false;
    changes->leavingIsKnown(key);
  }
  if (collection.kind == AttributeKind::ownCollection) {
    return sendElement(flow, collection, key, item);
  }
  const bool isReference = collection.kind == AttributeKind::refCollection;
  const uint32_t target = isReference ? carrier_.numbers().referenceNumber(elementEntity(item)) : 0;
  const size_t size =
      key.size() + (isReference ? sizeof target : collection.ops->attrLogSize(item));
  uint8_t* const payload = singletonSerializeCheck(flow, collection.id, 0, 1, size, 0);
  if (!payload) return false;
  Out out({payload, size});
  out.bytes(key.data(), key.size());
  if (isReference) {
    out << target;
  } else {
    collection.ops->write(out, item);
  }
  commitEntry(flow, collection.id, size, key);
  return true;
}

bool Sender::sendElement(FlowOut& flow, const LogAttribute& collection, const std::string& key,
                         const void* item) {
  const Pelmo::Ptr<Entity> element(elementEntity(item));
  // The element is carried before it is known whether there is room for its message: references
  // that waited for it are resolved by this, and must not be in the middle of a message.
  const uint32_t number = carrier_.carryElement(flow.entity(), *element, 0);
  if (flow.detached() || carrier_.numbers().of(*element).id == 0) return true;
  const size_t size = key.size() + ConstructorValues::attrLogSize(*element) + sizeof number;
  uint8_t* const payload = singletonSerializeCheck(flow, collection.id, 0, 1, size, 0);
  if (!payload) return false;
  Out out({payload, size});
  out.bytes(key.data(), key.size());
  ConstructorValues::write(out, *element);
  out << number;
  commitEntry(flow, collection.id, size, key);
  return true;
}

bool Sender::sendRemoval(FlowOut& flow, AttributeId collection, const std::string& key) {
  const size_t size = key.size();
  uint8_t* const payload = singletonSerializeCheck(flow, removalId(collection), 0, 1, size, 0);
  if (!payload) return false;
  std::copy(key.begin(), key.end(), payload);
  commitEntry(flow, collection, size, key);
  return true;
}

inline void Sender::commitEntry(FlowOut& flow, AttributeId collection, size_t payload,
                                const std::string& key) {
  outSmCommitMessage(flow, payload);
  if (flow.toHost_) carrier_.pending().sent(flow, collection, key, messages_);
}

bool Sender::handleCollSerializationTransactionMarkers(FlowOut& flow, AttributeId collection,
                                                       bool begin) {
  const AttributeId marker = begin ? BaseMessage::beginCollection : BaseMessage::endCollection;
  constexpr size_t size = sizeof collection;
  uint8_t* const payload = singletonSerializeCheck(flow, marker, 0, 1, size, 0);
  if (!payload) return false;
  store(payload, collection);
  outSmCommitMessage(flow, size);
  return true;
}

}  // namespace Tovo::NboAttrLog
