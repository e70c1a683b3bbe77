// Writing values into a message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "Pelmo/String.h"
#include "Tovo/AttrLog/Codec.h"

namespace Tovo::NboAttrLog {

/// Room that somebody else owns, sized beforehand by attrLogSize. Asking for more than is left is
/// an error of the caller: it throws std::length_error and writes nothing.
class Out {
 public:
  explicit Out(std::span<uint8_t> room) noexcept
      : begin_(room.data()), current_(begin_), end_(begin_ + room.size()) {}

  /// Room for that many bytes, to be written by the caller.
  uint8_t* claim(size_t bytes) {
    if (bytes > left()) [[unlikely]]
      throwNoRoom(bytes);
    uint8_t* at = current_;
    current_ += bytes;
    return at;
  }
  void bytes(const void* from, size_t count);

  size_t written() const noexcept { return static_cast<size_t>(current_ - begin_); }
  size_t left() const noexcept { return static_cast<size_t>(end_ - current_); }

 private:
  [[noreturn]] void throwNoRoom(size_t bytes) const;

  uint8_t* begin_;
  uint8_t* current_;
  uint8_t* end_;
};

template <FixedSize T>
inline Out& operator<<(Out& out, const T& value) {
  Codec<T>::put(out.claim(Codec<T>::size), value);
  return out;
}

/// A length of four bytes, then the bytes.
Out& operator<<(Out& out, const Pelmo::String& text);

template <FixedSize T>
constexpr size_t attrLogSize(const T*) noexcept {
  return Codec<T>::size;
}
inline size_t attrLogSize(const Pelmo::String* text) noexcept { return 4 + size_t{text->size()}; }

}  // namespace Tovo::NboAttrLog
