#include "Pelmo/Publisher.h"

#include <atomic>
#include <boost/container/small_vector.hpp>
#include <exception>
#include <span>
#include <utility>

#include "Pelmo/Ptr.h"

namespace Pelmo {

namespace {

Publisher::ChildWalk childWalk = nullptr;

// Threads hold trees of their own; what is counted or found by all of them must bear that.
std::atomic<uint64_t> lastSerial = 0;

[[gnu::tls_model("initial-exec")]] constinit thread_local ChangeCatcher* currentCatcher = nullptr;

}  // namespace

/// A notification that is going on in this thread.
///
/// Its nodes outlive it: where the last reference is dropped meanwhile, the node dies at the end.
/// References of its own would do that too, but counting up and down again takes longer than the
/// call of an observer; this way only a node that does die pays. Among threads they are needed all
/// the same, see publishToAll.
class Publisher::Publication {
 public:
  /// The publishers whose observers are called, the lowest first.
  explicit Publication(std::span<Publisher*> levels) noexcept
      : levels_(levels), outer_(innermost_) {
    innermost_ = this;
  }
  Publication(const Publication&) = delete;
  Publication& operator=(const Publication&) = delete;
  ~Publication() {
    if (nodeGone_) [[unlikely]]
      bury();
    innermost_ = outer_;
  }

  /// Calls those who were there when the publication began, recursive ones only if so asked.
  template <bool recursiveOnly>
  void notify(Observer* first, const Change& change, uint64_t lastAttachment,
              std::exception_ptr& failure) noexcept {
    for (Observer* observer = first; observer;) {
      Observer* next = observer->next_;
      next_ = next;
      if (observer->serial_ <= lastAttachment && (!recursiveOnly || observer->recursive())) {
        try {
          observer->handleChange(change);
        } catch (...) {
          if (!failure) failure = std::current_exception();
        }
      }
      observer = next;
      // Rarely true, so the processor need not wait for next_ to come back from memory.
      if (nextGone_) [[unlikely]] {
        observer = next_;
        nextGone_ = false;
      }
    }
  }

  /// An observer leaves its list: whoever was to call it next calls the one behind it.
  static void observerGone(const Observer& observer) noexcept {
    for (Publication* at = innermost_; at; at = at->outer_) {
      if (at->next_ != &observer) continue;
      at->next_ = observer.next_;
      at->nextGone_ = true;
    }
  }

  /// True when the node is part of a publication, which then sees to its end.
  static bool keeps(const Node& node) noexcept {
    for (Publication* at = innermost_; at; at = at->outer_) {
      for (const Publisher* level : at->levels_) {
        if (!level || &level->node() != &node) continue;
        at->nodeGone_ = true;
        return true;
      }
    }
    return false;
  }

 private:
  // One node that dies may take others along: they are kept until their turn comes. One that an
  // outer publication is about goes on living until the end of that.
  [[gnu::noinline, gnu::cold]] void bury() noexcept {
    while (std::exchange(nodeGone_, false)) {
      for (Publisher*& level : levels_) {
        if (!level || level->node().references() != 0) continue;
        std::exchange(level, nullptr)->node().die();
      }
    }
  }

  std::span<Publisher*> levels_;
  Observer* next_ = nullptr;
  Publication* outer_;
  bool nextGone_ = false;
  bool nodeGone_ = false;

  // A word at a fixed place in each thread's block, without a call to find it.
  [[gnu::tls_model("initial-exec")]] static thread_local constinit Publication* innermost_;
};

[[gnu::tls_model("initial-exec")]] thread_local constinit Publisher::Publication*
    Publisher::Publication::innermost_ = nullptr;

bool Publisher::keeps(const Node& node) noexcept { return Publication::keeps(node); }

Publisher::~Publisher() {
  while (Observer* observer = first()) {
    observer->unlink();
    observer->publisher_ = nullptr;
    observer->handlePublisherGone(*this);
  }
}

void Publisher::catcherIs(ChangeCatcher* catcher) noexcept { currentCatcher = catcher; }
ChangeCatcher* Publisher::catcher() noexcept { return currentCatcher; }

inline void Publisher::deliver(const Change& change) {
  const bool fromAbove = (observers_ & observedFromAbove) != 0;
  if (fromAbove || first()->next_ || ThreadControl::tsp_) return publishToAll(change);
  // The one observer of most nodes: nothing to go on to, and its exception is the caller's.
  Publisher* self = this;
  const Publication publication({&self, 1});
  first()->handleChange(change);
}

void Publisher::publish(const Change& change) {
  if (currentCatcher) [[unlikely]]
    return currentCatcher->handleCaught(change);
  deliver(change);
}

void Publisher::publishCaught(const Change& change) {
  if (observers_ != 0) deliver(change);
}

void Publisher::publishToAll(const Change& change) {
  constexpr size_t usualDepth = 8;
  // An observer may move the node elsewhere in the tree: whoever is above it now is called.
  boost::container::small_vector<Publisher*, usualDepth> levels{this};
  for (Publisher* at = this; (at->observers_ & observedFromAbove) != 0;) {
    at = at->upstream_;
    if (at->first()) levels.push_back(at);
  }
  // Another thread may drop a last reference without seeing this one's publications.
  boost::container::small_vector<Ptr<Node>, usualDepth> held;
  if (ThreadControl::tsp_) {
    for (Publisher* level : levels) held.emplace_back(&level->node());
  }
  std::exception_ptr failure;
  {
    Publication publication({levels.data(), levels.size()});
    const uint64_t lastAttachment = lastSerial.load(std::memory_order_relaxed) << 1 | 1;
    publication.notify<false>(first(), change, lastAttachment, failure);
    for (size_t i = 1; i < levels.size(); ++i) {
      publication.notify<true>(levels[i]->first(), change, lastAttachment, failure);
    }
  }
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
  serial_ = (lastSerial.fetch_add(1, std::memory_order_relaxed) + 1) << 1 | (recursive ? 1 : 0);
  // The first one's previous_ is the last one.
  if (Observer* first = publisher.first()) {
    previous_ = first->previous_;
    previous_->next_ = this;
    first->previous_ = this;
  } else {
    previous_ = this;
    publisher.firstIs(this);
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
  Publisher::Publication::observerGone(*this);
  Observer* first = publisher_->first();
  if (first == this) {
    if (next_) next_->previous_ = previous_;
    publisher_->firstIs(next_);
  } else {
    previous_->next_ = next_;
    (next_ ? next_ : first)->previous_ = previous_;
  }
  next_ = nullptr;
  previous_ = nullptr;
}

}  // namespace Pelmo
