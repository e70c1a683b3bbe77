// How a stored value is replaced.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace Tovo {

/// Stores a copy and returns what was stored before. When memory runs out nothing has changed.
template <class T>
T exchange(T& stored, const T& value) {
  if constexpr (std::is_nothrow_assignable_v<T&, const T&>) {
    return std::exchange(stored, value);
  } else {
    // Only the copy needs memory; assignment, even of what is moved, might do so half-way.
    T next(value);
    T previous(std::move(stored));
    std::destroy_at(&stored);
    std::construct_at(&stored, std::move(next));
    return previous;
  }
}

}  // namespace Tovo
