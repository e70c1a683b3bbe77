#include "Tovo/Entity.h"

#include "Tovo/Collection.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

namespace {

// Tells the publishers how to find the children of an entity, for recursive observers.
[[maybe_unused]] const bool childWalkKnown = [] {
  Pelmo::Publisher::childWalkIs(
      [](Pelmo::Publisher& parent, Pelmo::Publisher::Visit visit, void* context) {
        forEachChild(entityOf(parent),
                     [&](Entity& child, Attribute) { visit(child.nodePublisher(), context); });
      });
  return true;
}();

}  // namespace

Entity::~Entity() = default;

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
