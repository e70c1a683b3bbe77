#include "Pelmo/Publisher.h"

#include <atomic>

namespace Pelmo {

namespace {

Publisher::ChildWalk childWalk = nullptr;

// Threads hold trees of their own; what is counted or found by all of them must bear that.
std::atomic<uint64_t> lastSerial = 0;

}  // namespace

[[gnu::tls_model("initial-exec")]] thread_local constinit ChangeCatcher* Publisher::catcher_ =
    nullptr;
[[gnu::tls_model("initial-exec")]] thread_local constinit Publisher::Calls* Publisher::innermost_ =
    nullptr;

/// One of the publishers whose observers are called; its node is kept to the end. Among threads by
/// a reference, since another one may drop the last one without seeing this one's mark.
class Publisher::Level {
 public:
  explicit Level(Publisher& publisher) noexcept
      : publisher_(publisher),
        kept_((publisher.observers_ & standsAlone) != 0 ? Kept::byItsOwner
              : ThreadControl::tsp_                     ? Kept::byReference
              : Keep::holds(publisher.node())           ? Kept::byOuterNotification
                                                        : Kept::byMark) {
    if (kept_ == Kept::byMark) Keep::begin(publisher.node());
    if (kept_ == Kept::byReference) publisher.node().retain();
  }
  Level(const Level&) = delete;
  Level& operator=(const Level&) = delete;
  // A node that dies may take others along: those are kept until their own turn comes.
  ~Level() {
    if (kept_ == Kept::byMark) Keep::end(publisher_.node());
    if (kept_ == Kept::byReference) publisher_.node().release();
  }

  /// Calls from `lowest` upwards, behind the last level of all.
  void climb(const Level& lowest, Calls& calls, uint64_t lastAttachment) {
    for (Publisher* at = &publisher_; (at->observers_ & observedFromAbove) != 0;) {
      at = at->upstream_;
      if (!at->first()) continue;
      Level above(*at);
      above_ = &above;
      // NOLINTNEXTLINE(clang-analyzer-core.StackAddressEscape): both levels end together
      return above.climb(lowest, calls, lastAttachment);
    }
    if (Observer* own = lowest.publisher_.first()) calls.toAll(own);
    for (const Level* level = lowest.above_; level; level = level->above_) {
      calls.toRecursive(level->publisher_.first(), lastAttachment);
    }
  }

 private:
  enum class Kept { byItsOwner, byOuterNotification, byMark, byReference };
  Publisher& publisher_;
  const Level* above_ = nullptr;
  const Kept kept_;
};

Publisher::~Publisher() { detachAll(); }

void Publisher::detachAll() noexcept {
  while (Observer* observer = first()) {
    observer->unlink();
    observer->publisher_ = nullptr;
    try {
      observer->handlePublisherGone();
    } catch (...) {
      continue;  // the others are told all the same
    }
  }
}

void Publisher::publishCaught(const Change& change) {
  if (!observed()) return;
  if ((observers_ & (observedFromAbove | standsAlone)) != 0 || ThreadControl::tsp_) {
    publishToAll(change);
  } else {
    publishToOwn(change);
  }
}

void Publisher::publishFar(const Change& change) {
  if (catcher_ && (observers_ & standsAlone) == 0) return catcher_->handleCaught(change);
  publishToAll(change);
}

void Publisher::publishToAll(const Change& change) {
  Calls calls(change);
  const uint64_t lastAttachment = lastSerial.load(std::memory_order_relaxed) | 1;
  {
    // An observer may move the node elsewhere in the tree: whoever is above it now is called.
    Level own(*this);
    own.climb(own, calls, lastAttachment);
  }
  calls.rethrow();
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

void Publisher::firstIs(Observer* observer) noexcept {
  observers_ = reinterpret_cast<uintptr_t>(observer) |
               (observers_ & (observedFromAbove | standsAlone)) |
               (observer && observer->next_ ? severalObservers : 0);
}

void Publisher::refreshBelow() {
  if (!childWalk || (observers_ & standsAlone) != 0) return;
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
  serial_ = (lastSerial.fetch_add(2, std::memory_order_relaxed) + 2) | (recursive ? 1 : 0);
  // The first one's previous_ is the last one.
  Observer* first = publisher.first();
  if (first) {
    previous_ = first->previous_;
    previous_->next_ = this;
    first->previous_ = this;
  } else {
    previous_ = this;
    first = this;
  }
  publisher.firstIs(first);
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
  Publisher::Calls::observerGoes(*this);
  Observer* first = publisher_->first();
  if (first == this) {
    if (next_) next_->previous_ = previous_;
    first = next_;
  } else {
    previous_->next_ = next_;
    (next_ ? next_ : first)->previous_ = previous_;
  }
  publisher_->firstIs(first);
  next_ = nullptr;
  previous_ = nullptr;
}

}  // namespace Pelmo
