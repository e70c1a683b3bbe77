#include "Mirror/log/Turn.h"

#include <new>
#include <utility>

#include "Tovo/Collection.h"
#include "Tovo/Entity.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

namespace {

constexpr size_t searchedOneByOne = 8;
constexpr size_t keptForTheNext = 64;  // records

const Pelmo::Ptr<Entity>& pointerAt(const void* stored) noexcept {
  return *static_cast<const Pelmo::Ptr<Entity>*>(stored);
}

uint32_t hashOf(const Entity& source, const LogAttribute& attribute, const void* key) {
  const uint64_t place = reinterpret_cast<uintptr_t>(&source) ^ uint64_t { attribute.id } << 48;
  const uint32_t ofKey = key && attribute.keyOps->hash ? attribute.keyOps->hash(key) : 0;
  return hashOfNumber(place) ^ ofKey;
}

// Whether what is stored now is what was there before the turn.
bool isUnchanged(const Entity& source, const LogAttribute& attribute, const void* key,
                 const void* previous) {
  if (attribute.kind == AttributeKind::attribute) {
    return attribute.ops->equal(previous, storage(source, attribute.attribute));
  }
  if (attribute.kind == AttributeKind::pointer) {
    return pointerAt(previous) == pointerAt(storage(source, attribute.attribute));
  }
  const void* now = collectionFind(source, attribute.attribute, key);
  if (attribute.ops) return previous && now ? attribute.ops->equal(previous, now) : previous == now;
  return elementEntity(now) == (previous ? pointerAt(previous).get() : nullptr);
}

}  // namespace

/// While it lives, an origin says that what is published is what its own peer has said.
class Turn::Publishing {
 public:
  Publishing(Turn& turn, Origin* origin) noexcept : turn_(turn), scope_{origin, turn.publishing_} {
    if (scope_.outer) mark(*scope_.outer, false);
    turn_.publishing_ = &scope_;
    mark(scope_, true);
  }
  ~Publishing() {
    mark(scope_, false);
    turn_.publishing_ = scope_.outer;
    if (scope_.outer) mark(*scope_.outer, true);
  }
  Publishing(const Publishing&) = delete;
  Publishing& operator=(const Publishing&) = delete;

 private:
  static void mark(const Scope& scope, bool own) noexcept {
    if (scope.origin) scope.origin->isPublished = own;
  }

  Turn& turn_;
  Scope scope_;
};

Turn::Turn() : values_(first_, sizeof first_) {}

Turn::~Turn() {
  for (const Held& held : held_) destroyValues(held);
  if (Pelmo::Publisher::catcher() == this) Pelmo::Publisher::catcherIs(nullptr);
}

void Turn::handleCaught(const Pelmo::Change& change) {
  auto* entity = dynamic_cast<Entity*>(&change.source.node());
  // An entity that is being destroyed cannot be held.
  if (entity && entity->nodeFlag(Pelmo::Node::flagLive)) {
    const LogTable& table = LogTable::of(entity->tovoType());
    if (const LogAttribute* attribute = table.logged(change.attribute)) {
      return changed(*entity, *attribute, change.key, change.previous);
    }
  }
  change.source.publishCaught(change);
}

void Turn::changed(Entity& source, const LogAttribute& attribute, const void* key,
                   const void* previous) {
  const uint32_t hash = hashOf(source, attribute, key);
  if (Held* const held = closing_ ? nullptr : find(source, attribute, key, hash)) {
    // A change that several adapters have brought belongs to none: each of them is told the result.
    if (held->origin != applying()) held->origin = nullptr;
    if (previous && !attribute.ops) keep(pointerAt(previous));
    return;
  }
  const size_t before = held_.size();
  try {
    hold(source, attribute, key, previous, hash);
  } catch (const std::bad_alloc&) {
    if (held_.size() > before) {
      destroyValues(held_.back());
      held_.pop_back();
    }
    tellNow({source.nodePublisher(), attribute.id, key, previous});
  }
}

// There is no memory to hold the change: observers hear of it before the turn is whole, which is
// better than never.
void Turn::tellNow(const Pelmo::Change& change) {
  const Origin* const before = applying();
  if (!closing_) publishHeld(failedEarly_);
  try {
    const Publishing publishing(*this, applying());
    change.source.publishCaught(change);
  } catch (...) {
    if (!failedEarly_) failedEarly_ = std::current_exception();
  }
  checkApplying(before);
}

// Observers were called in the middle of what is applied.
void Turn::checkApplying(const Origin* before) const {
  if (applying() != before) throw AdapterGone();
}

void Turn::keep(Pelmo::Ptr<Entity> entity) {
  const Origin* const before = applying();
  try {
    kept_.push_back(std::move(entity));
  } catch (const std::bad_alloc&) {
    entity = nullptr;
    checkApplying(before);
  }
}

void Turn::forget(const Origin& origin) noexcept {
  const auto forgetIn = [&](Scope* scope) {
    for (; scope; scope = scope->outer) {
      if (scope->origin == &origin) scope->origin = nullptr;
    }
  };
  forgetIn(applying_);
  forgetIn(publishing_);
  for (Held& held : held_) {
    if (held.origin == &origin) held.origin = nullptr;
  }
}

void Turn::hold(Entity& source, const LogAttribute& attribute, const void* key,
                const void* previous, uint32_t hash) {
  held_.push_back(
      {Pelmo::Ptr<Entity>(&source), &attribute, nullptr, nullptr, applying(), hash, Told::change});
  Held& held = held_.back();
  if (key) {
    void* copy = values_.allocate(attribute.keyOps->size, attribute.keyOps->align);
    attribute.keyOps->construct(copy, key);
    held.key = copy;
  }
  if (previous && attribute.ops) {
    void* copy = values_.allocate(attribute.ops->size, attribute.ops->align);
    attribute.ops->construct(copy, previous);
    held.previous = copy;
  } else if (previous) {
    using Pointer = Pelmo::Ptr<Entity>;
    held.previous =
        new (values_.allocate(sizeof(Pointer), alignof(Pointer))) Pointer(pointerAt(previous));
  }
  if (!closing_) index(static_cast<uint32_t>(held_.size()));
}

Turn::Held* Turn::find(const Entity& source, const LogAttribute& attribute, const void* key,
                       uint32_t hash) {
  const auto same = [&](const Held& held) {
    return held.hash == hash && held.source.get() == &source && held.attribute == &attribute &&
           (!key || attribute.keyOps->equal(held.key, key));
  };
  if (index_.empty()) {
    for (Held& held : held_) {
      if (same(held)) return &held;
    }
    return nullptr;
  }
  const size_t mask = index_.size() - 1;
  for (size_t at = hash & mask; index_[at] != 0; at = (at + 1) & mask) {
    Held& held = held_[index_[at] - 1];
    if (same(held)) return &held;
  }
  return nullptr;
}

void Turn::index(uint32_t record) {
  if (record <= searchedOneByOne) return;
  uint32_t first = record;
  if (2 * size_t{record} > index_.size()) {
    index_.assign(index_.empty() ? 4 * searchedOneByOne : 2 * index_.size(), 0);
    first = 1;
  }
  const size_t mask = index_.size() - 1;
  for (; first <= record; ++first) {
    size_t at = held_[first - 1].hash & mask;
    while (index_[at] != 0) at = (at + 1) & mask;
    index_[at] = first;
  }
}

Turn::Told Turn::whatToTell(const Held& held) {
  const LogAttribute& attribute = *held.attribute;
  if (isUnchanged(*held.source, attribute, held.key, held.previous)) return Told::nothing;
  const bool replaced = held.previous && attribute.kind == AttributeKind::ownCollection &&
                        collectionFind(*held.source, attribute.attribute, held.key);
  return replaced ? Told::removalAndInsertion : Told::change;
}

void Turn::publish(const Held& held, std::exception_ptr& failure) {
  if (held.told == Told::nothing) return;
  Pelmo::Publisher& publisher = held.source->nodePublisher();
  const Publishing publishing(*this, held.origin);
  const auto tell = [&](const void* previous) {
    try {
      publisher.publishCaught({publisher, held.attribute->id, held.key, previous});
    } catch (...) {
      if (!failure) failure = std::current_exception();
    }
  };
  tell(held.previous);
  if (held.told == Told::removalAndInsertion) tell(nullptr);
}

void Turn::destroyValues(const Held& held) noexcept {
  if (held.key) held.attribute->keyOps->destruct(held.key);
  if (!held.previous) return;
  if (held.attribute->ops) {
    held.attribute->ops->destruct(held.previous);
  } else {
    std::destroy_at(static_cast<Pelmo::Ptr<Entity>*>(held.previous));
  }
}

void Turn::publishHeld(std::exception_ptr& failure) {
  // All decisions are taken before the first observer may change something again.
  for (Held& held : held_) held.told = whatToTell(held);
  closing_ = true;
  // What observers change is held behind the last record, so the number grows meanwhile.
  for (size_t i = 0; i < held_.size(); ++i) {
    const Held held = std::exchange(held_[i], Held());
    publish(held, failure);
    destroyValues(held);
  }
  closing_ = false;
  if (!held_.empty()) {
    held_.clear();
    index_.clear();
    values_.release();
    if (held_.capacity() > keptForTheNext) {
      held_.shrink_to_fit();
      index_.shrink_to_fit();
    }
  }
}

void Turn::close(std::exception_ptr failure) {
  publishHeld(failure);
  if (!failure) failure = failedEarly_;
  failedEarly_ = nullptr;
  Pelmo::Publisher::catcherIs(nullptr);
  // These may be the last references to entities, whose observers are told then and may do
  // anything.
  if (!kept_.empty()) const std::vector<Pelmo::Ptr<Entity>> last = std::exchange(kept_, {});
  if (failure) std::rethrow_exception(failure);
}

}  // namespace Tovo::NboAttrLog
