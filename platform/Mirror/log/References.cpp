#include "Mirror/log/References.h"

#include <utility>

#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

void keepForTurn(Entity* entity) {
  if (entity) Turn::current().keep(Pelmo::Ptr<Entity>(entity));
}

void References::pointTo(Entity& holder, const LogAttribute& attribute, Entity* target) {
  auto& stored = *static_cast<Pelmo::Ptr<Entity>*>(attribute.storedIn(holder));
  if (stored.get() == target) return;
  const Pelmo::Ptr<Entity> previous = std::exchange(stored, Pelmo::Ptr<Entity>(target));
  keepForTurn(previous.get());
  if (holder.nodePublisher().observed()) {
    Turn::current().changed(holder, attribute, nullptr, &previous);
  }
}

void References::put(Entity& holder, const LogAttribute& attribute, const void* key,
                     Entity& target) {
  if (const void* previous = collectionFind(holder, attribute.attribute, key)) {
    keepForTurn(elementEntity(previous));
  }
  const Pelmo::Ptr<Entity> pointer(&target);
  collectionOps(attribute.attribute).put(holder, key, &pointer);
}

void References::erase(Entity& holder, const LogAttribute& collection, const void* key,
                       const std::string& bytes) {
  const FlowOut* const told = numbers_.of(holder).flow;
  CollectionFlow* const flow = told ? told->collection(collection.id) : nullptr;
  if (flow) flow->bookmarkGone(bytes);
  if (collection.kind == AttributeKind::refCollection) {
    const void* const item = collectionFind(holder, collection.attribute, key);
    if (item) keepForTurn(elementEntity(item));
  }
  collectionOps(collection.attribute).erase(holder, key);
}

void References::checkType(Attribute attribute, TovoTypeBase target) {
  if (isDerived(target, attribute.type())) return;
  throw StreamException("'" + std::string(attribute.name()) + "' refers to a " + typeName(target) +
                        "; it takes a " + attribute.typeName());
}

void References::await(Entity& holder, AttributeId attribute, std::string key, uint32_t target) {
  waiting_.add({&holder, attribute, std::move(key)}, target);
}

void References::checkWaiting(uint32_t number, TovoTypeBase type) const {
  waiting_.forEachFor(number, [&](const Place& reference) {
    const LogTable& table = LogTable::of(reference.holder->tovoType());
    checkType(table.logged(reference.attribute)->attribute, type);
  });
}

void References::resolveWaiting(uint32_t number, Entity& entity) {
  if (!Turn::anyOpen()) return turn_.run([&] { resolveWaiting(number, entity); });
  while (const Place* first = waiting_.firstFor(number)) {
    const Place reference = *first;
    const Pelmo::Ptr<Entity> holder(reference.holder);
    waiting_.remove(reference);
    store(reference, &entity);
    // The guest may have been told meanwhile that the reference is null.
    tellGuest(reference);
  }
}

void References::endTurn() {
  if (!Turn::anyOpen()) return turn_.run([&] { endTurn(); });
  for (const Place& reference : waiting_.takeNew()) {
    store(reference, nullptr);
    // The guest holds a reference to something that does not exist here.
    tellGuest(reference);
  }
}

void References::store(const Place& reference, Entity* target) {
  const auto& [holding, attributeId, keyBytes] = reference;
  const Pelmo::Ptr<Entity> holder(holding);
  const Numbers::Carried carried = numbers_.of(*holder);
  const LogAttribute& attribute = *carried.table->logged(attributeId);
  if (target) checkType(attribute.attribute, target->tovoType());
  if (attribute.kind == AttributeKind::pointer) {
    if (!pending_.has(carried, attributeId)) pointTo(*holder, attribute, target);
    return;
  }
  if (pending_.has(carried, attributeId, keyBytes)) return;
  ValueBuffer key(*attribute.keyOps);
  decode(keyBytes, key);
  if (!target) return erase(*holder, attribute, key.get(), keyBytes);
  put(*holder, attribute, key.get(), *target);
}

// A host that does not hold what the guest has sent says so.
void References::tellGuest(const Place& reference) {
  const auto& [holder, attribute, key] = reference;
  const Numbers::Carried& carried = numbers_.of(*holder);
  if (!carried.host) return;
  if (!key.empty()) carried.flow->dirtyKeyIs(attribute, key);
  carried.flow->tovoIsDirtyIs(attribute, true);
}

}  // namespace Tovo::NboAttrLog
