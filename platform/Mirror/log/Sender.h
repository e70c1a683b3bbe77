// How what is dirty becomes messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Mirror/log/Carrier.h"
#include "Mirror/log/FlowQueue.h"
#include "Mirror/log/OwnTurn.h"
#include "Mirror/log/Policy.h"
#include "Mirror/wire/Output.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/AttrLog/Out.h"

namespace Tovo::NboAttrLog {

/// Asks the queued flows of an adapter what they have to send, and writes it where there is room.
/// Part of that adapter; the output is somebody else's.
class Sender {
 public:
  /// Flags that decide whether a value is offered to Policy::doMessageMulticast.
  static constexpr uint32_t flagMulticast = 0x4000;
  static constexpr uint32_t flagsNoMulticast = 0x180000;

  Sender(Output& output, Carrier& carrier, OwnTurn& turn, Policy& policy) noexcept
      : output_(output), carrier_(carrier), queue_(carrier.queue()), turn_(turn), policy_(policy) {}
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;

  uint32_t flags() const noexcept { return flags_; }
  void flagsIs(uint32_t flags) noexcept { flags_ = flags; }

  /// Sends what is dirty until there is no more, or no more room. True when nothing is left. Where
  /// a reference waited for what is sent, its observers are called then, and may destroy the
  /// adapter. Throws EndingException.
  bool pump();
  /// Sends what is dirty of one flow, or one attribute of it where that is dirty; id 0 is all of
  /// them. A flow that the adapter has let go of meanwhile is done.
  FlowResult send(FlowOut& flow, AttributeId attribute);
  /// Sends one value or pointer, dirty or not. False: no room.
  bool sendValue(FlowOut& flow, const LogAttribute& attribute);

  /// Room for one message with a payload of `count` values of `size` bytes; null when the message
  /// is not to be sent now. All of it is to be written; it ends with outSmCommitMessage.
  uint8_t* singletonSerializeCheck(const FlowOut& flow, AttributeId attribute, uint32_t /*flag*/,
                                   uint32_t count, size_t size, uint32_t /*none*/) {
    return output_.begin(count * size, flow.entityId(), attribute);
  }
  /// The message, with a payload of so many bytes, is whole.
  void outSmCommitMessage(const FlowOut& flow, size_t payload) noexcept {
    output_.end(payload);
    hasSent_ = true;
    ++messages_;
    if (flow.complete_) bytesAgain_ += frameHeader + messageHeader + payload;
  }
  /// Brackets the elements of a whole transfer. False: no room.
  bool handleCollSerializationTransactionMarkers(FlowOut& flow, AttributeId collection, bool begin);

  uint64_t messages() const noexcept { return messages_; }
  /// Something was sent since the last turn; bytes of that about entities whose first transfer was
  /// complete.
  bool hasSent() const noexcept { return hasSent_; }
  size_t bytesAgain() const noexcept { return bytesAgain_; }
  /// What has been sent is a turn; or a turn is to be sent, whether there is anything in it or not.
  void turnEnds() noexcept {
    hasSent_ = false;
    bytesAgain_ = 0;
  }
  void turnIsDue() noexcept { hasSent_ = true; }

 private:
  enum class Sent : uint8_t { all, noRoom, letGo };

  bool sendQueued();
  bool pumpInTurn();
  Sent sendFlow(FlowOut& flow);
  Sent sendOne(FlowOut& flow, const LogAttribute& attribute);
  bool handleValueSerialization(FlowOut& flow, const LogAttribute& attribute);
  bool offersMulticast() const noexcept {
    return (flags_ & (flagMulticast | flagsNoMulticast)) == flagMulticast;
  }
  bool mayTravelTogether(const FlowOut& flow, const LogRun& run) const noexcept;
  bool sendRun(const FlowOut& flow, const LogRun& run);
  Sent handleSerializationOfColl(FlowOut& flow, const LogAttribute& collection);
  bool sendChanges(FlowOut& flow, const LogAttribute& collection);
  bool sendWhole(FlowOut& flow, const LogAttribute& collection);
  bool sendItem(FlowOut& flow, const LogAttribute& collection, const std::string& key,
                const void* item);
  bool sendElement(FlowOut& flow, const LogAttribute& collection, const std::string& key,
                   const void* item);
  bool sendRemoval(FlowOut& flow, AttributeId collection, const std::string& key);
  void commitEntry(FlowOut& flow, AttributeId collection, size_t payload, const std::string& key);

  Output& output_;
  Carrier& carrier_;
  FlowQueue& queue_;
  OwnTurn& turn_;
  Policy& policy_;
  uint64_t messages_ = 0;
  size_t bytesAgain_ = 0;
  uint32_t flags_ = 0;
  bool hasSent_ = false;
};

}  // namespace Tovo::NboAttrLog
