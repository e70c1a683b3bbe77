#include "Pelmo/Publisher.h"

#include <cstddef>
#include <exception>
#include <vector>

#include "Pelmo/Ptr.h"

namespace Pelmo {

namespace {

Publisher::ChildWalk childWalk = nullptr;

uint64_t lastSerial = 0;

// The place in an observer list where a notification stands. An observer that goes away moves the
// places that were to call it next.
struct Place {
  explicit Place(Observer* first) noexcept : next(first), outer(innermost) { innermost = this; }
  ~Place() { innermost = outer; }

  Observer* next;
  Place* outer;
  static Place* innermost;
};
Place* Place::innermost = nullptr;

}  // namespace

Publisher::~Publisher() {
  while (Observer* observer = first()) {
    observer->unlink();
    observer->publisher_ = nullptr;
    observer->handlePublisherGone(*this);
  }
}

namespace {

// What the observers of one list threw, the first of it.
void remember(std::exception_ptr& failure) noexcept {
  if (!failure) failure = std::current_exception();
}

}  // namespace

template <class Include>
void Publisher::notify(Observer* first, const Change& change, uint64_t limit,
                       std::exception_ptr& failure, const Include& include) {
  Place place(first);
  while (Observer* observer = place.next) {
    place.next = observer->next_;
    if (observer->serial_ > limit || !include(*observer)) continue;
    try {
      observer->handleChange(change);
    } catch (...) {
      remember(failure);
    }
  }
}

void Publisher::publish(const Change& change) {
  if ((observers_ & observedFromAbove) != 0) return publishUpwards(change);
  // An observer may drop the last reference to the node; the others are called all the same.
  const Ptr<Node> self(&node());
  std::exception_ptr failure;
  notify(first(), change, lastSerial << 1 | 1, failure, [](const Observer&) { return true; });
  if (failure) std::rethrow_exception(failure);
}

void Publisher::publishUpwards(const Change& change) {
  // An observer may move the node elsewhere in the tree: whoever is above it now is called.
  constexpr size_t inlineDepth = 8;
  Ptr<Node> nodes[inlineDepth];
  Publisher* publishers[inlineDepth];
  size_t depth = 0;
  std::vector<std::pair<Ptr<Node>, Publisher*>> deeper;
  for (Publisher* above = upstream_; above; above = above->upstream_) {
    if (!above->first()) continue;
    if (depth < inlineDepth) {
      nodes[depth] = Ptr<Node>(&above->node());
      publishers[depth++] = above;
    } else {
      deeper.emplace_back(Ptr<Node>(&above->node()), above);
    }
  }
  const Ptr<Node> self(&node());
  const uint64_t limit = lastSerial << 1 | 1;
  std::exception_ptr failure;
  notify(first(), change, limit, failure, [](const Observer&) { return true; });
  const auto recursive = [](const Observer& observer) { return observer.recursive(); };
  for (size_t i = 0; i < depth; ++i) {
    notify(publishers[i]->first(), change, limit, failure, recursive);
  }
  for (auto& [node, above] : deeper) notify(above->first(), change, limit, failure, recursive);
  if (failure) std::rethrow_exception(failure);
}

void Publisher::upstreamIs(Publisher* above) {
  upstream_ = above;
  refreshFromAbove(above &&
                   ((above->observers_ & observedFromAbove) != 0 || above->hasRecursiveObserver()));
}

void Publisher::childWalkIs(ChildWalk walk) noexcept { childWalk = walk; }

bool Publisher::hasRecursiveObserver() const noexcept {
  for (Observer* observer = first(); observer; observer = observer->next_) {
    if (observer->recursive()) return true;
  }
  return false;
}

void Publisher::refreshBelow() {
  if (!childWalk) return;
  bool observed = (observers_ & observedFromAbove) != 0 || hasRecursiveObserver();
  childWalk(
      *this,
      [](Publisher& child, void* context) {
        child.refreshFromAbove(*static_cast<const bool*>(context));
      },
      &observed);
}

void Publisher::refreshFromAbove(bool observed) {
  if (((observers_ & observedFromAbove) != 0) == observed) return;
  observers_ = observed ? observers_ | observedFromAbove : observers_ & ~observedFromAbove;
  // A recursive observer here keeps everything below observed, whatever happens above.
  if (!hasRecursiveObserver()) refreshBelow();
}

Observer::~Observer() { detach(); }

void Observer::attach(Publisher& publisher, bool recursive) {
  detach();
  publisher_ = &publisher;
  serial_ = ++lastSerial << 1 | (recursive ? 1 : 0);
  Observer* last = publisher.first();
  if (!last) {
    publisher.firstIs(this);
  } else {
    while (last->next_) last = last->next_;
    last->next_ = this;
    previous_ = last;
  }
  if (recursive) publisher.refreshBelow();
}

void Observer::detach() noexcept {
  if (!publisher_) return;
  Publisher& publisher = *publisher_;
  unlink();
  publisher_ = nullptr;
  if (recursive()) publisher.refreshBelow();
}

void Observer::unlink() noexcept {
  for (Place* place = Place::innermost; place; place = place->outer) {
    if (place->next == this) place->next = next_;
  }
  if (previous_) {
    previous_->next_ = next_;
  } else {
    publisher_->firstIs(next_);
  }
  if (next_) next_->previous_ = previous_;
  next_ = nullptr;
  previous_ = nullptr;
}

}  // namespace Pelmo
