// Ordered lists inside values: small vectors whose memory is accounted to the field that owns them.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <new>
#include <stdexcept>
#include <utility>

#include "Pelmo/SharedCount.h"

namespace Pelmo {

/// Taking from, or looking at the end of, an empty list.
class VectorEmptyException : public std::out_of_range {
 public:
  using std::out_of_range::out_of_range;
};

/// An index at or beyond the size.
class VectorOutOfRangeException : public std::out_of_range {
 public:
  VectorOutOfRangeException(size_t index, size_t size);
  size_t index() const noexcept { return index_; }
  size_t size() const noexcept { return size_; }

 private:
  size_t index_;
  size_t size_;
};

namespace Impl {
[[noreturn]] void throwVectorEmptyBackException();
[[noreturn]] void throwVectorEmptyFrontException();
[[noreturn]] void throwVectorOutOfRangeException(size_t index, size_t size);
}  // namespace Impl

/// Bytes that the lists of one tag hold beyond their inline room. Visible, so that the libraries of
/// a process count together: one may free what another has allocated.
template <class Tag>
struct __attribute__((visibility("default"))) VectorMemory {
  static inline constinit SharedCount bytes;
};

template <class T, class Tag = T>
struct Allocator {
  using value_type = T;
  template <class U>
  struct rebind {
    using other = Allocator<U, Tag>;
  };

  Allocator() noexcept = default;
  template <class U>
  Allocator(const Allocator<U, Tag>&) noexcept {}

  T* allocate(size_t n) {
    T* memory = static_cast<T*>(::operator new(n * sizeof(T)));
    VectorMemory<Tag>::bytes.add(n * sizeof(T));
    return memory;
  }
  void deallocate(T* memory, size_t n) noexcept {
    VectorMemory<Tag>::bytes.subtract(n * sizeof(T));
    ::operator delete(memory);
  }
  template <class U>
  bool operator==(const Allocator<U, Tag>&) const noexcept {
    return true;
  }
};

/// A list with room for one element inside. Tag names the field that pays for the memory.
template <class T, class Tag = T>
class BasicVector {
 public:
  using value_type = T;
  using Storage = boost::container::small_vector<T, 1, Allocator<T, Tag>>;

  size_t size() const noexcept { return items_.size(); }
  bool empty() const noexcept { return items_.empty(); }
  auto begin() const noexcept { return items_.begin(); }
  auto end() const noexcept { return items_.end(); }

  /// Throws VectorOutOfRangeException.
  const T& at(size_t index) const {
    if (index >= size()) Impl::throwVectorOutOfRangeException(index, size());
    return items_[index];
  }
  const T& operator[](size_t index) const { return at(index); }
  /// Overwrites; never grows. Throws VectorOutOfRangeException, then nothing has changed.
  void set(size_t index, const T& value) {
    if (index >= size()) Impl::throwVectorOutOfRangeException(index, size());
    items_[index] = value;
  }
  /// Both throw VectorEmptyException.
  const T& front() const {
    if (empty()) Impl::throwVectorEmptyFrontException();
    return items_.front();
  }
  const T& back() const {
    if (empty()) Impl::throwVectorEmptyBackException();
    return items_.back();
  }
  /// By value: growing moves the elements, and the argument may be one of them.
  void push(T value) { items_.push_back(std::move(value)); }
  /// Throws VectorEmptyException, then nothing has changed.
  T pop() {
    if (empty()) Impl::throwVectorEmptyBackException();
    T last = std::move(items_.back());
    items_.pop_back();
    return last;
  }
  void clear() noexcept { items_.clear(); }
  void reserve(size_t count) { items_.reserve(count); }

  friend bool operator==(const BasicVector& a, const BasicVector& b) {
    if (a.size() != b.size()) return false;
    for (size_t i = 0; i < a.size(); ++i) {
      if (!(a.items_[i] == b.items_[i])) return false;
    }
    return true;
  }

 private:
  Storage items_;
};

}  // namespace Pelmo
