// How an adapter sends what is dirty.
#include <bit>

#include "Tovo/AttrLog/Ending.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/AttrLog/StreamAdapter.h"

namespace Tovo::NboAttrLog {

// Of a flow in which nothing else is dirty, while no multicast is offered: what maySend() asks is
// asked of its first word here. False: no room.
[[gnu::always_inline]] inline bool StreamAdapter::sendAllFixed(FlowOut& flow) {
  while (flow.dirty_ != 0) {
    const LogAttribute& first =
        flow.table_.at(static_cast<uint32_t>(std::countr_zero(flow.dirty_)));
    if (first.run && !flow.toHost_ && (flow.dirty_ & first.run->bits) == first.run->bits) {
      if (!sendRun(flow, *first.run)) return false;
      flow.dirty_ &= ~first.run->bits;
    } else {
      if (!sendFixed(flow, first)) return false;
      flow.dirty_ &= flow.dirty_ - 1;
    }
  }
  return true;
}

bool StreamAdapter::pump() {
  // What waited for an element that is sent is resolved, and told when nothing is being sent any
  // more.
  if (waiting_.empty() || Turn::anyOpen()) return sendQueued();
  const Liveness::Watch watch(liveness_);
  bool sentAll = false;
  inTurn([&] { sentAll = sendQueued(); });
  return watch.gone() || (sentAll && idle());
}

bool StreamAdapter::sendQueued() {
  constexpr size_t cacheLine = 64;
  while (firstQueued_) {
    // The next one comes from memory while this one is sent, and the one behind it is looked for.
    if (const FlowOut* next = firstQueued_->nextQueued_) {
      __builtin_prefetch(next->entity_);
      __builtin_prefetch(next->nextQueued_);
      // As a number: there may be none behind it.
      const auto behind = reinterpret_cast<uintptr_t>(next->nextQueued_) + cacheLine;
      __builtin_prefetch(reinterpret_cast<const void*>(behind));
    }
    // Nobody is called who could change anything meanwhile.
    if (firstQueued_->onlyFixedDirty() && !offersMulticast()) {
      FlowOut& flow = *firstQueued_;
      if (!sendAllFixed(flow)) return false;
      flow.complete_ = true;
      dequeueFirst();
      continue;
    }
    // It stays the first one meanwhile: when it is not finished it goes on before all others,
    // because an element must not be spoken of before it is sent itself.
    const Pelmo::Ptr<FlowOut> flow(firstQueued_);
    sending_ = behind_ = flow.get();
    FlowResult result;
    try {
      result = flow->table().hooks().handleAttrFlowOut(*this, 0, *flow);
    } catch (const AdapterGone&) {
      throw;
    } catch (...) {
      sending_ = nullptr;
      throw;
    }
    sending_ = nullptr;
    if (flow->detached()) continue;
    if (result == FlowResult::notFinished) return false;
    dequeue(*flow);
    if (flow->anyDirty()) {
      enqueue(*flow);
    } else {
      flow->complete_ = true;
    }
  }
  return true;
}

void StreamAdapter::throwTooLong(size_t bytes) const {
  throw EndingException(Ending::messageSize, "a message of " + std::to_string(bytes) +
                                                 " bytes is above the limit of " +
                                                 std::to_string(mostBytes_));
}

bool StreamAdapter::doMessageMulticast(FlowOut&, AttributeId) { return false; }

bool StreamAdapter::handleSerializationOfCollCheck(FlowOut& flow, AttributeId) {
  return !flow.detached();
}

bool StreamAdapter::isOkToSerialize() const { return true; }

bool StreamAdapter::handleCollSerializationTransactionMarkers(FlowOut& flow, AttributeId attribute,
                                                              bool begin) {
  const AttributeId marker = begin ? BaseMessage::beginCollection : BaseMessage::endCollection;
  Out* out = singletonSerializeCheck(flow, marker, 0, 1, sizeof attribute, 0);
  if (!out) return false;
  *out << attribute;
  outSmCommitMessage();
  return true;
}

}  // namespace Tovo::NboAttrLog
