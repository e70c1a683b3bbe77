// The entities that are carried, and their numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "Mirror/log/FlatMap.h"
#include "Mirror/log/FlowOut.h"
#include "Mirror/log/LogTable.h"
#include "Mirror/log/Mount.h"
#include "Mirror/wire/Frame.h"
#include "Pelmo/Ptr.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

/// Of one adapter. Each side gives numbers of its own, counting from 1 and never again, so both may
/// host and both may create. The highest bit is clear in a number of this side and set in one of
/// the peer; on the wire it says the same of sender and receiver.
class Numbers {
 public:
  Numbers();
  ~Numbers();
  Numbers(const Numbers&) = delete;
  Numbers& operator=(const Numbers&) = delete;

  /// What is asked of an entity, again and again while its messages are sent or applied. Number 0:
  /// it is not carried.
  struct Carried {
    Entity* entity = nullptr;
    const LogTable* table = nullptr;
    FlowOut* flow = nullptr;
    uint32_t id = 0;
    bool host = false;
    bool readOnly = false;
  };
  /// Good until something is added or removed. Cost: constant, and next to nothing for the one that
  /// was asked for last.
  const Carried& of(const Entity& entity) const noexcept {
    if (last_.entity != &entity) [[unlikely]]
      find(entity);
    return last_;
  }
  /// The same by number, which is not 0; null when nothing is carried under it.
  const Carried* at(uint32_t id) const noexcept {
    if (last_.id == id) return &last_;
    const Binding* const binding = bindings_.find(id);
    if (!binding) return nullptr;
    last_ = carried(id, *binding);
    return &last_;
  }
  Entity* entity(uint32_t id) const noexcept;
  /// The entity has a number, though it may not be carried yet.
  bool isNamed(const Entity& entity) const noexcept { return ids_.contains(&entity); }

  /// The number that a reference to the entity is sent as: one may be given before the entity
  /// itself is carried. 0 for null. Throws StreamException when all are used up.
  uint32_t referenceNumber(const Entity* entity);
  /// A number as it was received, from this side's view. Throws StreamException for a number of
  /// this side that it has not given.
  uint32_t received(uint32_t id) const {
    if (id == 0) return 0;
    const uint32_t here = id ^ ofPeer;
    if ((here & ofPeer) == 0 && (here == 0 || here > lastGiven_)) [[unlikely]]
      throwNotGiven(here);
    return here;
  }

  /// What add() needs to know first.
  struct Place {
    uint32_t id;        ///< under which the entity is or will be carried
    uint32_t reserved;  ///< the number that references to it were sent with, or 0
    bool isCarried;
  };
  /// `id`: the peer's number, or 0 for one of this side. Throws StreamException when all are used
  /// up.
  Place placeOf(Entity& entity, uint32_t id);
  /// Carries an entity that has no place yet. Keeps its flow or, without one, the entity. Throws
  /// std::bad_alloc.
  void add(Entity& entity, const Place& place, Mount mount, const LogTable& table,
           Pelmo::Ptr<FlowOut> flow);
  /// Carries it no more; the flow is still attached. Returns what was kept, which may be the last
  /// reference. Null: it was not carried, and a number that was reserved for it stays.
  struct Removed {
    Pelmo::Ptr<Pelmo::Node> kept;
    FlowOut* flow = nullptr;
  };
  Removed remove(const Entity& entity) noexcept;
  /// Carries nothing any more and detaches all flows. What ends with that may destroy the numbers.
  void clear() noexcept;

  /// The whole transfer that has mentioned an entity last: see Transfers.
  void mentionedIs(uint32_t id, uint32_t transfer) noexcept;
  uint32_t lastMention(const Entity& entity) const noexcept;

  template <class Visit>
  void forEachFlow(const Visit& visit) const {
    bindings_.forEach([&](uint32_t, const Binding& binding) {
      if (binding.hasFlow) visit(static_cast<FlowOut&>(*binding.kept));
    });
  }
  size_t count() const noexcept { return bindings_.size(); }
  size_t flowCount() const noexcept { return flows_; }
  /// That numbers and flows take.
  size_t bytes() const noexcept {
    return bindings_.bytes() + ids_.bytes() + flows_ * sizeof(FlowOut);
  }

 private:
  struct Binding {
    Entity* entity = nullptr;
    const LogTable* table = nullptr;
    Pelmo::Ptr<Pelmo::Node> kept;  // the flow, or the entity where there is none
    uint32_t mention = 0;
    Mount mount{};
    bool hasFlow = false;

    FlowOut* flow() const noexcept { return hasFlow ? static_cast<FlowOut*>(kept.get()) : nullptr; }
  };
  /// Gives a number to an entity that is referred to before it is carried.
  class Reservation;

  static Carried carried(uint32_t id, const Binding& binding) noexcept {
    return {binding.entity,
            binding.table,
            binding.flow(),
            id,
            binding.mount.side == MountSide::host,
            binding.mount.readOnly};
  }
  void find(const Entity& entity) const noexcept;
  uint32_t give();
  void prefetchNeighbour(const Entity& entity) noexcept;
  void reservationGone(uint32_t id, const Entity& entity) noexcept;
  [[noreturn]] static void throwNotGiven(uint32_t id);

  FlatMap<uint32_t, Binding> bindings_;
  FlatMap<const Entity*, uint32_t> ids_;  // the number that is sent
  std::unordered_map<uint32_t, std::unique_ptr<Reservation>> reservations_;
  mutable Carried last_;     // most questions are about the entity in hand
  uintptr_t lastAdded_ = 0;  // where the entity lies
  size_t flows_ = 0;
  uint32_t lastGiven_ = 0;
};

}  // namespace Tovo::NboAttrLog
