// An optional enumeration or bool in one byte.
#pragma once

#include <cstdint>
#include <type_traits>

#include "Tovo/Exceptions.h"

namespace Tovo {

/// 255 means absent, so a present value is at most 254: storing 255 makes the optional absent.
template <class T>
class OptionalByte {
  static_assert(sizeof(T) == 1);

 public:
  using value_type = T;
  constexpr OptionalByte() noexcept = default;
  constexpr OptionalByte(T value) noexcept : byte_(static_cast<uint8_t>(value)) {}

  constexpr bool present() const noexcept { return byte_ != absent; }
  constexpr explicit operator bool() const noexcept { return present(); }
  /// Throws BadOptionalAccessException when absent.
  constexpr T value() const {
    if (!present()) throwBadOptionalAccess();
    return static_cast<T>(byte_);
  }
  constexpr void clear() noexcept { byte_ = absent; }

  friend constexpr bool operator==(const OptionalByte&, const OptionalByte&) = default;

 private:
  static constexpr uint8_t absent = 255;
  uint8_t byte_ = absent;
};

}  // namespace Tovo
