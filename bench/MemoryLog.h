// An attribute log into memory.
#pragma once

#include <cstdint>
#include <vector>

#include "Stp/StpStatus.h"
#include "Tovo/AttrLog/EntityHooks.h"

namespace Bench {

/// Keeps the messages one behind the other until it is cleared.
class MemoryLog : public Tovo::NboAttrLog::StreamAdapter {
 public:
  explicit MemoryLog(size_t bytes = 4096) : bytes_(bytes) { clear(); }

  uint8_t* room() noexcept { return bytes_.data(); }
  size_t used() const noexcept { return static_cast<size_t>(room_ - bytes_.data()); }
  void clear() noexcept {
    room_ = bytes_.data();
    roomEnd_ = room_ + bytes_.size();
  }

 protected:
  bool makeRoom(size_t) override { return false; }

 private:
  std::vector<uint8_t> bytes_;
};

}  // namespace Bench
