// A hash map in one block, for the two directions between entities and their numbers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tovo/HashMap2018.h"

namespace Tovo::NboAttrLog {

/// Keys are numbers or pointers, never zero. Open addressing with linear probing, at most five
/// eighths full; removal closes the gap, so its size follows what is in it now. Values are moved
/// when others come and go: a pointer to one is good until the next insertion or removal.
///
/// Numbers that were given one after the other lie side by side, and so do objects that were made
/// so: who goes through them goes through the map in order. A peer may choose numbers that collide:
/// then the map goes over to places that nobody outside can foresee.
template <class Key, class Value>
class FlatMap {
 public:
  size_t size() const noexcept { return size_; }
  bool empty() const noexcept { return size_ == 0; }
  /// That its places take.
  size_t bytes() const noexcept { return slots_.size() * sizeof(Slot); }

  Value* find(Key key) noexcept {
    Slot* slot = slotOf(key);
    return slot ? &slot->value : nullptr;
  }
  const Value* find(Key key) const noexcept { return const_cast<FlatMap*>(this)->find(key); }
  bool contains(Key key) const noexcept { return find(key) != nullptr; }
  /// How many places are looked at before the one where a key lies, or could.
  size_t probes(Key key) const noexcept {
    size_t count = 0;
    if (slots_.empty()) return count;
    for (size_t at = home(key); isTaken(at) && slots_[at].key != key; at = (at + 1) & mask_) {
      ++count;
    }
    return count;
  }
  /// Soon something is asked or stored under that key: what that takes comes from memory meanwhile.
  // Not inlined it would be dropped, as a function that does nothing (GCC 12).
  [[gnu::always_inline]] void prefetch(Key key) const noexcept {
    if (!slots_.empty()) __builtin_prefetch(&slots_[home(key)], 1);
  }

  /// The value under a key, a fresh one when it was not there. Throws std::bad_alloc, then nothing
  /// has changed.
  Value& operator[](Key key) {
    if (Value* known = find(key)) return *known;
    if (8 * (size_ + 1) > 5 * slots_.size()) rebuild(slots_.empty() ? 8 : 2 * slots_.size());
    size_t at = firstFree(home(key));
    if (((at - home(key)) & mask_) > longestRun && seed_ == 0) {
      seed_ = reinterpret_cast<uintptr_t>(slots_.data()) | 1;
      rebuild(slots_.size());
      at = firstFree(home(key));
    }
    slots_[at].key = key;
    ++size_;
    return slots_[at].value;
  }

  void erase(Key key) noexcept {
    Slot* slot = slotOf(key);
    if (!slot) return;
    // What goes with the value may look into the map.
    [[maybe_unused]] const Value last = std::move(slot->value);
    size_t gap = static_cast<size_t>(slot - slots_.data());
    for (size_t at = (gap + 1) & mask_; isTaken(at); at = (at + 1) & mask_) {
      if (((at - home(slots_[at].key)) & mask_) < ((at - gap) & mask_)) continue;
      slots_[gap] = std::move(slots_[at]);
      gap = at;
    }
    slots_[gap] = Slot();
    --size_;
    if (16 * size_ < slots_.size()) shrink();
  }

  void clear() noexcept {
    // What goes with the values may destroy the map.
    const std::vector<Slot> last = std::exchange(slots_, {});
    size_ = 0;
    mask_ = 0;
  }

  template <class Visit>
  void forEach(const Visit& visit) const {
    for (const Slot& slot : slots_) {
      if (slot.key != Key{}) visit(slot.key, slot.value);
    }
  }

 private:
  struct Slot {
    Key key{};
    Value value{};
  };
  static constexpr size_t longestRun = 64;

  bool isTaken(size_t at) const noexcept { return slots_[at].key != Key{}; }
  size_t firstFree(size_t at) const noexcept {
    while (isTaken(at)) at = (at + 1) & mask_;
    return at;
  }

  Slot* slotOf(Key key) noexcept {
    if (size_ == 0) return nullptr;
    for (size_t at = home(key);; at = (at + 1) & mask_) {
      Slot& slot = slots_[at];
      if (slot.key == key) return &slot;
      if (slot.key == Key{}) return nullptr;
    }
  }

  size_t home(Key key) const noexcept {
    uint64_t number;
    if constexpr (std::is_pointer_v<Key>) {
      // Smaller than what is pointed at, so that neighbours have places of their own.
      number = reinterpret_cast<uintptr_t>(key) >> 6;
    } else {
      number = key;
    }
    if (seed_ == 0) [[likely]]
      return static_cast<size_t>(number) & mask_;
    return hashOfNumber(number ^ uint64_t{seed_}) & mask_;
  }

  // To a quarter, so that many come and go before it grows again.
  void shrink() noexcept {
    if (size_ == 0) return clear();
    constexpr size_t keptSlots = 64;
    if (slots_.size() <= keptSlots) return;
    try {
      rebuild(slots_.size() / 4);
    } catch (const std::bad_alloc&) {
      // It stays as large as it is.
    }
  }

  void rebuild(size_t slots) {
    std::vector<Slot> before(slots);
    before.swap(slots_);
    mask_ = slots - 1;
    for (Slot& slot : before) {
      if (slot.key == Key{}) continue;
      slots_[firstFree(home(slot.key))] = std::move(slot);
    }
  }

  std::vector<Slot> slots_;
  size_t size_ = 0;
  size_t mask_ = 0;
  uintptr_t seed_ = 0;
};

}  // namespace Tovo::NboAttrLog
