// What the collections of entities do.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Exchange.h"
#include "Tovo/ValueOps.h"
#include "frame/Views.h"

namespace Frame {

// ----------------------------------------------------------------------------------------- owning

template <class Node>
Pelmo::Ptr<typename Node::Element> elementOf(const Map<Node>& map, const typename Node::Key& key) {
  void* node = map.find(key);
  return node ? Pelmo::Ptr<typename Node::Element>(Node::element(node)) : nullptr;
}

/// Throws MutatorReinstantiatingException when an existing element has another parameter.
template <class T>
void requireSame(const Tovo::Entity& element, Tovo::AttributeId id, const T& existing,
                 const T& requested) {
  if (existing == requested) return;
  std::string existingText;
  std::string requestedText;
  Tovo::TextForm<T>::print(existingText, existing);
  Tovo::TextForm<T>::print(requestedText, requested);
  Tovo::throwMutatorReinstantiating(element, id, std::move(requestedText), std::move(existingText));
}

/// Insert, parent, publish.
template <class Node>
Pelmo::Ptr<typename Node::Element> insertOwned(Tovo::Entity& owner, Map<Node>& map,
                                               Tovo::AttributeId id,
                                               Pelmo::Ptr<typename Node::Element> element) {
  Tovo::Entity* node = element.get();
  map.insert(node);
  node->retain();
  node->handleParent(Pelmo::Ptr<Tovo::Entity>(&owner));
  owner.nodePublisher().publishChangeRecursive(id, &Node::key(node), nullptr, nullptr);
  return element;
}

/// Remove, clear the parent, publish. The element lives until the observers were called, so the key
/// may be its own.
template <class Node>
Pelmo::Ptr<typename Node::Element> eraseOwned(Tovo::Entity& owner, Map<Node>& map,
                                              Tovo::AttributeId id, const typename Node::Key& key) {
  void* node = map.take(key);
  if (!node) return nullptr;
  auto element = Pelmo::Ptr<typename Node::Element>::adopt(Node::element(node));
  element->handleParent(nullptr);
  owner.nodePublisher().publishChangeRecursive(id, &Node::key(node), &element, nullptr);
  return element;
}

/// Calls erase(key) for each element that is there now, even if one throws; then the first
/// exception goes on.
template <class Node, class Erase>
void eraseAll(Map<Node>& map, const Erase& erase) {
  Tovo::HashMap2018::Iterator at(map);
  at.endHere();
  std::exception_ptr failure;
  while (void* node = at.next()) {
    try {
      erase(Node::key(node));
    } catch (...) {
      if (!failure) failure = std::current_exception();
    }
  }
  if (failure) std::rethrow_exception(failure);
}

// ----------------------------------------------------------------------------- values, references

template <class Node>
std::optional<typename Node::Element> valueOf(const Map<Node>& map, const typename Node::Key& key) {
  const void* node = map.find(key);
  if (!node) return std::nullopt;
  return *static_cast<const typename Node::Element*>(Node::value(node));
}

/// False for an absent key.
template <class Node>
bool flagOf(const Map<Node>& map, const typename Node::Key& key) {
  const void* node = map.find(key);
  return node && *static_cast<const bool*>(Node::value(node));
}

template <class Node>
void insertNode(Map<Node>& map, std::unique_ptr<Node> node) {
  map.insert(node.get());
  (void)node.release();
}

/// The key of a notification is a copy: an observer may delete the entry.
template <class Node>
void valueIs(Tovo::Entity& owner, Map<Node>& map, Tovo::AttributeId id,
             const typename Node::Key& key, const typename Node::Element& value) {
  const typename Node::Key published = key;
  if (void* at = map.find(key)) {
    typename Node::Element& stored = Node::node(at)->value();
    if (stored == value) return;
    const typename Node::Element previous = Tovo::exchange(stored, value);
    owner.nodePublisher().publishChangeRecursive(id, &published, &previous, nullptr);
    return;
  }
  insertNode<Node>(map, std::make_unique<Node>(key, value));
  owner.nodePublisher().publishChangeRecursive(id, &published, nullptr, nullptr);
}

/// The value goes under its own key.
template <class Node>
void selfKeyedIs(Tovo::Entity& owner, Map<Node>& map, Tovo::AttributeId id,
                 const typename Node::Key& key, const typename Node::Element& value) {
  const typename Node::Key published = key;
  if (void* at = map.find(key)) {
    if (Node::node(at)->value() == value) return;
    const typename Node::Element previous = Node::node(at)->replace(value);
    owner.nodePublisher().publishChangeRecursive(id, &published, &previous, nullptr);
    return;
  }
  insertNode<Node>(map, std::make_unique<Node>(value));
  owner.nodePublisher().publishChangeRecursive(id, &published, nullptr, nullptr);
}

template <class Node>
bool valueDel(Tovo::Entity& owner, Map<Node>& map, Tovo::AttributeId id,
              const typename Node::Key& key) {
  const std::unique_ptr<Node> node(Node::node(map.take(key)));
  if (!node) return false;
  owner.nodePublisher().publishChangeRecursive(id, &node->fwkKey(), Node::value(node.get()),
                                               nullptr);
  return true;
}

template <class Node>
Pelmo::Ptr<typename Node::Element> targetOf(const Map<Node>& map, const typename Node::Key& key) {
  void* node = map.find(key);
  return node ? Node::node(node)->target() : nullptr;
}

template <class Node>
bool referenceDel(Tovo::Entity& owner, Map<Node>& map, Tovo::AttributeId id,
                  const typename Node::Key& key) {
  const std::unique_ptr<Node> node(Node::node(map.take(key)));
  if (!node) return false;
  owner.nodePublisher().publishChangeRecursive(id, &node->fwkKey(), &node->target(), nullptr);
  return true;
}

/// A null target removes the entry.
template <class Node>
void referenceIs(Tovo::Entity& owner, Map<Node>& map, Tovo::AttributeId id,
                 const typename Node::Key& key, const Pelmo::Ptr<typename Node::Element>& target) {
  if (!target) {
    referenceDel(owner, map, id, key);
    return;
  }
  const typename Node::Key published = key;
  if (void* at = map.find(key)) {
    Pelmo::Ptr<typename Node::Element>& stored = Node::node(at)->target();
    if (stored == target) return;
    const auto previous = std::exchange(stored, target);
    owner.nodePublisher().publishChangeRecursive(id, &published, &previous, nullptr);
    return;
  }
  insertNode<Node>(map, std::make_unique<Node>(key, target));
  owner.nodePublisher().publishChangeRecursive(id, &published, nullptr, nullptr);
}

// ------------------------------------------------------------------------------------- reflection

namespace Impl {

template <class T>
const std::decay_t<T>& untyped(const void* value) noexcept {
  return *static_cast<const std::decay_t<T>*>(value);
}

// The collection's typed operations behind the untyped ones, from the types of the operations.
template <auto is>
struct CollectionCall;

template <class Owner, class Result, class Key, class... Arguments,
          Result (Owner::*is)(Key, Arguments...)>
struct CollectionCall<is> {
  static Pelmo::Ptr<Tovo::Entity> create(Tovo::Entity& owner, const void* key,
                                         Tovo::ConstructorArguments parameters) {
    return [&]<size_t... i>(std::index_sequence<i...>)->Pelmo::Ptr<Tovo::Entity> {
      return (static_cast<Owner&>(owner).*is)(untyped<Key>(key),
                                              untyped<Arguments>(parameters[i])...);
    }
    (std::index_sequence_for<Arguments...>());
  }
  static void put(Tovo::Entity& owner, const void* key, const void* value) {
    (static_cast<Owner&>(owner).*is)(untyped<Key>(key), untyped<Arguments>(value)...);
  }
  static void putSelfKeyed(Tovo::Entity& owner, const void*, const void* value) {
    (static_cast<Owner&>(owner).*is)(untyped<Key>(value));
  }
};

template <auto is>
struct ReferenceCall;

template <class Owner, class Key, class T, void (Owner::*is)(Key, const Pelmo::Ptr<T>&)>
struct ReferenceCall<is> {
  // The caller has checked the target's type.
  static void put(Tovo::Entity& owner, const void* key, const void* target) {
    Tovo::Entity* entity = static_cast<const Pelmo::Ptr<Tovo::Entity>*>(target)->get();
    (static_cast<Owner&>(owner).*is)(untyped<Key>(key), Pelmo::Ptr<T>(static_cast<T*>(entity)));
  }
};

template <auto del>
struct EraseCall;

template <class Owner, class Result, class Key, Result (Owner::*del)(Key)>
struct EraseCall<del> {
  static bool erase(Tovo::Entity& owner, const void* key) {
    return static_cast<bool>((static_cast<Owner&>(owner).*del)(untyped<Key>(key)));
  }
};

}  // namespace Impl

template <class Node, auto is, auto del>
constexpr Tovo::CollectionOps ownOps() {
  return {&Map<Node>::ops, &Impl::CollectionCall<is>::create, nullptr,
          &Impl::EraseCall<del>::erase};
}

template <class Node, auto is, auto del>
constexpr Tovo::CollectionOps valueOps() {
  return {&Map<Node>::ops, nullptr, &Impl::CollectionCall<is>::put, &Impl::EraseCall<del>::erase};
}

template <class Node, auto is, auto del>
constexpr Tovo::CollectionOps selfKeyedOps() {
  return {&Map<Node>::ops, nullptr, &Impl::CollectionCall<is>::putSelfKeyed,
          &Impl::EraseCall<del>::erase};
}

template <class Node, auto is, auto del>
constexpr Tovo::CollectionOps refOps() {
  return {&Map<Node>::ops, nullptr, &Impl::ReferenceCall<is>::put, &Impl::EraseCall<del>::erase};
}

}  // namespace Frame
