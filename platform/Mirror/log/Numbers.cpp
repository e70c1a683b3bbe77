#include "Mirror/log/Numbers.h"

#include <string>
#include <utility>

#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

class Numbers::Reservation : public Pelmo::Observer {
 public:
  Reservation(Numbers& numbers, Entity& entity, uint32_t id)
      : numbers_(numbers), entity_(entity), id_(id) {
    observe(entity.nodePublisher());
  }
  void handleChange(const Pelmo::Change&) override {}
  void handlePublisherGone() override { numbers_.reservationGone(id_, entity_); }

 private:
  Numbers& numbers_;
  const Entity& entity_;
  uint32_t id_;
};

Numbers::Numbers() = default;
Numbers::~Numbers() = default;

uint32_t Numbers::give() {
  if (lastGiven_ == ofPeer - 1) throw StreamException("all numbers for entities are used up");
  return ++lastGiven_;
}

void Numbers::find(const Entity& entity) const noexcept {
  const uint32_t* id = ids_.find(&entity);
  const Binding* binding = id ? bindings_.find(*id) : nullptr;
  last_ = binding ? carried(*id, *binding)
                  : Carried{const_cast<Entity*>(&entity), nullptr, nullptr, 0, false, false};
}

Entity* Numbers::entity(uint32_t id) const noexcept {
  const Binding* binding = bindings_.find(id);
  return binding ? binding->entity : nullptr;
}

Numbers::Place Numbers::placeOf(Entity& entity, uint32_t id) {
  const uint32_t* known = ids_.find(&entity);
  const uint32_t reserved = known ? *known : 0;
  if (reserved != 0 && bindings_.contains(reserved)) return {reserved, 0, true};
  if (id == 0) id = reserved != 0 ? reserved : give();
  return {id, reserved, false};
}

void Numbers::add(Entity& entity, const Place& place, Mount mount, const LogTable& table,
                  Pelmo::Ptr<FlowOut> flow) {
  prefetchNeighbour(entity);
  Binding binding{&entity, &table, nullptr, 0, mount, flow != nullptr};
  if (flow) {
    binding.kept = std::move(flow);
  } else {
    binding.kept = Pelmo::Ptr<Entity>(&entity);
  }
  ids_[&entity] = place.id;
  const bool hasFlow = binding.hasFlow;
  bindings_[place.id] = std::move(binding);
  flows_ += hasFlow ? 1 : 0;
  if (last_.entity == &entity) last_ = {};
  if (place.reserved != 0) reservations_.erase(place.reserved);
}

// Entities that are added one after the other were mostly made one after the other and lie at equal
// distances in memory, so the place of the next one in the map is known before it is asked for.
void Numbers::prefetchNeighbour(const Entity& entity) noexcept {
  const auto here = reinterpret_cast<uintptr_t>(&entity);
  const uintptr_t next = here + (here - std::exchange(lastAdded_, here));
  ids_.prefetch(reinterpret_cast<const Entity*>(next));
}

Numbers::Removed Numbers::remove(const Entity& entity) noexcept {
  const uint32_t* known = ids_.find(&entity);
  if (!known) return {};
  const uint32_t id = *known;
  const Binding* binding = bindings_.find(id);
  if (!binding) return {};
  Removed removed{binding->kept, binding->flow()};
  last_ = {};
  ids_.erase(&entity);
  bindings_.erase(id);
  if (removed.flow) --flows_;
  return removed;
}

void Numbers::clear() noexcept {
  forEachFlow([](FlowOut& flow) { flow.detachFromAdapter(); });
  flows_ = 0;
  last_ = {};
  ids_.clear();
  reservations_.clear();
  bindings_.clear();
}

void Numbers::reservationGone(uint32_t id, const Entity& entity) noexcept {
  ids_.erase(&entity);
  reservations_.erase(id);
}

uint32_t Numbers::referenceNumber(const Entity* entity) {
  if (!entity) return 0;
  if (const uint32_t* known = ids_.find(entity)) return *known;
  auto& target = const_cast<Entity&>(*entity);
  const uint32_t id = give();
  reservations_.emplace(id, std::make_unique<Reservation>(*this, target, id));
  ids_[entity] = id;
  return id;
}

void Numbers::mentionedIs(uint32_t id, uint32_t transfer) noexcept {
  if (Binding* binding = bindings_.find(id)) binding->mention = transfer;
}

uint32_t Numbers::lastMention(const Entity& entity) const noexcept {
  const uint32_t* id = ids_.find(&entity);
  const Binding* binding = id ? bindings_.find(*id) : nullptr;
  return binding ? binding->mention : 0;
}

void Numbers::throwNotGiven(uint32_t id) {
  throw StreamException("the number " + std::to_string(id) +
                        " of an entity, which was not given here");
}

}  // namespace Tovo::NboAttrLog
