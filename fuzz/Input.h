// An input as a list of decisions; behind its end all of them are 0.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

class Input {
 public:
  Input(const uint8_t* data, size_t size) : at_(data), end_(data + size) {}
  bool empty() const { return at_ == end_; }
  uint8_t byte() { return empty() ? 0 : *at_++; }
  /// One of so many, at least one; a second byte decides where one is too little.
  size_t below(size_t bound) {
    const size_t first = byte();
    return (bound <= 256 ? first : first << 8 | byte()) % bound;
  }
  std::string bytes() {
    const size_t wanted = byte();
    const size_t count = std::min(wanted, static_cast<size_t>(end_ - at_));
    at_ += count;
    return {reinterpret_cast<const char*>(at_ - count), count};
  }

 private:
  const uint8_t* at_;
  const uint8_t* end_;
};

}  // namespace fuzz
