#include "Tovo/HashMap2018.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

namespace Tovo {

HashMap2018::~HashMap2018() {
  if (table_) letGo(table_);
}

HashMap2018::Table::~Table() { std::free(nodes); }

void HashMap2018::insert(const HashMap2018VTable& ops, void* node) {
  makeRoom(ops);
  Table& table = *table_;
  if (table.index.exists()) {
    table.slots[table.used] = table.index.add(ops.hash(ops.key(node)), node);
  } else {
    table.nodes[table.used] = node;
  }
  ++table.used;
  ++table.live;
}

void HashMap2018::remove(uint32_t at) noexcept {
  Table& table = *table_;
  if (table.index.exists()) {
    table.index.erase(at);
  } else {
    table.nodes[at] = nullptr;
  }
  if (--table.live == 0 && table.users == 1) letGo(std::exchange(table_, nullptr));
}

void HashMap2018::clear(const HashMap2018VTable& ops) noexcept {
  Table* table = std::exchange(table_, nullptr);
  if (!table) return;
  table->live = 0;
  for (uint32_t place = 0; place < table->used; ++place) {
    void* node = table->at(place);
    if (!node) continue;
    if (table->index.exists()) {
      table->index.erase(table->slots[place]);
    } else {
      table->nodes[place] = nullptr;
    }
    ops.destroy(node);
  }
  letGo(table);
}

// Leaves room for one more element in the order and, where there is to be one, in the index.
void HashMap2018::makeRoom(const HashMap2018VTable& ops) {
  if (!table_) {
    auto table = std::make_unique<Table>();
    table->growOrder();
    table_ = table.release();
  }
  Table& table = *table_;
  if (table.used == table.capacity) {
    // Iterators remember places, so these may change only while nobody iterates.
    if (table.users == 1 && table.live <= table.used - table.used / 4 - 1) {
      table.compact();
    } else {
      table.growOrder();
    }
  }
  // An index that is there is kept in use however few elements are left.
  if (table.index.exists() ? table.index.full() : table.live >= unindexed) table.newIndex(ops);
}

void HashMap2018::Table::growOrder() {
  constexpr uint32_t first = 4;
  constexpr uint32_t many = 1024;
  constexpr uint32_t most = nowhere - 1;
  if (capacity >= most - 16) throw std::length_error("a collection is full");
  const uint64_t wanted = capacity < many ? uint64_t{capacity} * 3 / 2 : uint64_t{capacity} * 9 / 8;
  const auto grown = static_cast<uint32_t>(std::clamp<uint64_t>(wanted + 2, first, most));
  void* order = std::realloc(nodes, grown * (index.exists() ? sizeof *slots : sizeof *nodes));
  if (!order) throw std::bad_alloc();
  nodes = static_cast<void**>(order);
  capacity = grown;
}

// Takes the places of erased elements out.
void HashMap2018::Table::compact() noexcept {
  uint32_t to = 0;
  for (uint32_t place = 0; place < used; ++place) {
    if (!at(place)) continue;
    if (index.exists()) {
      slots[to++] = slots[place];
    } else {
      nodes[to++] = nodes[place];
    }
  }
  used = to;
}

void HashMap2018::Table::newIndex(const HashMap2018VTable& ops) {
  Pelmo::HashIndex filled(std::max(live, unindexed) + 1);
  auto* order = static_cast<uint32_t*>(std::malloc(capacity * sizeof(uint32_t)));
  if (!order) throw std::bad_alloc();
  for (uint32_t place = 0; place < used; ++place) {
    void* node = at(place);
    order[place] = node ? filled.add(ops.hash(ops.key(node)), node) : nowhere;
  }
  std::free(nodes);
  slots = order;
  index.swap(filled);
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

bool HashMap2018::Iterator::moveBehind(const HashMap2018& map, const HashMap2018VTable& ops,
                                       const void* key) noexcept {
  place_ = 0;
  if (map.empty()) return false;
  const Found found =
      map.locate(ops.hash(key), [&](const void* node) { return ops.keyEqualsNode(key, node); });
  if (!found.node) return false;
  place_ = found.at;
  if (map.table_->index.exists()) {
    const uint32_t* slots = map.table_->slots;
    place_ = static_cast<uint32_t>(std::find(slots, slots + map.table_->used, found.at) - slots);
  }
  ++place_;
  return true;
}

}  // namespace Tovo
