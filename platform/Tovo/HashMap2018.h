// The hash map of collections: insertion order, stable iteration, one pointer wide while empty.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "Pelmo/HashIndex.h"

namespace Tovo {

/// What the runtime can do with the nodes of a map without knowing their type.
struct HashMap2018VTable {
  uint32_t (*hash)(const void* key);
  bool (*keyEqualsNode)(const void* key, const void* node);
  const void* (*key)(const void* node);
  const void* (*value)(const void* node);
  void (*destroy)(void* node) noexcept;

  /// The table of a node class, which says how by static hash(Key), key(node), value(node) and
  /// destroy(node).
  template <class Node, class Key>
  struct Impl;
};

template <class Node, class Key>
struct HashMap2018VTable::Impl {
  static uint32_t hash(const void* key) { return Node::hash(*static_cast<const Key*>(key)); }
  static bool keyEqualsNode(const void* key, const void* node) {
    return Node::key(node) == *static_cast<const Key*>(key);
  }
  static const void* key(const void* node) { return &Node::key(node); }
  static const void* value(const void* node) { return Node::value(node); }
  static void destroy(void* node) noexcept { Node::destroy(node); }
  static constexpr HashMap2018VTable table{&hash, &keyEqualsNode, &key, &value, &destroy};
};

/// Nodes are opaque pointers that the map owns through the table of the caller. Elements are
/// visited in the order in which they came in. Inserting and erasing while somebody iterates is
/// allowed: erased elements are not visited any more, new ones may or may not be.
///
/// While empty it is a null pointer; then
///
///   table   counts, and pointers to:
///   order   node pointers in insertion order, null where one was erased; from nine elements on the
///           nodes' slots in the index
///   index   open addressing, 8 bytes a slot; none below nine elements: words with the node and a
///           part of its hash, so that a search goes from the slot to the node at once
class HashMap2018 {
  static constexpr uint32_t nowhere = Pelmo::HashIndex::nowhere;
  static constexpr uint32_t unindexed = 8;  // so few elements are searched one by one

  // Counted, so that an iterator can outlive the map.
  struct Table {
    union {
      void** nodes = nullptr;
      uint32_t* slots;  // nowhere for one that was erased before the index was filled anew
    };
    Pelmo::HashIndex index;
    uint32_t users = 1;  // the map and its iterators
    uint32_t live = 0;
    uint32_t used = 0;      // places of the order, erased ones included
    uint32_t capacity = 0;  // of the order

    Table() = default;
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    ~Table();
    /// Null for one that was erased.
    void* at(uint32_t place) const noexcept {
      if (!index.exists()) return nodes[place];
      return slots[place] == nowhere ? nullptr : index.at(slots[place]);
    }
    void growOrder();
    void compact() noexcept;
    void newIndex(const HashMap2018VTable& ops);
  };

  // Where a node was found.
  struct Found {
    void* node = nullptr;
    uint32_t at = nowhere;  // the slot, or the place where there is no index
  };

 public:
  constexpr HashMap2018() noexcept = default;
  HashMap2018(const HashMap2018&) = delete;
  HashMap2018& operator=(const HashMap2018&) = delete;
  /// The nodes must be gone: clear() knows how.
  ~HashMap2018();

  size_t size() const noexcept { return table_ ? table_->live : 0; }
  bool empty() const noexcept { return size() == 0; }

  /// The node for which `equal(node)` holds, or null. Allocates nothing.
  template <class Equal>
  void* find(uint32_t hash, Equal equal) const {
    return locate(hash, equal).node;
  }
  void* find(const HashMap2018VTable& ops, const void* key) const {
    if (empty()) return nullptr;
    return find(ops.hash(key), [&](const void* node) { return ops.keyEqualsNode(key, node); });
  }

  /// The caller knows that the node's key is not there. Throws std::bad_alloc or, beyond 2^32 - 16
  /// elements, std::length_error; then nothing has changed. The node's address has at most 48 bits.
  void insert(const HashMap2018VTable& ops, void* node);

  /// Takes the node of the key out and gives it to the caller; null when it is not there.
  template <class Equal>
  void* deleteMemberG(uint32_t hash, Equal equal) noexcept {
    const Found found = locate(hash, equal);
    if (found.node) remove(found.at);
    return found.node;
  }
  void* deleteMemberG(const HashMap2018VTable& ops, const void* key) noexcept {
    if (empty()) return nullptr;
    return deleteMemberG(ops.hash(key),
                         [&](const void* node) { return ops.keyEqualsNode(key, node); });
  }

  /// Destroys every node.
  void clear(const HashMap2018VTable& ops) noexcept;

  /// A place in the map. It keeps its place through any change, and may outlive the map, where it
  /// then finds nothing more.
  class Iterator {
   public:
    explicit Iterator(const HashMap2018& map) noexcept;
    /// Visits nothing that comes in from now on.
    void endHere() noexcept { end_ = table_ ? table_->used : 0; }
    Iterator(const Iterator& other) noexcept;
    Iterator& operator=(Iterator other) noexcept;
    ~Iterator();

    /// The next node, or null at the end.
    void* next() noexcept {
      if (!table_) return nullptr;
      while (place_ < table_->used && place_ < end_) {
        if (void* node = table_->at(place_++)) return node;
      }
      return nullptr;
    }
    /// Goes on behind that key's element; false, and at the start, when it is not there. Cost: the
    /// elements before it.
    bool moveBehind(const HashMap2018& map, const HashMap2018VTable& ops, const void* key) noexcept;

   private:
    Table* table_;
    uint32_t place_ = 0;
    uint32_t end_ = nowhere;
  };

 private:
  template <class Equal>
  Found locate(uint32_t hash, Equal equal) const {
    const Table* table = table_;
    if (!table) return {};
    if (table->index.exists()) {
      const uint32_t slot = table->index.find(hash, equal);
      return slot == nowhere ? Found{} : Found{table->index.at(slot), slot};
    }
    for (uint32_t place = 0; place < table->used; ++place) {
      void* node = table->nodes[place];
      if (node && equal(node)) return {node, place};
    }
    return {};
  }

  void remove(uint32_t at) noexcept;
  void makeRoom(const HashMap2018VTable& ops);
  static void letGo(Table* table) noexcept {
    if (--table->users == 0) delete table;
  }

  Table* table_ = nullptr;
};

using HashMap2018Generic = HashMap2018;

/// The hash of a number, for maps and for HashHelper.
constexpr uint32_t hashOfNumber(uint64_t number) noexcept {
  number ^= number >> 32;
  number *= 0x9fb21c651e98df25ull;
  number ^= number >> 28;
  return static_cast<uint32_t>(number ^ (number >> 32));
}

}  // namespace Tovo
