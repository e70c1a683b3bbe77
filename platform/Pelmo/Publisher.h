// Who observes a node, and how a change reaches them.
#pragma once

#include <cstdint>

#include "Pelmo/Node.h"

namespace Pelmo {

class Observer;
class Publisher;

/// One change, as an observer sees it; valid during the call only.
struct Change {
  Publisher& source;     ///< of the node that changed
  uint16_t attribute;    ///< the attribute's id
  const void* key;       ///< null for a scalar, else the collection key
  const void* previous;  ///< the value before; null on insertion
  const void* reserved;  ///< null
};

/// Takes changes instead of their observers, and publishes them later.
class ChangeCatcher {
 public:
  /// The change is stored already; what it points at is valid during the call only.
  virtual void handleCaught(const Change& change) = 0;

 protected:
  ~ChangeCatcher() = default;
};

/// The notifier of one node. Sixteen bytes; a node that nobody observes, itself or from above,
/// publishes with a single test.
///
///   offset 0   first observer, lowest bit: somebody above observes recursively
///          8   the publisher of the node's parent, null for a root
class Publisher {
 public:
  Publisher() noexcept = default;
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;
  /// Detaches the observers that are left and tells each one.
  ~Publisher();

  /// Calls the observers of this node in the order in which they were attached, then the recursive
  /// ones of its parent, and so on upwards. An observer may attach, detach, set, create and delete:
  /// who is detached is not called any more, who is attached is called from the next change on.
  /// Each one is called even if another throws; then the first exception goes on to the caller.
  void publishChangeRecursive(uint16_t attribute, const void* key, const void* previous,
                              const void* reserved) {
    if (observers_ != 0) [[unlikely]]
      publish(Change{*this, attribute, key, previous, reserved});
  }

  bool observed() const noexcept { return observers_ != 0; }

  /// Whoever catches gets every change of an observed node that the calling thread makes, until it
  /// is another one or null.
  static void catcherIs(ChangeCatcher* catcher) noexcept;
  static ChangeCatcher* catcher() noexcept;
  /// Calls the observers as publishChangeRecursive does, past whoever catches.
  void publishCaught(const Change& change);

  /// The publisher of the node above; null for a root.
  Publisher* upstream() const noexcept { return upstream_; }
  /// Moves the node below another one, or makes it a root. Changes nothing at the observers.
  void upstreamIs(Publisher* above);

  /// The node that this publisher is part of.
  Node& node() noexcept;
  const Node& node() const noexcept;

  /// How to reach the publishers below a node: the library that knows what a node owns says it
  /// once, at load. `visit` is called for each direct child.
  using Visit = void (*)(Publisher& child, void* context);
  using ChildWalk = void (*)(Publisher& parent, Visit visit, void* context);
  static void childWalkIs(ChildWalk walk) noexcept;

 private:
  class Publication;
  friend class Observer;
  friend class Node;

  void publish(const Change& change);
  void deliver(const Change& change);
  void publishToAll(const Change& change);
  /// For a node without references: true when a notification of it is going on, at whose end it
  /// dies.
  static bool keeps(const Node& node) noexcept;
  Observer* first() const noexcept {
    return reinterpret_cast<Observer*>(observers_ & ~observedFromAbove);
  }
  void firstIs(Observer* observer) noexcept {
    observers_ = reinterpret_cast<uintptr_t>(observer) | (observers_ & observedFromAbove);
  }
  bool hasRecursiveObserver() const noexcept;
  void refreshBelow();
  void refreshFromAbove(bool observed);

  static constexpr uintptr_t observedFromAbove = 1;

  uintptr_t observers_ = 0;
  Publisher* upstream_ = nullptr;
};

/// One attachment to one publisher. The observer is its own link in the list, so attaching
/// allocates nothing; destroying it detaches it.
class Observer {
 public:
  Observer() noexcept = default;
  Observer(const Observer&) = delete;
  Observer& operator=(const Observer&) = delete;
  virtual ~Observer();

  virtual void handleChange(const Change& change) = 0;
  /// The publisher is being destroyed; this observer is already detached and may not attach to it.
  virtual void handlePublisherGone(Publisher&) {}

  /// Attaches to one node; an earlier attachment ends. Cost: the length of the node's list.
  void observe(Publisher& publisher) { attach(publisher, false); }
  /// Attaches to a node and everything below it, now and later. Cost: the size of the subtree.
  void observeRecursive(Publisher& publisher) { attach(publisher, true); }
  void detach() noexcept;
  Publisher* observed() const noexcept { return publisher_; }

 private:
  friend class Publisher;

  void attach(Publisher& publisher, bool recursive);
  void unlink() noexcept;
  bool recursive() const noexcept { return (serial_ & 1) != 0; }

  Publisher* publisher_ = nullptr;
  Observer* next_ = nullptr;
  Observer* previous_ = nullptr;
  uint64_t serial_ = 0;  // counts attachments; the lowest bit says recursive
};

/// A node with a publisher right behind its header.
class ObservableNode : public Node {
 public:
  Publisher& nodePublisher() noexcept { return publisher_; }
  const Publisher& nodePublisher() const noexcept { return publisher_; }

 protected:
  ObservableNode() noexcept = default;

  Publisher publisher_;
};

inline Node& Publisher::node() noexcept {
  return *reinterpret_cast<Node*>(reinterpret_cast<char*>(this) - sizeof(Node));
}
inline const Node& Publisher::node() const noexcept { return const_cast<Publisher*>(this)->node(); }

}  // namespace Pelmo
