// Collections of entities that are known only by their type.
#pragma once

#include "Pelmo/Ptr.h"
#include "Tovo/Entity.h"
#include "Tovo/GenericIf.h"
#include "Tovo/HashMap2018.h"

namespace Tovo {

/// What can be done with a collection beyond looking at its nodes. All of them publish.
struct CollectionOps {
  const HashMap2018VTable* nodes;
  /// Owning: the element under the key, made with the parameters unless it is there already.
  /// Throws MutatorReinstantiatingException. Null for others.
  Pelmo::Ptr<Entity> (*create)(Entity& owner, const void* key, ConstructorArguments parameters);
  /// Others: stores a value, or a pointer to an entity, under the key. Null for owning ones.
  void (*put)(Entity& owner, const void* key, const void* value);
  /// False when the key was not there.
  bool (*erase)(Entity& owner, const void* key);
};

inline const HashMap2018& collectionMap(const Entity& entity, Attribute collection) noexcept {
  return *static_cast<const HashMap2018*>(storage(entity, collection));
}
inline const CollectionOps& collectionOps(Attribute collection) noexcept {
  return *collection.detail().collection;
}

/// The entity or value under a key, or null.
inline const void* collectionFind(const Entity& entity, Attribute collection, const void* key) {
  const HashMap2018VTable& nodes = *collectionOps(collection).nodes;
  const void* node = collectionMap(entity, collection).find(nodes, key);
  return node ? nodes.value(node) : nullptr;
}

/// Calls visit(key, item): item is an Entity* for collections of entities, else the value.
template <class Visit>
void forEachElement(const Entity& entity, Attribute collection, const Visit& visit) {
  const HashMap2018VTable& nodes = *collectionOps(collection).nodes;
  HashMap2018::Iterator at(collectionMap(entity, collection));
  while (const void* node = at.next()) visit(nodes.key(node), nodes.value(node));
}

inline Entity* elementEntity(const void* item) noexcept {
  return static_cast<Entity*>(const_cast<void*>(item));
}

template <class Visit>
void forEachChild(const Entity& entity, const Visit& visit) {
  forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
    if (attribute.kind() != AttributeKind::ownCollection) return;
    forEachElement(entity, attribute,
                   [&](const void*, const void* item) { visit(*elementEntity(item), attribute); });
  });
}

}  // namespace Tovo
