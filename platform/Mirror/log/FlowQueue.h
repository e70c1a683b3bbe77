// The flows of one adapter that have something to send.
#pragma once

#include <cstddef>
#include <string>
#include <utility>

#include "Mirror/log/FlowOut.h"
#include "Mirror/log/Turn.h"

namespace Tovo::NboAttrLog {

/// Told by flows what is changed here, beside what they note themselves.
class FlowOwner {
 public:
  /// Somebody has set a pointer, or the entry of a reference collection under a key. Throws
  /// std::bad_alloc where there is a key.
  virtual void handleReferenceSet(Entity& holder, AttributeId attribute,
                                  const std::string& key) = 0;
  /// An element has left its collection. Whether the peer knows it.
  virtual bool handleElementLeft(Entity& element) noexcept = 0;
  /// An entity ends.
  virtual void handleEntityGone(Entity& entity) noexcept = 0;

 protected:
  ~FlowOwner() = default;
};

/// Links flows that are owned elsewhere, the longest waiting first; a flow takes itself out when it
/// ends. No operation allocates.
class FlowQueue {
 public:
  /// The origin says when what is published is what the peer has said: flows note nothing of that.
  FlowQueue(FlowOwner& owner, const Turn::Origin& origin) noexcept
      : owner_(owner), origin_(origin) {}
  FlowQueue(const FlowQueue&) = delete;
  FlowQueue& operator=(const FlowQueue&) = delete;

  FlowOwner& owner() const noexcept { return owner_; }
  bool publishesPeer() const noexcept { return origin_.isPublished; }

  bool empty() const noexcept { return !first_; }
  FlowOut* first() const noexcept { return first_; }
  /// Puts a flow at the end; while another one is being sent, behind that and those that have come
  /// behind it since: what comes to light in a tree follows at once, while all that was just read
  /// of it is still at hand.
  void add(FlowOut& flow) noexcept;
  /// Nothing happens to one that is not queued.
  void remove(FlowOut& flow) noexcept;
  /// The first one, which is not being sent any more.
  void removeFirst() noexcept;
  /// The flow is asked what it has to send from now on; null: none is. One that is removed
  /// meanwhile is not being sent any more.
  void sendingIs(FlowOut* flow) noexcept { sending_ = behind_ = flow; }
  bool isSending(const FlowOut& flow) const noexcept { return &flow == sending_; }
  /// Fetches into the cache what sending the flow behind the first one will read.
  // Not inlined it would be dropped, as a function that does nothing (GCC 12).
  [[gnu::always_inline]] void prefetchSecond() const noexcept;

  /// Bytes that flows hold beyond their own objects; collections count there.
  size_t& heldBytes() noexcept { return heldBytes_; }
  size_t heldBytes() const noexcept { return heldBytes_; }
  /// A flow had no memory to note what has changed.
  void changeLost() noexcept { hasLostChange_ = true; }
  bool hasLostChange() const noexcept { return hasLostChange_; }

 private:
  FlowOwner& owner_;
  const Turn::Origin& origin_;
  FlowOut* first_ = nullptr;
  FlowOut* last_ = nullptr;
  FlowOut* sending_ = nullptr;
  FlowOut* behind_ = nullptr;  // it, or the last one that was put in behind it
  size_t heldBytes_ = 0;
  bool hasLostChange_ = false;
};

inline void FlowQueue::add(FlowOut& flow) noexcept {
  FlowOut* const before = sending_ ? std::exchange(behind_, &flow) : last_;
  flow.queued_ = true;
  flow.previousQueued_ = before;
  flow.nextQueued_ = before ? before->nextQueued_ : nullptr;
  (before ? before->nextQueued_ : first_) = &flow;
  (flow.nextQueued_ ? flow.nextQueued_->previousQueued_ : last_) = &flow;
}

inline void FlowQueue::remove(FlowOut& flow) noexcept {
  if (!flow.queued_) return;
  flow.queued_ = false;
  if (&flow == sending_) sending_ = nullptr;
  if (&flow == behind_) behind_ = flow.previousQueued_;
  (flow.previousQueued_ ? flow.previousQueued_->nextQueued_ : first_) = flow.nextQueued_;
  (flow.nextQueued_ ? flow.nextQueued_->previousQueued_ : last_) = flow.previousQueued_;
}

inline void FlowQueue::removeFirst() noexcept {
  FlowOut& first = *first_;
  first.queued_ = false;
  sending_ = nullptr;
  first_ = first.nextQueued_;
  (first_ ? first_->previousQueued_ : last_) = nullptr;
}

inline void FlowQueue::prefetchSecond() const noexcept {
  constexpr size_t cacheLine = 64;
  const FlowOut* const next = first_->nextQueued_;
  if (!next) return;
  __builtin_prefetch(next->entity_);
  __builtin_prefetch(next->nextQueued_);
  // As a number: there may be none behind it.
  const auto behind = reinterpret_cast<uintptr_t>(next->nextQueued_) + cacheLine;
  __builtin_prefetch(reinterpret_cast<const void*>(behind));
}

}  // namespace Tovo::NboAttrLog
