// Hashes of keys.
#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>

#include "Pelmo/String.h"
#include "Tovo/HashMap2018.h"

namespace Tovo {

/// The hash of a key in a collection. A class joins with a member hash().
template <class T>
struct HashHelper {
  static uint32_t hash(const T& key) noexcept { return key.hash(); }
};

template <class T>
requires std::integral<T> || std::is_enum_v<T>
struct HashHelper<T> {
  static uint32_t hash(T key) noexcept { return hashOfNumber(static_cast<uint64_t>(key)); }
};

/// Mixes the hash of one attribute into a seed; stable within a process only.
template <class T>
uint32_t hashSingleAttr(uint32_t seed, const T& value) noexcept {
  return hashOfNumber(uint64_t{seed} << 32 | HashHelper<T>::hash(value));
}

}  // namespace Tovo
