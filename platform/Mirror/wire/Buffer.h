// Bytes that come and go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace Tovo::NboAttrLog {

/// A block of bytes, none at first. What is not written yet has no value.
class Buffer {
 public:
  uint8_t* data() noexcept { return bytes_.get(); }
  const uint8_t* data() const noexcept { return bytes_.get(); }
  size_t size() const noexcept { return size_; }

  /// Another size. So many bytes from `from` on come to its beginning, the others are lost. A large
  /// block grows where it is, so that there are never two. Throws std::bad_alloc, then nothing has
  /// changed.
  void sizeIs(size_t size, size_t from, size_t kept) {
    if (size > size_) resize(size);
    if (kept > 0 && from > 0) std::memmove(bytes_.get(), bytes_.get() + from, kept);
    if (size < size_) resize(size);
  }
  void release() noexcept {
    bytes_.reset();
    size_ = 0;
  }

 private:
  // NOLINTBEGIN(cppcoreguidelines-no-malloc): new[] knows no growing
  struct Free {
    void operator()(uint8_t* bytes) const noexcept { std::free(bytes); }
  };

  void resize(size_t size) {
    auto* const bytes = static_cast<uint8_t*>(std::realloc(bytes_.get(), size));
    if (!bytes) throw std::bad_alloc();
    static_cast<void>(bytes_.release());
    bytes_.reset(bytes);
    size_ = size;
  }
  // NOLINTEND(cppcoreguidelines-no-malloc)

  std::unique_ptr<uint8_t, Free> bytes_;
  size_t size_ = 0;
};

}  // namespace Tovo::NboAttrLog
