#include "Tovo/AttrLog/StreamAdapter.h"

#include <utility>

#include "Tovo/AttrLog/EncodedValue.h"
#include "Tovo/AttrLog/Ending.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

class StreamAdapter::Reservation : public Pelmo::Observer {
 public:
  Reservation(StreamAdapter& adapter, Entity& entity, uint32_t id)
      : adapter_(adapter), entity_(entity), id_(id) {
    observe(entity.nodePublisher());
  }
  void handleChange(const Pelmo::Change&) override {}
  void handlePublisherGone() override { adapter_.reservationGone(id_, entity_); }

 private:
  StreamAdapter& adapter_;
  const Entity& entity_;
  uint32_t id_;
};

StreamAdapter::StreamAdapter() = default;

StreamAdapter::~StreamAdapter() {
  unbindAll();
  if (Turn::anyOpen()) Turn::current().forget(*this);
}

uint32_t StreamAdapter::newId() {
  if (lastId_ == ofPeer - 1) throw StreamException("all numbers for entities are used up");
  return ++lastId_;
}

void StreamAdapter::ask(const Entity& entity) const noexcept {
  const uint32_t* id = ids_.find(&entity);
  const Binding* binding = id ? bindings_.find(*id) : nullptr;
  asked_ = binding ? carriedAs(*id, *binding)
                   : Carried{const_cast<Entity*>(&entity), nullptr, nullptr, 0, false, false};
}

uint32_t StreamAdapter::bind(Entity& entity, Mount mount, AttributeId start, uint32_t id) {
  const uint32_t* known = ids_.find(&entity);
  const uint32_t reserved = known ? *known : 0;
  if (reserved != 0 && bindings_.contains(reserved)) return reserved;
  if (entityBytes() >= entitiesAllowed_) [[unlikely]]
    entitiesGrow();
  if (id == 0) id = reserved != 0 ? reserved : newId();
  expectNeighbour(entity);
  const LogTable& table = LogTable::of(entity.tovoType());
  Binding binding{&entity, &table, nullptr, 0, mount, false};
  const bool host = mount.side == MountSide::host;
  if (host || !mount.readOnly) {
    const Pelmo::Ptr<FlowOut> flow = table.hooks().newFlowOut(*this, entity, id, start);
    flow->toHost_ = !host;
    binding.keeps = flow;
    binding.hasFlow = true;
  } else {
    binding.keeps = Pelmo::Ptr<Entity>(&entity);
  }
  ids_[&entity] = id;
  const bool hasFlow = binding.hasFlow;
  bindings_[id] = std::move(binding);
  flows_ += hasFlow ? 1 : 0;
  if (asked_.entity == &entity) asked_ = {};
  if (reserved != 0) reservations_.erase(reserved);
  if (reserved != 0 && reserved != id) resendReferences(entity);
  if (!waiting_.empty()) resolveReferences(id, entity);
  return id;
}

// Many that are bound one after the other were made one after the other, and lie at equal
// distances.
void StreamAdapter::expectNeighbour(const Entity& entity) noexcept {
  const auto here = reinterpret_cast<uintptr_t>(&entity);
  const uintptr_t next = here + (here - std::exchange(lastBound_, here));
  ids_.expect(reinterpret_cast<const Entity*>(next));
}

void StreamAdapter::resendReferences(const Entity& entity) {
  bindings_.forEach([&](uint32_t, const Binding& carried) {
    const Entity& holder = *carried.entity;
    FlowOut* flow = carried.flow();
    if (!flow) return;
    forEachAttribute(flow->type(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::pointer) {
        const auto& pointer = *static_cast<const Pelmo::Ptr<Entity>*>(storage(holder, attribute));
        if (pointer.get() == &entity) flow->tovoIsDirtyIs(attribute.id(), true);
      } else if (attribute.kind() == AttributeKind::refCollection) {
        forEachElement(holder, attribute, [&](const void* key, const void* target) {
          if (elementEntity(target) != &entity) return;
          flow->dirtyKeyIs(attribute.id(), encoded(attribute.keyOps(), key));
          flow->tovoIsDirtyIs(attribute.id(), true);
        });
      }
    });
  });
}

uint32_t StreamAdapter::bindElement(Entity& owner, Entity& element, AttributeId start,
                                    uint32_t id) {
  const Carried& above = carried(owner);
  if (above.id == 0) throw StreamException("the owner of an element is not carried any more");
  const Mount mount{above.host ? MountSide::host : MountSide::guest, above.readOnly};
  checkNesting(owner);
  return bind(element, mount, start, id);
}

void StreamAdapter::checkNesting(const Entity& owner) const {
  size_t depth = 1;
  for (const Entity* entity = &owner; (entity = entity->parent()) != nullptr;) ++depth;
  if (depth > nesting_) {
    throw EndingException(Ending::nesting,
                          "an element nested deeper than " + std::to_string(nesting_));
  }
}

void StreamAdapter::checkNumber(uint32_t id, TovoTypeBase type) const {
  if (bindings_.size() >= mostEntities_ && !bindings_.contains(id)) {
    throw EndingException(Ending::entities,
                          "more than " + std::to_string(mostEntities_) + " entities");
  }
  waiting_.forEachFor(id, [&](const Place& reference) {
    const LogAttribute& attribute = *table(*reference.holder).logged(reference.attribute);
    checkReferenceType(attribute.attribute, type);
  });
}

void StreamAdapter::checkElement(const Entity& owner, uint32_t id, TovoTypeBase type) const {
  checkNesting(owner);
  checkNumber(id, type);
}

void StreamAdapter::unbind(Entity& entity) noexcept {
  const uint32_t* known = ids_.find(&entity);
  if (!known) return;
  const uint32_t id = *known;
  const Binding* binding = bindings_.find(id);
  if (!binding) return;  // only referred to: that number stays
  const Pelmo::Ptr<Pelmo::Node> keep = binding->keeps;
  FlowOut* flow = binding->flow();
  asked_ = {};
  ids_.erase(&entity);
  bindings_.erase(id);
  for (auto it = transfers_.lower_bound({&entity, 0});
       it != transfers_.end() && it->first.first == &entity;) {
    takeTransfer(it++);
  }
  waiting_.removeAll(entity);
  underWay_.removeAll(entity);
  if (!flow) return;
  --flows_;
  flow->detachFromAdapter();
}

void StreamAdapter::unbindTree(Entity& entity) noexcept {
  if (!ids_.contains(&entity)) return;
  const Pelmo::Ptr<Entity> keep(&entity);
  forEachChild(entity, [&](Entity& child, Attribute) { unbindTree(child); });
  unbind(entity);
}

// A mirror that nobody else holds dies with its binding, and its observers may destroy the adapter:
// nothing is done behind that.
void StreamAdapter::unbindAll() noexcept {
  bindings_.forEach([](uint32_t, const Binding& binding) {
    if (FlowOut* flow = binding.flow()) flow->detachFromAdapter();
  });
  flows_ = 0;
  asked_ = {};
  ids_.clear();
  reservations_.clear();
  transfers_.clear();
  seenBytes_ = 0;
  waiting_.clear();
  underWay_.clear();
  owesTaken_ = false;
  bindings_.clear();
}

void StreamAdapter::entityGone(FlowOut& flow) noexcept { unbind(*flow.entity_); }

void StreamAdapter::reservationGone(uint32_t id, const Entity& entity) noexcept {
  ids_.erase(&entity);
  reservations_.erase(id);
}

Entity* StreamAdapter::entity(uint32_t id) const noexcept {
  const Binding* binding = bindings_.find(id);
  return binding ? binding->entity : nullptr;
}

uint32_t StreamAdapter::referenceId(const Entity* entity) {
  if (!entity) return 0;
  if (const uint32_t* known = ids_.find(entity)) return *known;
  auto& target = const_cast<Entity&>(*entity);
  const uint32_t id = newId();
  reservations_.emplace(id, std::make_unique<Reservation>(*this, target, id));
  ids_[entity] = id;
  return id;
}

void StreamAdapter::throwNotGiven(uint32_t id) {
  throw StreamException("the number " + std::to_string(id) +
                        " of an entity, which was not given here");
}

void StreamAdapter::entitiesGrow() {}

FlowOut::Dirty StreamAdapter::dirty() const noexcept {
  FlowOut::Dirty all;
  bindings_.forEach([&](uint32_t, const Binding& binding) {
    const FlowOut* flow = binding.flow();
    if (!flow) return;
    const FlowOut::Dirty one = flow->dirty();
    all.attributes += one.attributes;
    all.keys += one.keys;
  });
  return all;
}

}  // namespace Tovo::NboAttrLog
