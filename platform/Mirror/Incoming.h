// What a peer says, turn by turn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>

#include "Mirror/Limits.h"
#include "Mirror/log/StreamAdapter.h"
#include "Mirror/wire/Input.h"
#include "Mirror/wire/Stream.h"

namespace Tovo::NboAttrLog {

/// Whoever handles the messages that speak of no entity, and knows what else is expected of a peer.
class IncomingOwner {
 public:
  /// May end the connection.
  virtual void handleControl(AttributeId id, In in) = 0;
  /// The peer has nothing to tell but short requests, and nothing of it is held.
  virtual bool onlyListens() const noexcept = 0;
  /// Everything that is mirrored is filled for the first time: it is applied as it arrives.
  virtual bool fillsOnly() const noexcept = 0;

 protected:
  ~IncomingOwner() = default;
};

/// Finds messages in what a stream gives, holds them until their turn is whole, and applies that.
/// Part of a connection.
class Incoming {
 public:
  Incoming(IncomingOwner& owner, StreamAdapter& log, const Limits& limits, Holder* holder) noexcept;
  Incoming(const Incoming&) = delete;
  Incoming& operator=(const Incoming&) = delete;

  /// The greeting of the peer has arrived.
  bool greeted() const noexcept { return greeted_; }
  /// Complete turns of the peer that were applied.
  uint64_t turns() const noexcept { return turns_; }
  uint64_t bytesReceived() const noexcept { return bytesReceived_; }

  /// Calls this with each message of the peer, without its length, when it has been applied: a
  /// recording is made of them. What it throws ends the connection. None by an empty function.
  using Applied = std::function<void(std::span<const uint8_t> message)>;
  void appliedIs(Applied applied) {
    applied_ = applied ? std::make_shared<const Applied>(std::move(applied)) : nullptr;
  }

 private:
  friend class Connection;

  /// Reads once.
  Stream::Result read(Stream& stream);
  /// Applies the turns that are whole. Throws what keeps the connection from going on, and
  /// AdapterGone.
  void apply();
  void greetedIs() noexcept { greeted_ = true; }
  void turnEnds();
  /// "end of stream", with what it has cut off.
  const char* cutOff() const noexcept;
  std::span<const uint8_t> notFound() const noexcept { return input_.behindFound(); }
  void trim() { input_.trim(); }
  /// The connection has ended. `inUse`: a message is being applied, so its memory is kept.
  void close(bool inUse) noexcept;
  size_t bytes() const noexcept { return input_.bytes(); }

  void checkLength(uint32_t length) const;
  void applyFound();
  void applyMessage(std::span<const uint8_t> message);
  void tellApplied(std::span<const uint8_t> message);

  IncomingOwner& owner_;
  StreamAdapter& log_;
  Limits limits_;
  Input input_;
  std::shared_ptr<const Applied> applied_;
  uint64_t turns_ = 0;
  uint64_t bytesReceived_ = 0;
  size_t takenFromAnybody_;  // the longest message that is taken without a question
  bool greeted_ = false;
  bool closed_ = false;
};

}  // namespace Tovo::NboAttrLog
