// What the setters of entities do.
#pragma once

#include <type_traits>
#include <utility>

#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Exchange.h"

namespace Frame {

/// Compares, stores, publishes. The value before lives until the observers were called.
template <class T>
inline void attributeIs(Tovo::Entity& entity, T& stored, const T& value, Tovo::AttributeId id) {
  if (stored == value) return;
  const T previous = Tovo::exchange(stored, value);
  entity.nodePublisher().publishChangeRecursive(id, nullptr, &previous, nullptr);
}

/// Inclusive bounds, known at compile time.
template <auto low, auto high, class T>
constexpr bool within(T value) noexcept {
  constexpr bool fromZero = low == 0;
  static_assert(std::is_unsigned_v<T>);
  constexpr bool toHighest = high >= static_cast<T>(-1);
  if constexpr (fromZero && toHighest) {
    return true;
  } else if constexpr (fromZero) {
    return value <= high;
  } else if constexpr (toHighest) {
    return value >= low;
  } else {
    return value >= low && value <= high;
  }
}

/// The number that a range speaks of: the value itself, or the one field of a wrapper.
template <class T>
constexpr auto numberOf(const T& value) noexcept {
  if constexpr (std::is_integral_v<T>) {
    return value;
  } else {
    return value.value();
  }
}

template <auto low, auto high, class T>
constexpr void checkRange(const T& value, const char* message) {
  if (!within<low, high>(numberOf(value))) [[unlikely]]
    Tovo::throwRangeException(message);
}

/// The equality test comes first: the value that is there may be set again even out of range.
template <auto low, auto high, class T>
inline void rangedAttributeIs(Tovo::Entity& entity, T& stored, const T& value, Tovo::AttributeId id,
                              const char* message) {
  if (stored == value) return;
  checkRange<low, high>(value, message);
  attributeIs(entity, stored, value, id);
}

/// Adds modulo the counter's width; returns the sum. An observer may change the counter again, or
/// drop the entity.
template <class T>
inline T counterInc(Tovo::Entity& entity, T& stored, T delta, Tovo::AttributeId id) {
  const T sum = static_cast<T>(stored + delta);
  attributeIs(entity, stored, sum, id);
  return sum;
}

/// The setter of a value's field that has a range.
template <auto low, auto high, class T>
constexpr void rangedFieldIs(T& stored, const T& value, const char* message) {
  if (stored == value) return;
  checkRange<low, high>(value, message);
  stored = value;
}

}  // namespace Frame
