// The counted pointer to a node.
#pragma once

#include <compare>
#include <cstddef>
#include <type_traits>
#include <utility>

#include "Pelmo/Node.h"

namespace Pelmo {

/// Holds one reference on a node, or none. As large as a plain pointer; a move counts nothing.
/// Two pointers are equal when they point at the same node. It counts by the node's own functions,
/// whatever T calls its own.
template <class T>
class Ptr {
 public:
  constexpr Ptr() noexcept = default;
  constexpr Ptr(std::nullptr_t) noexcept {}
  /// Takes a reference of its own.
  Ptr(T* node) noexcept : node_(node) {
    if (node_) static_cast<const Node*>(node_)->retain();
  }
  Ptr(const Ptr& other) noexcept : Ptr(other.node_) {}
  Ptr(Ptr&& other) noexcept : node_(std::exchange(other.node_, nullptr)) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ptr(const Ptr<U>& other)
  noexcept : Ptr(static_cast<T*>(other.get())) {}
  template <class U>
  requires std::is_convertible_v<U*, T*> Ptr(Ptr<U>&& other)
  noexcept : node_(other.detach()) {}
  ~Ptr() {
    if (node_) static_cast<const Node*>(node_)->release();
  }

  Ptr& operator=(Ptr other) noexcept {
    std::swap(node_, other.node_);
    return *this;
  }

  /// Takes over the reference that the caller owns, such as the first one of a new node.
  static Ptr adopt(T* node) noexcept {
    Ptr result;
    result.node_ = node;
    return result;
  }
  /// Gives the reference to the caller.
  [[nodiscard]] T* detach() noexcept { return std::exchange(node_, nullptr); }

  T* get() const noexcept { return node_; }
  T* operator->() const noexcept { return node_; }
  T& operator*() const noexcept { return *node_; }
  explicit operator bool() const noexcept { return node_ != nullptr; }

 private:
  T* node_ = nullptr;
};

template <class T, class U>
bool operator==(const Ptr<T>& a, const Ptr<U>& b) noexcept {
  return a.get() == b.get();
}
template <class T>
bool operator==(const Ptr<T>& a, std::nullptr_t) noexcept {
  return a.get() == nullptr;
}

/// Null when the node is not a T.
template <class T, class U>
Ptr<T> dynamicCast(const Ptr<U>& node) noexcept {
  return Ptr<T>(dynamic_cast<T*>(node.get()));
}

}  // namespace Pelmo
