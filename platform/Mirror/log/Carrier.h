// Which entities a connection carries.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Mirror/log/FlowQueue.h"
#include "Mirror/log/Numbers.h"
#include "Mirror/log/Pending.h"
#include "Mirror/log/References.h"
#include "Mirror/log/Transfers.h"
#include "Mirror/wire/Holder.h"

namespace Tovo::NboAttrLog {

class StreamAdapter;

/// What a peer may have, at most.
struct CarrierLimits {
  size_t entities = SIZE_MAX;
  size_t nesting = 64;  ///< elements below elements
};

/// Takes entities up, each with a number and a flow, and lets go of them with all that is known of
/// them. Part of an adapter, whose other parts it keeps in step.
class Carrier final : private FlowOwner {
 public:
  /// The adapter is only passed on to who makes flows. The holder may be null.
  Carrier(StreamAdapter& adapter, OwnTurn& turn, const CarrierLimits& limits, Holder* holder);
  ~Carrier() { releaseAll(); }

  Numbers& numbers() noexcept { return numbers_; }
  const Numbers& numbers() const noexcept { return numbers_; }
  FlowQueue& queue() noexcept { return queue_; }
  const FlowQueue& queue() const noexcept { return queue_; }
  Pending& pending() noexcept { return pending_; }
  References& references() noexcept { return references_; }
  Transfers& transfers() noexcept { return transfers_; }

  /// Carries an entity from now on. Creates its flow, unless a guest may not write, with every
  /// attribute from `start` on dirty. Keeps a guest's read-only entity alive. `id`: the peer's
  /// number, or 0 for one of this side. Returns the number; nothing happens to an entity that is
  /// carried already. Throws EndingException when the holder has no room.
  uint32_t carry(Entity& entity, Mount mount, AttributeId start, uint32_t id = 0);
  /// Carries an element of a carried entity, below the same mount. Throws EndingException when it
  /// is nested too deep.
  uint32_t carryElement(Entity& owner, Entity& element, AttributeId start, uint32_t id = 0);
  /// Throws what keeps an entity from being carried under a number of the peer, before it is made:
  /// StreamException when a reference of another type waits for that number, EndingException when
  /// there are too many.
  void checkNumber(uint32_t id, TovoTypeBase type) const;
  /// The same of an element of a carried entity; EndingException when that is nested too deep.
  void checkElement(const Entity& owner, uint32_t id, TovoTypeBase type) const;
  /// Stops to carry an entity and everything below it. Mirrors that nobody else holds end with it:
  /// their observers may do anything, also destroy the adapter.
  void release(Entity& entity) noexcept;
  void releaseAll() noexcept;
  /// References to the entity are sent again: it has got another number. Cost: all that is carried.
  void resendReferences(const Entity& entity);

  /// For all that is carried. Cost: constant.
  size_t bytes() const noexcept {
    return numbers_.bytes() + queue_.heldBytes() + transfers_.bytes() + references_.bytes();
  }
  /// The holder is asked when more than so many bytes are needed.
  void bytesAllowedIs(size_t bytes) noexcept { bytesAllowed_ = bytes; }

 private:
  void checkNesting(const Entity& owner) const;
  void releaseOne(Entity& entity) noexcept;
  void grow();

  void handleReferenceSet(Entity& holder, AttributeId attribute, const std::string& key) override;
  bool handleElementLeft(Entity& element) noexcept override;
  void handleEntityGone(Entity& entity) noexcept override;

  StreamAdapter& adapter_;
  CarrierLimits limits_;
  Holder* holder_;
  size_t bytesAllowed_ = SIZE_MAX;
  Numbers numbers_;
  FlowQueue queue_;
  Pending pending_;
  References references_;
  Transfers transfers_;
};

}  // namespace Tovo::NboAttrLog
