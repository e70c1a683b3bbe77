#include "Tovo/HashMap2018.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace Tovo {

HashMap2018::~HashMap2018() {
  if (table_) letGo(table_);
}

void HashMap2018::insert(const HashMap2018VTable& ops, void* node) {
  makeRoom(ops);
  Table& table = *table_;
  const uint32_t place = table.used++;
  table.order[place] = node;
  ++table.live;
  if (table.index) table.addToIndex(ops.hash(ops.key(node)), node, place);
}

void HashMap2018::Table::addToIndex(uint32_t hash, void* node, uint32_t place) noexcept {
  uint32_t at = hash & (slots - 1);
  while (index[at] != unused) at = (at + 1) & (slots - 1);
  index[at] = reinterpret_cast<Word>(node) | tagOf(hash);
  places()[at] = place;
  ++filled;
}

void HashMap2018::remove(uint32_t at) noexcept {
  Table& table = *table_;
  uint32_t place = at;
  if (table.index) {
    place = table.places()[at];
    const uint32_t mask = table.slots - 1;
    table.index[at] = erased;
    // Where no search went on, none needs to: erased slots before an unused one are unused too.
    if (table.index[(at + 1) & mask] == unused) {
      for (; table.index[at] == erased; at = (at - 1) & mask) {
        table.index[at] = unused;
        --table.filled;
      }
    }
  }
  table.order[place] = nullptr;
  if (--table.live == 0 && table.users == 1) {
    letGo(std::exchange(table_, nullptr));
  }
}

void HashMap2018::clear(const HashMap2018VTable& ops) noexcept {
  Table* table = std::exchange(table_, nullptr);
  if (!table) return;
  for (uint32_t place = 0; place < table->used; ++place) {
    if (void* node = std::exchange(table->order[place], nullptr)) ops.destroy(node);
  }
  table->live = 0;
  letGo(table);
}

// Leaves room for one more element in `order` and, where there is to be one, in `index`.
void HashMap2018::makeRoom(const HashMap2018VTable& ops) {
  constexpr uint32_t firstCapacity = 4;
  if (!table_) {
    auto* table = static_cast<Table*>(std::calloc(1, sizeof(Table)));
    auto** order = static_cast<void**>(std::malloc(firstCapacity * sizeof(void*)));
    if (!table || !order) {
      std::free(table);
      std::free(order);
      throw std::bad_alloc();
    }
    table->order = order;
    table->users = 1;
    table->capacity = firstCapacity;
    table_ = table;
  }
  Table& table = *table_;
  if (table.used == table.capacity) {
    // Iterators remember places, so these may change only while nobody iterates.
    if (table.users == 1 && table.live <= table.used - table.used / 4 - 1) {
      compact();
      if (table.index) fillIndex(table, ops);
    } else {
      constexpr uint32_t most = nowhere - 1;
      if (table.capacity >= most - 16) throw std::length_error("a collection is full");
      const uint32_t capacity =
          static_cast<uint32_t>(std::min<uint64_t>(uint64_t{table.capacity} * 3 / 2 + 2, most));
      auto* order = static_cast<void**>(std::realloc(table.order, capacity * sizeof(void*)));
      if (!order) throw std::bad_alloc();
      table.order = order;
      table.capacity = capacity;
    }
  }
  // An index that is there is kept in use however few elements are left, and erasing leaves slots
  // used up: a search must always meet a free one.
  const bool rebuild =
      table.index ? table.filled + 1 > table.slots - table.slots / 8 : table.live + 1 > unindexed;
  if (rebuild) {
    const uint32_t elements = std::max(table.live, unindexed) + 1;
    const uint32_t slots = std::bit_ceil(elements + elements / 3 + 2);
    if (slots != table.slots) {
      auto* index = static_cast<Word*>(std::malloc(slots * (sizeof(Word) + sizeof(uint32_t))));
      if (!index) throw std::bad_alloc();
      std::free(table.index);
      table.index = index;
      table.slots = slots;
    }
    fillIndex(table, ops);
  }
}

void HashMap2018::compact() noexcept {
  Table& table = *table_;
  void** const end = std::remove(table.order, table.order + table.used, nullptr);
  table.used = static_cast<uint32_t>(end - table.order);
}

void HashMap2018::fillIndex(Table& table, const HashMap2018VTable& ops) noexcept {
  std::fill_n(table.index, table.slots, unused);
  table.filled = 0;
  for (uint32_t place = 0; place < table.used; ++place) {
    if (void* node = table.order[place]) {
      table.addToIndex(ops.hash(ops.key(node)), node, place);
    }
  }
}

void HashMap2018::letGo(Table* table) noexcept {
  if (--table->users > 0) return;
  std::free(table->index);
  std::free(table->order);
  std::free(table);
}

HashMap2018::Iterator::Iterator(const HashMap2018& map) noexcept : table_(map.table_) {
  if (table_) ++table_->users;
}

HashMap2018::Iterator::Iterator(const Iterator& other) noexcept
    : table_(other.table_), place_(other.place_), end_(other.end_) {
  if (table_) ++table_->users;
}

HashMap2018::Iterator& HashMap2018::Iterator::operator=(Iterator other) noexcept {
  std::swap(table_, other.table_);
  std::swap(place_, other.place_);
  std::swap(end_, other.end_);
  return *this;
}

HashMap2018::Iterator::~Iterator() {
  if (table_) letGo(table_);
}

void* HashMap2018::Iterator::next() noexcept {
  if (!table_) return nullptr;
  while (place_ < table_->used && place_ < end_) {
    if (void* node = table_->order[place_++]) return node;
  }
  return nullptr;
}

bool HashMap2018::Iterator::moveBehind(const HashMap2018& map, const HashMap2018VTable& ops,
                                       const void* key) noexcept {
  place_ = 0;
  if (map.empty()) return false;
  const Found found =
      map.locate(ops.hash(key), [&](const void* node) { return ops.keyEqualsNode(key, node); });
  if (!found.node) return false;
  place_ = map.placeOf(found) + 1;
  return true;
}

}  // namespace Tovo
