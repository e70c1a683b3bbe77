#include "Mirror/log/StreamAdapter.h"

#include <string>

#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

Policy& StreamAdapter::usualPolicy() noexcept {
  static Policy policy;
  return policy;
}

StreamAdapter::StreamAdapter(Output& output, const CarrierLimits& limits, Holder* holder,
                             Policy& policy)
    : carrier_(*this, turn_, limits, holder),
      sender_(output, carrier_, turn_, policy),
      receiver_(carrier_, turn_, policy) {}

void StreamAdapter::handleMessage(uint32_t entityId, AttributeId attribute, In in) {
  try {
    turn_.run([&] { receiver_.apply(entityId, attribute, in); });
  } catch (const AdapterGone&) {
    // An observer has destroyed the adapter; what was applied by then stays.
  }
}

void StreamAdapter::takenIs(uint32_t count) {
  const uint64_t taken = taken_ + static_cast<uint32_t>(count - static_cast<uint32_t>(taken_));
  if (taken > sender_.messages()) {
    throw StreamException("the peer has taken " + std::to_string(taken) + " messages, but " +
                          std::to_string(sender_.messages()) + " were sent");
  }
  taken_ = taken;
  carrier_.pending().takenIs(taken, [&](const Place& place) {
    const auto& [entity, attribute, key] = place;
    if (key.empty()) {
      const FlowOut* const flow = numbers().of(*entity).flow;
      CollectionFlow* const whole = flow ? flow->collection(attribute) : nullptr;
      if (whole) whole->forgetMentioned();
    }
    // The host's transfer of the collection may have gone past the place of this key already.
    carrier_.transfers().seen(*entity, attribute, key);
  });
}

}  // namespace Tovo::NboAttrLog
