// An attribute log into memory.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "Stp/StpStatus.h"
#include "Tovo/AttrLog/EntityHooks.h"

namespace Bench {

/// Keeps the messages one behind the other until it is cleared.
class MemoryLog : public Tovo::NboAttrLog::StreamAdapter {
 public:
  explicit MemoryLog(size_t bytes = 4096) : room_(bytes) {}

  uint8_t* room() noexcept { return room_.data(); }
  size_t used() const noexcept { return used_; }
  void clear() noexcept { used_ = 0; }

 protected:
  std::span<uint8_t> reserve(size_t bytes) override {
    if (room_.size() - used_ < bytes) return {};
    return {room_.data() + used_, bytes};
  }
  void commit(size_t bytes) override { used_ += bytes; }

 private:
  std::vector<uint8_t> room_;
  size_t used_ = 0;
};

}  // namespace Bench
