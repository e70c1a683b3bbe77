// Who observes a node, and how a change reaches them.
#pragma once

#include <cstdint>
#include <exception>
#include <utility>

#include "Pelmo/Node.h"
#include "Pelmo/ThreadControl.h"

namespace Pelmo {

class Observer;
class Publisher;

/// One change, as an observer sees it; valid during the call only.
struct Change {
  Publisher& source;     ///< of the node that changed
  uint16_t attribute;    ///< the attribute's id
  const void* key;       ///< null for a scalar, else the collection key
  const void* previous;  ///< the value before; null on insertion
};

/// Takes changes instead of their observers, and publishes them later.
class ChangeCatcher {
 public:
  /// The change is stored already; what it points at is valid during the call only.
  virtual void handleCaught(const Change& change) = 0;

 protected:
  ~ChangeCatcher() = default;
};

/// The notifier of one node, an ObservableNode. Sixteen bytes; a node that nobody observes, itself
/// or from above, publishes with a single test. One that is made by itself is part of no node: it
/// must live until its notifications end, nobody catches its changes, and whoever observes it
/// recursively hears of what is moved below it from then on.
///
///   offset 0   first observer, and in its lowest bits what is special about this publisher
///          8   the publisher of the node's parent, null for a root
class Publisher {
 public:
  Publisher() noexcept : observers_(standsAlone) {}
  Publisher(const Publisher&) = delete;
  Publisher& operator=(const Publisher&) = delete;
  /// Detaches the observers that are left and tells each one.
  ~Publisher();

  /// Calls the observers of this node in the order in which they were attached, then the recursive
  /// ones of its parent, and so on upwards. An observer may attach, detach, set, create and delete:
  /// who is detached is not called any more, who is attached is called from the next change on.
  /// Each one is called even if another throws; then the first exception goes on to the caller. The
  /// last argument is reserved: null.
  void publishChangeRecursive(uint16_t attribute, const void* key, const void* previous,
                              const void* reserved);

  bool observed() const noexcept { return (observers_ & ~standsAlone) != 0; }

  /// Whoever catches gets every change of an observed node that the calling thread makes, until it
  /// is another one or null.
  static void catcherIs(ChangeCatcher* catcher) noexcept { catcher_ = catcher; }
  static ChangeCatcher* catcher() noexcept { return catcher_; }
  /// Calls the observers as publishChangeRecursive does, past whoever catches.
  void publishCaught(const Change& change);

  /// The publisher of the node above; null for a root.
  Publisher* upstream() const noexcept { return upstream_; }
  /// Moves the node below another one, or makes it a root. Changes nothing at the observers.
  void upstreamIs(Publisher* above);

  /// The node that this publisher is part of; not for one that was made by itself.
  Node& node() noexcept;
  const Node& node() const noexcept;

  /// How to reach the publishers below a node: the library that knows what a node owns says it
  /// once, at load. `visit` is called for each direct child.
  using Visit = void (*)(Publisher& child, void* context);
  using ChildWalk = void (*)(Publisher& parent, Visit visit, void* context);
  static void childWalkIs(ChildWalk walk) noexcept;

 private:
  class Keep;
  class Calls;
  class Level;
  friend class Observer;
  friend class ObservableNode;

  // The lowest bits of observers_.
  static constexpr uintptr_t observedFromAbove = 1;  // recursively
  static constexpr uintptr_t severalObservers = 2;   // of its own
  static constexpr uintptr_t standsAlone = 4;        // without a node
  static constexpr uintptr_t bits = observedFromAbove | severalObservers | standsAlone;

  struct OfNode {};
  explicit constexpr Publisher(OfNode) noexcept {}

  // Observers are called by the binary that sets, whose own most of them are: a call from one
  // binary to another and back takes several times as long as one within.
  [[gnu::noinline, gnu::visibility("hidden")]] inline void publish(const Change& change);
  void publishToOwn(const Change& change);
  void publishFar(const Change& change);
  void publishToAll(const Change& change);

  Observer* first() const noexcept { return reinterpret_cast<Observer*>(observers_ & ~bits); }
  void firstIs(Observer* observer) noexcept;
  bool hasRecursiveObserver() const noexcept;
  void refreshBelow();
  void refreshFromAbove(bool observed);
  void detachAll() noexcept;

  // A word at a fixed place in each thread's block, without a call to find it.
  [[gnu::tls_model("initial-exec")]] static thread_local constinit ChangeCatcher* catcher_;
  [[gnu::tls_model("initial-exec")]] static thread_local constinit Calls* innermost_;

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
  /// The node that was observed is at its end and this observer already detached. Which one it was
  /// only the observer knows; nothing of it may be used any more, nor may a reference on it be
  /// taken or an observer be attached. All else may be done, such as destroying this observer. What
  /// it throws is dropped: whoever lets go of a node is not there to catch it.
  virtual void handlePublisherGone() {}

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
  uint64_t serial_ = 0;  // goes up with each attachment; lowest bit: recursive
};

/// A node with a publisher right behind its header.
class ObservableNode : public Node {
 public:
  Publisher& nodePublisher() noexcept { return publisher_; }
  const Publisher& nodePublisher() const noexcept { return publisher_; }

 protected:
  ObservableNode() noexcept = default;

  /// Tells the observers while the node is whole; else they are told when its publisher ends.
  void observersGone() noexcept { publisher_.detachAll(); }

  Publisher publisher_{Publisher::OfNode()};
};

inline Node& Publisher::node() noexcept {
  return *reinterpret_cast<Node*>(reinterpret_cast<char*>(this) - sizeof(Node));
}
inline const Node& Publisher::node() const noexcept { return const_cast<Publisher*>(this)->node(); }

/// Keeps a node to the end of its notification: where the last reference is dropped meanwhile, it
/// dies then. A reference would do that too, but counting up and down again takes longer than the
/// call of an observer.
class Publisher::Keep {
 public:
  explicit Keep(Node& node) noexcept : node_(node) { node.publishing_ = true; }
  Keep(const Keep&) = delete;
  Keep& operator=(const Keep&) = delete;
  ~Keep() { end(node_); }

  static bool holds(const Node& node) noexcept { return node.publishing_; }
  static void begin(Node& node) noexcept { node.publishing_ = true; }
  static void end(Node& node) noexcept {
    node.publishing_ = false;
    if (node.references() == 0) [[unlikely]]
      node.die();
  }

 private:
  Node& node_;
};

/// The calls of one notification that are going on in this thread.
class Publisher::Calls {
 public:
  explicit Calls(const Change& change) noexcept : change_(change), outer_(innermost_) {
    innermost_ = this;
  }
  Calls(const Calls&) = delete;
  Calls& operator=(const Calls&) = delete;
  ~Calls() { innermost_ = outer_; }

  /// All of a list. Who comes stands behind the last one, so the rest is easy while nobody leaves.
  void toAll(Observer* first) noexcept {
    Observer* const last = first->previous_;
    const uint64_t lastAttachment = last->serial_;
    for (Observer* observer = first;; observer = observer->next_) {
      at_ = observer;
      call(*observer);
      if (!at_) [[unlikely]]
        return toRest<false>(lastAttachment);
      if (observer == last) break;
    }
    at_ = nullptr;
  }

  /// Those of a list who observe recursively and came before a certain time.
  void toRecursive(Observer* first, uint64_t lastAttachment) noexcept {
    next_ = first;
    toRest<true>(lastAttachment);
  }

  /// Who threw first goes on to the caller.
  void rethrow() {
    if (failure_) [[unlikely]]
      std::rethrow_exception(std::move(failure_));
  }

  /// An observer is about to leave its list: whoever was to call it next calls the one behind it.
  static void observerGoes(const Observer& observer) noexcept {
    for (Calls* each = innermost_; each; each = each->outer_) {
      if (each->at_) each->next_ = std::exchange(each->at_, nullptr)->next_;
      if (each->next_ == &observer) each->next_ = observer.next_;
    }
  }

 private:
  void call(Observer& observer) noexcept {
    try {
      observer.handleChange(change_);
    } catch (...) {
      if (!failure_) failure_ = std::current_exception();
    }
  }

  template <bool recursiveOnly>
  void toRest(uint64_t lastAttachment) noexcept {
    while (Observer* observer = next_) {
      next_ = observer->next_;
      if (observer->serial_ > lastAttachment || (recursiveOnly && !observer->recursive())) continue;
      call(*observer);
    }
  }

  const Change& change_;
  Observer* at_ = nullptr;    // called now; null once somebody has left a list meanwhile
  Observer* next_ = nullptr;  // to be called next, where at_ does not say it
  std::exception_ptr failure_;
  Calls* const outer_;
};

inline void Publisher::publishToOwn(const Change& change) {
  Calls calls(change);
  if (Keep::holds(node())) {
    calls.toAll(first());
  } else {
    const Keep keep(node());
    calls.toAll(first());
  }
  calls.rethrow();
}

void Publisher::publish(const Change& change) {
  if ((observers_ & (observedFromAbove | standsAlone)) != 0 || ThreadControl::tsp_ || catcher_) {
    publishFar(change);
  } else {
    publishToOwn(change);
  }
}

inline void Publisher::publishChangeRecursive(uint16_t attribute, const void* key,
                                              const void* previous, const void*) {
  const uintptr_t observers = observers_;
  if (observers == 0) [[likely]]
    return;
  const Change change{*this, attribute, key, previous};
  if ((observers & bits) != 0 || Keep::holds(node()) || ThreadControl::tsp_ || catcher_) {
    return publish(change);
  }
  // The one observer of most nodes, whose exception is the caller's.
  const Keep keep(node());
  reinterpret_cast<Observer*>(observers)->handleChange(change);
}

}  // namespace Pelmo
