// An attribute log into memory.
#pragma once

#include <cstdint>
#include <span>

#include "Mirror/log/StreamAdapter.h"
#include "Stp/StpStatus.h"

namespace Bench {

/// Keeps the messages one behind the other until it is cleared.
class MemoryLog {
 public:
  using MountSide = Tovo::NboAttrLog::MountSide;

  explicit MemoryLog(size_t bytes = 4096) : output_(bytes, bytes, nullptr) {}

  std::span<const uint8_t> written() const noexcept { return output_.waiting(); }
  void clear() noexcept { output_.wrote(output_.waitingBytes()); }

  uint32_t carry(Tovo::Entity& entity, MountSide side, Tovo::AttributeId start) {
    return log_.carrier().carry(entity, {side, true}, start);
  }
  Tovo::NboAttrLog::FlowOut& flow(const Tovo::Entity& entity) noexcept {
    return *log_.numbers().of(entity).flow;
  }
  Tovo::NboAttrLog::StreamAdapter& adapter() noexcept { return log_; }
  bool pump() { return log_.sender().pump(); }
  void handleMessage(uint32_t entity, Tovo::AttributeId id, std::span<const uint8_t> payload) {
    log_.handleMessage(entity, id, Tovo::NboAttrLog::In(payload));
  }

 private:
  Tovo::NboAttrLog::Output output_;
  Tovo::NboAttrLog::StreamAdapter log_{output_};
};

}  // namespace Bench
