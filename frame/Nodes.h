// The nodes that collections hold.
#pragma once

#include <utility>

#include "Pelmo/Ptr.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "Tovo/Entity.h"
#include "Tovo/Exchange.h"
#include "Tovo/HashHelper.h"
#include "Tovo/HashMap2018.h"

namespace Frame {

/// Slab memory for the nodes of value and reference collections, accounted together.
struct NodeMemory {
  static void* operator new(size_t size);
  static void operator delete(void* node, size_t size) noexcept;
};

/// A collection that owns entities: the node is the entity itself, the key what KeyFunktor reads
/// from it. The map holds one reference.
template <class T, class K, class KeyFunktor>
struct OwnedNode {
  using Element = T;
  using Key = K;
  static uint32_t hash(const K& key) noexcept { return Tovo::HashHelper<K>::hash(key); }
  static T* element(const void* node) noexcept {
    return static_cast<T*>(static_cast<Tovo::Entity*>(const_cast<void*>(node)));
  }
  static const K& key(const void* node) noexcept { return KeyFunktor()(*element(node)); }
  static const void* value(const void* node) noexcept { return node; }
  /// What observers put into a dying owner may be held elsewhere; it must not point back.
  static void destroy(void* node) noexcept {
    element(node)->handleParent(nullptr);
    element(node)->release();
  }
};

/// A collection of values by key. Self is the class that derives from it.
template <class Self, class K, class V>
class ValueNode : public NodeMemory {
 public:
  using Element = V;
  using Key = K;
  ValueNode(const K& key, const V& value) : key_(key), value_(value) {}

  const K& fwkKey() const noexcept { return key_; }
  const V& value() const noexcept { return value_; }
  V& value() noexcept { return value_; }

  static uint32_t hash(const K& key) noexcept { return Tovo::HashHelper<K>::hash(key); }
  static Self* node(const void* node) noexcept {
    return static_cast<Self*>(const_cast<void*>(node));
  }
  static const K& key(const void* at) noexcept { return node(at)->fwkKey(); }
  static const void* value(const void* at) noexcept { return &node(at)->value(); }
  static void destroy(void* at) noexcept { delete node(at); }

 private:
  K key_;
  V value_;
};

/// A collection of counted pointers by key.
template <class Self, class K, class T>
class RefNode : public NodeMemory {
 public:
  using Element = T;
  using Key = K;
  RefNode(const K& key, const Pelmo::Ptr<T>& target) : key_(key), target_(target) {}

  const K& fwkKey() const noexcept { return key_; }
  const Pelmo::Ptr<T>& target() const noexcept { return target_; }
  Pelmo::Ptr<T>& target() noexcept { return target_; }

  static uint32_t hash(const K& key) noexcept { return Tovo::HashHelper<K>::hash(key); }
  static Self* node(const void* node) noexcept {
    return static_cast<Self*>(const_cast<void*>(node));
  }
  static const K& key(const void* at) noexcept { return node(at)->fwkKey(); }
  static const void* value(const void* at) noexcept {
    return static_cast<const Tovo::Entity*>(node(at)->target().get());
  }
  static void destroy(void* at) noexcept { delete node(at); }

 private:
  K key_;
  Pelmo::Ptr<T> target_;
};

/// A collection of values by one of their own fields.
template <class Self, class V, class K, class KeyFunktor>
class SelfKeyedNode : public NodeMemory {
 public:
  using Element = V;
  using Key = K;
  explicit SelfKeyedNode(const V& value) : key_(KeyFunktor()(value)), _value(value) { check(); }

  const K& fwkKey() const noexcept { return key_; }
  const V& value() const noexcept { return _value; }
  /// Returns the value before.
  V replace(const V& value) {
    V previous = Tovo::exchange(_value, value);
    check();
    return previous;
  }

  static uint32_t hash(const K& key) noexcept { return Tovo::HashHelper<K>::hash(key); }
  static Self* node(const void* node) noexcept {
    return static_cast<Self*>(const_cast<void*>(node));
  }
  static const K& key(const void* at) noexcept { return node(at)->fwkKey(); }
  static const void* value(const void* at) noexcept { return &node(at)->value(); }
  static void destroy(void* at) noexcept { delete node(at); }

 private:
  // clang-format off
  void check() const { TOVO_ASSERT(fwkKey() == KeyFunktor()( _value )); }
  // clang-format on

  K key_;
  V _value;
};

/// The map of one kind of node.
template <class Node>
class Map : public Tovo::HashMap2018 {
 public:
  using Key = typename Node::Key;
  static constexpr const Tovo::HashMap2018VTable& ops =
      Tovo::HashMap2018VTable::Impl<Node, Key>::table;

  Map() noexcept = default;
  ~Map() { clear(ops); }

  void* find(const Key& key) const {
    if (empty()) return nullptr;
    return HashMap2018::find(Node::hash(key),
                             [&](const void* node) { return Node::key(node) == key; });
  }
  void insert(void* node) { HashMap2018::insert(ops, node); }
  void* take(const Key& key) noexcept {
    if (empty()) return nullptr;
    return deleteMemberG(Node::hash(key), [&](const void* node) { return Node::key(node) == key; });
  }
};

}  // namespace Frame
