// Sets of plain keys.
#pragma once

#include <memory>

#include "Tovo/HashHelper.h"
#include "Tovo/HashMap2018.h"

namespace Tovo {

/// A set in the order in which its keys came in; iteration survives any change of the set.
template <class Key>
class HSet {
 public:
  /// Holds a key and nothing else.
  class Node {
   public:
    explicit Node(const Key& key) : key_(key) {}

    static uint32_t hash(const Key& key) noexcept { return HashHelper<Key>::hash(key); }
    static const Key& key(const void* node) noexcept {
      return static_cast<const Node*>(node)->key_;
    }
    static const void* value(const void* node) noexcept { return &key(node); }
    static void destroy(void* node) noexcept { delete static_cast<Node*>(node); }

   private:
    Key key_;
  };

  HSet() noexcept = default;
  HSet(const HSet&) = delete;
  HSet& operator=(const HSet&) = delete;
  ~HSet() { clear(); }

  /// False when the key was there already. Throws std::bad_alloc, then nothing has changed.
  bool insert(const Key& key) {
    if (contains(key)) return false;
    auto node = std::make_unique<Node>(key);
    map_.insert(ops, node.get());
    (void)node.release();
    return true;
  }
  bool contains(const Key& key) const { return map_.find(ops, &key) != nullptr; }
  /// False when the key was not there.
  bool erase(const Key& key) noexcept {
    void* node = map_.deleteMemberG(ops, &key);
    if (!node) return false;
    Node::destroy(node);
    return true;
  }
  void clear() noexcept { map_.clear(ops); }
  size_t size() const noexcept { return map_.size(); }

  /// Calls visit(key) in order.
  template <class Visit>
  void forEach(const Visit& visit) const {
    HashMap2018::Iterator at(map_);
    while (const void* node = at.next()) visit(Node::key(node));
  }

 private:
  static constexpr const HashMap2018VTable& ops = HashMap2018VTable::Impl<Node, Key>::table;

  HashMap2018 map_;
};

}  // namespace Tovo
