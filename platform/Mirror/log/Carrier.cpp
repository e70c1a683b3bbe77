#include "Mirror/log/Carrier.h"

#include <string>

#include "Mirror/wire/Ending.h"
#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

Carrier::Carrier(StreamAdapter& adapter, OwnTurn& turn, const CarrierLimits& limits, Holder* holder)
    : adapter_(adapter),
      limits_(limits),
      holder_(holder),
      queue_(*this, turn.origin()),
      references_(numbers_, pending_, turn) {}

uint32_t Carrier::carry(Entity& entity, Mount mount, AttributeId start, uint32_t id) {
  const Numbers::Place place = numbers_.placeOf(entity, id);
  if (place.isCarried) return place.id;
  if (bytes() >= bytesAllowed_) [[unlikely]]
    grow();
  const LogTable& table = LogTable::of(entity.tovoType());
  const bool host = mount.side == MountSide::host;
  Pelmo::Ptr<FlowOut> flow;
  if (host || !mount.readOnly) {
    flow = table.hooks().newFlowOut(adapter_, entity, place.id, start);
    flow->toHost_ = !host;
  }
  numbers_.add(entity, place, mount, table, std::move(flow));
  if (place.reserved != 0 && place.reserved != place.id) resendReferences(entity);
  references_.resolve(place.id, entity);
  return place.id;
}

void Carrier::grow() {
  if (!holder_) return;
  constexpr size_t step = 64 * 1024;
  holder_->charge(step);
  bytesAllowed_ += step;
}

uint32_t Carrier::carryElement(Entity& owner, Entity& element, AttributeId start, uint32_t id) {
  const Numbers::Carried& above = numbers_.of(owner);
  if (above.id == 0) throw StreamException("the owner of an element is not carried any more");
  const Mount mount{above.host ? MountSide::host : MountSide::guest, above.readOnly};
  checkNesting(owner);
  return carry(element, mount, start, id);
}

void Carrier::checkNesting(const Entity& owner) const {
  size_t depth = 1;
  for (const Entity* entity = &owner; (entity = entity->parent()) != nullptr;) ++depth;
  if (depth > limits_.nesting) {
    throw EndingException(Ending::nesting,
                          "an element nested deeper than " + std::to_string(limits_.nesting));
  }
}

void Carrier::checkNumber(uint32_t id, TovoTypeBase type) const {
  if (numbers_.count() >= limits_.entities && !numbers_.entity(id)) {
    throw EndingException(Ending::entities,
                          "more than " + std::to_string(limits_.entities) + " entities");
  }
  references_.checkWaiting(id, type);
}

void Carrier::checkElement(const Entity& owner, uint32_t id, TovoTypeBase type) const {
  checkNesting(owner);
  checkNumber(id, type);
}

void Carrier::resendReferences(const Entity& entity) {
  numbers_.forEachFlow([&](FlowOut& flow) {
    const Entity& holder = flow.entity();
    forEachAttribute(flow.table().type(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::pointer) {
        const auto& pointer = *static_cast<const Pelmo::Ptr<Entity>*>(storage(holder, attribute));
        if (pointer.get() == &entity) flow.tovoIsDirtyIs(attribute.id(), true);
      } else if (attribute.kind() == AttributeKind::refCollection) {
        forEachElement(holder, attribute, [&](const void* key, const void* target) {
          if (elementEntity(target) != &entity) return;
          flow.dirtyKeyIs(attribute.id(), encoded(attribute.keyOps(), key));
          flow.tovoIsDirtyIs(attribute.id(), true);
        });
      }
    });
  });
}

void Carrier::releaseOne(Entity& entity) noexcept {
  const Numbers::Removed removed = numbers_.remove(entity);
  if (!removed.kept) return;
  transfers_.forget(entity);
  references_.forgetAll(entity);
  pending_.forget(entity);
  if (removed.flow) removed.flow->detachFromAdapter();
}

void Carrier::release(Entity& entity) noexcept {
  if (!numbers_.isNamed(entity)) return;
  const Pelmo::Ptr<Entity> keep(&entity);
  forEachChild(entity, [&](Entity& child, Attribute) { release(child); });
  releaseOne(entity);
}

// A mirror that nobody else holds dies with its number, and its observers may destroy the adapter:
// nothing is done behind that.
void Carrier::releaseAll() noexcept {
  transfers_.clear();
  references_.clear();
  pending_.clear();
  numbers_.clear();
}

void Carrier::handleReferenceSet(Entity& holder, AttributeId attribute, const std::string& key) {
  references_.forget(holder, attribute, key);
}

bool Carrier::handleElementLeft(Entity& element) noexcept {
  const bool isKnown = numbers_.of(element).id != 0;
  release(element);
  return isKnown;
}

void Carrier::handleEntityGone(Entity& entity) noexcept { releaseOne(entity); }

}  // namespace Tovo::NboAttrLog
