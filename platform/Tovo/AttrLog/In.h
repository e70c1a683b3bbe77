// Reading values from a message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Pelmo/String.h"
#include "Tovo/AttrLog/Codec.h"

namespace Tovo::NboAttrLog {

/// A view of one message's bytes. Every read is bounded: one that goes past the end throws
/// StreamException before anything is allocated.
class In {
 public:
  /// Begins behind `skipped` bytes of them, which count in places that errors name.
  explicit In(std::span<const uint8_t> bytes, size_t skipped = 0) noexcept
      : begin_(bytes.data()), current_(begin_ + skipped), end_(begin_ + bytes.size()) {}

  const uint8_t* take(size_t bytes) {
    if (bytes > remaining()) [[unlikely]]
      throwTooShort(bytes);
    const uint8_t* at = current_;
    current_ += bytes;
    return at;
  }
  template <FixedSize T>
  T next() {
    return Codec<T>::get(take(Codec<T>::size));
  }
  uint8_t nextU8() { return next<uint8_t>(); }
  uint16_t nextU16() { return next<uint16_t>(); }
  uint32_t nextU32() { return next<uint32_t>(); }
  bool nextbool() { return next<bool>(); }
  Seconds nextSeconds() { return next<Seconds>(); }
  Pelmo::String nextString();
  /// A number for an entity, from the sender's view; 0 is none. See StreamAdapter::received.
  uint32_t nextEntity() { return nextU32(); }
  uint32_t peekEntityId() const;
  /// The count of a list whose elements take at least `least` bytes each. Throws StreamException
  /// when so many cannot follow.
  uint32_t nextCount(size_t least);

  size_t remaining() const noexcept { return static_cast<size_t>(end_ - current_); }
  size_t position() const noexcept { return static_cast<size_t>(current_ - begin_); }
  /// Throws StreamException when the message has more bytes.
  void expectEnd() const {
    if (current_ != end_) [[unlikely]]
      throwLeft();
  }

 private:
  [[noreturn]] void throwLeft() const;
  [[noreturn]] void throwTooShort(size_t bytes) const;

  const uint8_t* begin_;
  const uint8_t* current_;
  const uint8_t* end_;
};

}  // namespace Tovo::NboAttrLog
