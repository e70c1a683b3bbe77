// What waits to be written to a stream.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Mirror/wire/Buffer.h"
#include "Mirror/wire/Frame.h"
#include "Mirror/wire/Holder.h"

namespace Tovo::NboAttrLog {

/// Frames one behind the other, up to a bound. Owns its block of memory, which comes with the first
/// frame, grows as it is needed and goes when nothing waits (see trim).
///
/// A frame is begun, which finds room for it and writes its head, and then ended, or not: what is
/// begun and not ended is overwritten by the next one.
class Output {
 public:
  /// Up to `bound` bytes wait; one message has at most `mostMessage`. The holder may be null.
  Output(size_t bound, size_t mostMessage, Holder* holder) noexcept
      : mostMessage_(mostMessage), bound_(bound), holder_(holder) {}

  /// Where the payload of a frame of so many bytes is to be written; null: there is no room now. A
  /// message that is larger than the bound goes alone. Throws EndingException above the limit of a
  /// message, or when the holder has no room.
  uint8_t* begin(size_t payload, uint32_t entity, AttributeId id) {
    if (!needRoom(messageHeader + payload)) return nullptr;
    return putHead(room_, payload, entity, id);
  }
  /// The same beyond the bound: there is always room.
  uint8_t* beginBeyond(size_t payload, uint32_t entity, AttributeId id);
  /// What was begun last, with a payload of so many bytes, is whole.
  void end(size_t payload) noexcept { room_ += frameHeader + messageHeader + payload; }

  /// What waits, the oldest first; valid until the next call that changes anything.
  std::span<const uint8_t> waiting() const noexcept {
    return {bytes_.data() + start_, waitingBytes()};
  }
  size_t waitingBytes() const noexcept {
    return static_cast<size_t>(room_ - bytes_.data()) - start_;
  }
  size_t bound() const noexcept { return bound_; }
  /// So many bytes of it have been written.
  void wrote(size_t bytes) noexcept {
    start_ += bytes;
    if (waitingBytes() > 0) return;
    start_ = 0;
    room_ = bytes_.data();
    roomEnd_ = room_ + std::min(bytes_.size(), bound_);
  }

  /// Until it is taken back there is room for everything, whatever the bound.
  void unboundedIs(bool unbounded) noexcept;
  /// Where nothing waits no memory is kept.
  void trim() noexcept;
  /// Drops everything.
  void release() noexcept;
  /// Of the block.
  size_t bytes() const noexcept { return bytes_.size(); }

 private:
  bool needRoom(size_t message) {
    if (message > mostMessage_) [[unlikely]]
      throwTooLong(message);
    const size_t frame = frameHeader + message;
    return static_cast<size_t>(roomEnd_ - room_) >= frame || makeRoom(frame);
  }
  bool makeRoom(size_t frame);
  void grow(size_t size);
  [[noreturn]] void throwTooLong(size_t message) const;

  // Frames are written one behind the other from room_ on, which moves with each.
  uint8_t* room_ = nullptr;
  uint8_t* roomEnd_ = nullptr;
  size_t mostMessage_;
  size_t bound_;
  Buffer bytes_;
  size_t start_ = 0;   // of what waits
  size_t before_ = 0;  // the size of the last block
  Holder* holder_;
  bool unbounded_ = false;
};

}  // namespace Tovo::NboAttrLog
