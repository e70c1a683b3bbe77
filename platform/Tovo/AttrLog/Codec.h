// The encoding of one value in the attribute log.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Tovo/AttrLog/BigEndian.h"
#include "Tovo/Types.h"

namespace Tovo::NboAttrLog {

/// Types of a fixed encoded size have `size`, `put` and `get` at a pointer with room for it; all
/// other types have operator<< on Out, attrLogSize and a constructor from In.
///
/// A class joins by a member constant attrLogBytes with encode and decode.
template <class T>
struct Codec {};

template <class T>
requires requires { T::attrLogBytes; }
struct Codec<T> {
  static constexpr size_t size = T::attrLogBytes;
  static void put(uint8_t* to, const T& value) noexcept { value.encode(to); }
  static T get(const uint8_t* from) noexcept { return T::decode(from); }
};

/// Decodes into a value that exists; a field is filled where it stands, without a copy.
template <class T>
inline void decodeInto(T& value, const uint8_t* from) noexcept {
  if constexpr (requires { value.decodeFrom(from); }) {
    value.decodeFrom(from);
  } else {
    value = Codec<T>::get(from);
  }
}

template <class T>
requires std::unsigned_integral<T> &&(!std::same_as<T, bool>)struct Codec<T> {
  static constexpr size_t size = sizeof(T);
  static void put(uint8_t* to, T value) noexcept { store(to, value); }
  static T get(const uint8_t* from) noexcept { return load<T>(from); }
};

/// One byte; any byte but zero reads true.
template <>
struct Codec<bool> {
  static constexpr size_t size = 1;
  static void put(uint8_t* to, bool value) noexcept { *to = value ? 1 : 0; }
  static bool get(const uint8_t* from) noexcept { return *from != 0; }
};

/// Eight bytes, IEEE 754.
template <>
struct Codec<Seconds> {
  static constexpr size_t size = 8;
  static void put(uint8_t* to, Seconds value) noexcept {
    store(to, std::bit_cast<uint64_t>(value));
  }
  static Seconds get(const uint8_t* from) noexcept {
    return std::bit_cast<Seconds>(load<uint64_t>(from));
  }
};

/// At the declared width; numbers without a literal are kept.
template <class T>
requires std::is_enum_v<T>
struct Codec<T> {
  using Number = std::make_unsigned_t<std::underlying_type_t<T>>;
  static constexpr size_t size = sizeof(T);
  static void put(uint8_t* to, T value) noexcept { store(to, static_cast<Number>(value)); }
  static T get(const uint8_t* from) noexcept { return static_cast<T>(load<Number>(from)); }
};

template <class T>
concept FixedSize = requires {
  Codec<T>::size;
};

}  // namespace Tovo::NboAttrLog
