#include "Tovo/Entity.h"

#include <utility>

#include "Tovo/Collection.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

namespace {

// Tells the publishers how to find the children of an entity, for recursive observers; other nodes
// have none.
[[maybe_unused]] const bool childWalkKnown = [] {
  Pelmo::Publisher::childWalkIs([](Pelmo::Publisher& parent, Pelmo::Publisher::Visit visit,
                                   void* context) {
    const auto* entity = dynamic_cast<const Entity*>(&parent.node());
    if (!entity) return;
    forEachChild(*entity, [&](Entity& child, Attribute) { visit(child.nodePublisher(), context); });
  });
  return true;
}();

// Elements that come in meanwhile stay.
void removeAll(Entity& owner, Attribute collection) noexcept {
  const CollectionOps& ops = collectionOps(collection);
  HashMap2018::Iterator at(collectionMap(owner, collection));
  at.endHere();
  while (const void* node = at.next()) {
    try {
      ops.erase(owner, ops.nodes->key(node));
    } catch (...) {
      continue;  // an observer's: there is nobody left to throw to
    }
  }
}

void removeOwned(Entity& owner) noexcept {
  for (TovoTypeBase level = owner.tovoType(); level; level = baseType(level)) {
    for (const AttributeDescriptor& own : ownAttributes(level)) {
      if (own.kind == AttributeKind::ownCollection) removeAll(owner, {*level.module, own});
    }
  }
}

// False when there was nothing to let go.
bool letGo(Entity& entity, Attribute attribute) noexcept {
  void* at = storage(entity, attribute);
  switch (attribute.kind()) {
    case AttributeKind::ownCollection:
    case AttributeKind::refCollection: {
      auto& map = *static_cast<HashMap2018*>(at);
      if (map.empty()) return false;
      map.clear(*collectionOps(attribute).nodes);
      return true;
    }
    case AttributeKind::pointer: {
      const auto target = std::exchange(*static_cast<Pelmo::Ptr<Entity>*>(at), nullptr);
      return target != nullptr;
    }
    default:
      return false;
  }
}

// Those who hear of the end of what is let go may put in more, as long as they like.
void letAllGo(Entity& entity) noexcept {
  bool more = true;
  while (more) {
    more = false;
    forEachAttribute(entity.tovoType(),
                     [&](Attribute each) { more = letGo(entity, each) || more; });
  }
}

}  // namespace

Entity::~Entity() = default;

void Entity::lastUserGone() noexcept {
  nodeFlagSet(flagLive, false);
  const bool holds = (typeDescriptor(tovoType()).flags & TypeDescriptor::holdsEntities) != 0;
  if (holds) {
    removeOwned(*this);
    if (livesOn()) return;
    letAllGo(*this);
  }
  if (publisher_.observed()) {
    observersGone();
    if (holds) letAllGo(*this);
  }
  delete this;
}

void Impl::tearDownUncounted(Entity& entity) noexcept {
  entity.nodeFlagSet(Pelmo::Node::flagLive, false);
  removeOwned(entity);
  letAllGo(entity);
  entity.observersGone();
  letAllGo(entity);
}

Pelmo::Publisher& Entity::publisher() noexcept { return publisher_; }

void Entity::handleParent(const Pelmo::Ptr<Entity>& parent) {
  publisher_.upstreamIs(parent ? &parent->publisher_ : nullptr);
}

Pelmo::String Entity::nameString() const {
  const TovoTypeBase type = tovoType();
  if ((typeDescriptor(type).flags & TypeDescriptor::keyedByParameter) == 0) return name_;
  const Attribute key = attributeById(type, firstAttributeId);
  std::string text;
  key.ops().print(text, storage(*this, key));
  return Pelmo::String(text);
}

Entity* Entity::parent() const noexcept {
  Pelmo::Publisher* above = publisher_.upstream();
  return above ? &entityOf(*above) : nullptr;
}

}  // namespace Tovo
