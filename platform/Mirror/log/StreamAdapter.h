// One end of an attribute log: the entities that it carries, how their changes become messages, and
// how messages become changes.
#pragma once

#include <cstdint>

#include "Mirror/log/Carrier.h"
#include "Mirror/log/OwnTurn.h"
#include "Mirror/log/Policy.h"
#include "Mirror/log/Receiver.h"
#include "Mirror/log/Sender.h"
#include "Mirror/wire/Holder.h"
#include "Mirror/wire/Output.h"

namespace Tovo::NboAttrLog {

/// Owns its parts, each of which has one subject. Messages go to an output that somebody else owns
/// and that outlives it; what arrives is handed in message by message. It knows nothing of streams,
/// mounts and peers: connections and readers of recordings have one each.
class StreamAdapter {
 public:
  /// The policy outlives the adapter. The holder is asked for memory; null: there is enough.
  explicit StreamAdapter(Output& output, const CarrierLimits& limits = {}, Holder* holder = nullptr,
                         Policy& policy = usualPolicy());
  StreamAdapter(const StreamAdapter&) = delete;
  StreamAdapter& operator=(const StreamAdapter&) = delete;

  OwnTurn& turn() noexcept { return turn_; }
  Carrier& carrier() noexcept { return carrier_; }
  const Carrier& carrier() const noexcept { return carrier_; }
  Numbers& numbers() noexcept { return carrier_.numbers(); }
  const Numbers& numbers() const noexcept { return carrier_.numbers(); }
  Sender& sender() noexcept { return sender_; }
  const Sender& sender() const noexcept { return sender_; }
  Receiver& receiver() noexcept { return receiver_; }
  const Receiver& receiver() const noexcept { return receiver_; }

  /// Applies one message, in a turn of its own unless one is open in this thread: then observers
  /// are told with that. Throws as Receiver::apply, and what observers throw. Observers may do
  /// anything, also destroy the adapter.
  void handleMessage(uint32_t entityId, AttributeId attribute, In in);
  /// The peer has applied so many messages, counted in 32 bits. Throws StreamException when so many
  /// were not sent.
  void takenIs(uint32_t count);

  static Policy& usualPolicy() noexcept;

 private:
  OwnTurn turn_;
  Carrier carrier_;
  Sender sender_;
  Receiver receiver_;
  uint64_t taken_ = 0;  // the host has seen so many messages
};

}  // namespace Tovo::NboAttrLog

namespace Tovo {

/// The adapter as the hooks of entities know it.
using TovoNboAttrLogSa = NboAttrLog::StreamAdapter;

}  // namespace Tovo
