#include "Mirror/Incoming.h"

#include <algorithm>
#include <string>

#include "Mirror/control/Messages.h"
#include "Mirror/wire/Ending.h"

namespace Tovo::NboAttrLog {

namespace {

struct Head {
  uint32_t entity;
  AttributeId id;
};

Head headOf(std::span<const uint8_t> message) noexcept {
  return {load<uint32_t>(message.data()), load<AttributeId>(message.data() + sizeof(uint32_t))};
}

}  // namespace

Incoming::Incoming(IncomingOwner& owner, StreamAdapter& log, const Limits& limits,
                   Holder* holder) noexcept
    : owner_(owner),
      log_(log),
      limits_(limits),
      input_(holder),
      takenFromAnybody_(std::min(limits.messageBytes, limits.requestBytes)) {}

Stream::Result Incoming::read(Stream& stream) {
  const Stream::Result result = stream.read(input_.room());
  if (result.outcome == Stream::Outcome::some) {
    input_.arrived(result.bytes);
    bytesReceived_ += result.bytes;
  }
  return result;
}

const char* Incoming::cutOff() const noexcept {
  if (!input_.behindFound().empty()) return "end of stream inside a message";
  return input_.foundBytes() > 0 ? "end of stream inside a turn" : "end of stream";
}

void Incoming::checkLength(uint32_t length) const {
  size_t most = limits_.messageBytes;
  if (length > limits_.requestBytes && (!greeted_ || owner_.onlyListens())) {
    most = std::min(most, limits_.requestBytes);
  }
  if (length >= messageHeader && length <= most) return;
  throw EndingException(Ending::messageSize, "a message of " + std::to_string(length) + " bytes; " +
                                                 std::to_string(messageHeader) + " to " +
                                                 std::to_string(most) + " are allowed");
}

// Messages about entities wait for the end of their turn, and so do control messages behind them.
void Incoming::apply() {
  while (input_.hasLength()) {
    const uint32_t length = input_.nextLength();
    if (length < messageHeader || length > takenFromAnybody_) [[unlikely]]
      checkLength(length);
    if (!input_.hasNext(length)) break;
    const bool nothingWaits = input_.foundBytes() == 0;
    const auto [entity, id] = headOf(input_.findNext(length));
    if (entity != 0 && greeted_) continue;
    if (!greeted_ && (entity != 0 || id != Control::greeting.id)) {
      throw StreamException("the first message is no greeting");
    }
    const bool isLast = id == Control::goodBye.id;
    if (isLast) input_.keepLast(length);
    if (id == Control::turn.id || isLast || nothingWaits) applyFound();
    if (closed_) return;
  }
  if (input_.foundBytes() > 0 && (owner_.fillsOnly() || owner_.onlyListens())) applyFound();
  if (input_.foundBytes() > limits_.turnBytes) {
    throw EndingException(Ending::turnSize,
                          "a turn of more than " + std::to_string(limits_.turnBytes) + " bytes");
  }
}

void Incoming::applyFound() {
  const Liveness::Watch watch(log_.turn().liveness());
  log_.turn().run([&] {
    while (input_.foundBytes() > 0) {
      const std::span<const uint8_t> message = input_.takeFirst();
      applyMessage(message);
      if (applied_ && !closed_) tellApplied(message);
    }
  });
  if (watch.gone()) throw AdapterGone();
}

inline void Incoming::applyMessage(std::span<const uint8_t> message) {
  const auto [entity, id] = headOf(message);
  In in(message, messageHeader);
  if (entity == 0) return owner_.handleControl(id, in);
  log_.receiver().apply(log_.numbers().received(entity), id, in);
}

// The function may replace itself or destroy the connection, so it is held while it is called.
void Incoming::tellApplied(std::span<const uint8_t> message) {
  const std::shared_ptr<const Applied> applied = applied_;
  log_.turn().callOut([&] { (*applied)(message); });
}

void Incoming::close(bool inUse) noexcept {
  closed_ = true;
  input_.forget();
  if (!inUse) input_.release();
}

void Incoming::turnEnds() {
  log_.carrier().references().endTurn();
  ++turns_;
}

}  // namespace Tovo::NboAttrLog
