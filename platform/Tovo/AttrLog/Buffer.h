// Bytes that come and go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

namespace Tovo::NboAttrLog {

/// A block of bytes, none at first. What is not written yet has no value.
class Buffer {
 public:
  uint8_t* data() noexcept { return bytes_.get(); }
  const uint8_t* data() const noexcept { return bytes_.get(); }
  size_t size() const noexcept { return size_; }

  /// Takes another block of at least `kept` bytes, which is how many go along from `from` on.
  /// Throws std::bad_alloc, then nothing has changed.
  void sizeIs(size_t size, size_t from, size_t kept) {
    auto bytes = std::make_unique_for_overwrite<uint8_t[]>(size);
    if (kept > 0) std::memcpy(bytes.get(), bytes_.get() + from, kept);
    bytes_ = std::move(bytes);
    size_ = size;
  }
  void release() noexcept {
    bytes_.reset();
    size_ = 0;
  }

 private:
  std::unique_ptr<uint8_t[]> bytes_;
  size_t size_ = 0;
};

}  // namespace Tovo::NboAttrLog
