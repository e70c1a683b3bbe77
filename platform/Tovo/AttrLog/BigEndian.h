// Network byte order at a pointer.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace Tovo::NboAttrLog {

static_assert(std::endian::native == std::endian::little ||
              std::endian::native == std::endian::big);

template <class T>
inline T networkOrder(T value) noexcept {
  if constexpr (std::endian::native == std::endian::big || sizeof(T) == 1) {
    return value;
  } else if constexpr (sizeof(T) == 2) {
    return __builtin_bswap16(value);
  } else if constexpr (sizeof(T) == 4) {
    return __builtin_bswap32(value);
  } else {
    return __builtin_bswap64(value);
  }
}

template <class T>
inline void store(uint8_t* to, T value) noexcept {
  value = networkOrder(value);
  std::memcpy(to, &value, sizeof value);
}

template <class T>
inline T load(const uint8_t* from) noexcept {
  T value;
  std::memcpy(&value, from, sizeof value);
  return networkOrder(value);
}

}  // namespace Tovo::NboAttrLog
