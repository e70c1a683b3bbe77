// How a stored value is replaced.
#pragma once

#include <new>
#include <type_traits>

namespace Tovo {

/// Stores a copy and returns what was stored before. When memory runs out nothing has changed.
// Casts, for each setter of each header instantiates this, and would instantiate std::move too.
template <class T>
T exchange(T& stored, const T& value) {
  if constexpr (std::is_nothrow_assignable_v<T&, const T&>) {
    T previous(static_cast<T&&>(stored));
    stored = value;
    return previous;
  } else {
    // Only the copy needs memory; assignment, even of what is moved, might do so half-way.
    T next(value);
    T previous(static_cast<T&&>(stored));
    stored.~T();
    new (&stored) T(static_cast<T&&>(next));
    return previous;
  }
}

}  // namespace Tovo
