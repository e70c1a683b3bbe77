// What has arrived over a stream and is not applied yet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Mirror/wire/Buffer.h"
#include "Mirror/wire/Frame.h"
#include "Mirror/wire/Holder.h"

namespace Tovo::NboAttrLog {

/// Bytes in which frames are found one by one. Those that are found are held until they are taken,
/// so a turn can be held until it is whole:
///
///     0 ... taken ... found ... arrived ... size
///
/// Owns its block of memory. What it hands out points into that, until the next call of room, trim
/// or release.
class Input {
 public:
  /// The holder may be null.
  explicit Input(Holder* holder) noexcept : holder_(holder) {}

  /// Room to read into, 64 KiB at least. Throws EndingException when the holder has none, and
  /// std::bad_alloc; then nothing has changed.
  std::span<uint8_t> room();
  /// So many bytes were read into it.
  void arrived(size_t bytes) noexcept { arrived_ += bytes; }

  /// A length has arrived behind what was found, and then: which one.
  bool hasLength() const noexcept { return arrived_ - found_ >= frameHeader; }
  uint32_t nextLength() const noexcept { return load<uint32_t>(bytes_.data() + found_); }
  /// As much has arrived behind it, and then: that message, which is found from now on.
  bool hasNext(uint32_t length) const noexcept { return arrived_ - found_ - frameHeader >= length; }
  std::span<const uint8_t> findNext(uint32_t length) noexcept {
    const uint8_t* const message = bytes_.data() + found_ + frameHeader;
    found_ += frameHeader + length;
    return {message, length};
  }
  /// The oldest message that was found; not empty, since nothing else may be asked for.
  std::span<const uint8_t> takeFirst() noexcept {
    const uint8_t* const frame = bytes_.data() + taken_;
    const uint32_t length = load<uint32_t>(frame);
    taken_ += frameHeader + length;
    return {frame + frameHeader, length};
  }
  /// Of all that were found only the last one, of that length, is left.
  void keepLast(uint32_t length) noexcept { taken_ = found_ - length - frameHeader; }

  /// Bytes of messages that were found and not taken, and of what is behind them.
  size_t foundBytes() const noexcept { return found_ - taken_; }
  std::span<const uint8_t> behindFound() const noexcept {
    return {bytes_.data() + found_, arrived_ - found_};
  }

  /// Nothing is found or arrived any more; what was handed out stays where it is.
  void forget() noexcept { taken_ = found_ = arrived_ = 0; }
  /// Gives back what a burst took.
  void trim();
  /// Drops everything.
  void release() noexcept;
  /// Of the block.
  size_t bytes() const noexcept { return bytes_.size(); }

 private:
  void resize(size_t size);

  Buffer bytes_;
  size_t taken_ = 0;
  size_t found_ = 0;
  size_t arrived_ = 0;
  Holder* holder_;
};

}  // namespace Tovo::NboAttrLog
