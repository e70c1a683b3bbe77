// Looking at the elements of a collection.
#pragma once

#include <cstddef>
#include <type_traits>

#include "frame/Nodes.h"

namespace Frame {

/// The elements of a collection in the map's order, for range-for: entities as T&, others as nodes
/// with fwkKey() and value() or target(). Elements may come and go meanwhile.
template <class Node, class Item>
class View {
 public:
  explicit View(const Map<Node>& map) noexcept : map_(map) {}

  /// Behind the last element. Of its own: the standard one comes with the streams.
  struct End {};

  class Iterator {
   public:
    using value_type = Item;
    using difference_type = std::ptrdiff_t;

    explicit Iterator(const Map<Node>& map) noexcept : at_(map), node_(at_.next()) {}
    Item& operator*() const noexcept { return item(node_); }
    Item* operator->() const noexcept { return &item(node_); }
    Iterator& operator++() noexcept {
      node_ = at_.next();
      return *this;
    }
    void operator++(int) noexcept { ++*this; }
    bool operator==(End) const noexcept { return node_ == nullptr; }

   private:
    static Item& item(void* node) noexcept {
      if constexpr (std::is_same_v<Item, typename Node::Element>) {
        return *Node::element(node);
      } else {
        return *Node::node(node);
      }
    }
    Tovo::HashMap2018::Iterator at_;
    void* node_;
  };

  Iterator begin() const noexcept { return Iterator(map_); }
  End end() const noexcept { return {}; }
  size_t size() const noexcept { return map_.size(); }
  bool empty() const noexcept { return map_.empty(); }

 private:
  const Map<Node>& map_;
};

template <class Node>
using EntityView = View<Node, typename Node::Element>;
template <class Node>
using NodeView = View<Node, const Node>;

}  // namespace Frame
