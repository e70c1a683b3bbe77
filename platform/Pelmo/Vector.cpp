#include "Pelmo/Vector.h"

#include <string>

namespace Pelmo {

VectorOutOfRangeException::VectorOutOfRangeException(size_t index, size_t size)
    : std::out_of_range("index " + std::to_string(index) + " is outside a list of " +
                        std::to_string(size)),
      index_(index),
      size_(size) {}

namespace Impl {

void throwVectorEmptyBackException() { throw VectorEmptyException("back of an empty list"); }

void throwVectorEmptyFrontException() { throw VectorEmptyException("front of an empty list"); }

void throwVectorOutOfRangeException(size_t index, size_t size) {
  throw VectorOutOfRangeException(index, size);
}

}  // namespace Impl

}  // namespace Pelmo
