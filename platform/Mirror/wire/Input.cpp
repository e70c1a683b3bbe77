#include "Mirror/wire/Input.h"

#include <algorithm>
#include <utility>

namespace Tovo::NboAttrLog {

namespace {

constexpr size_t leastRoom = 64 * 1024;

}  // namespace

std::span<uint8_t> Input::room() {
  if (bytes_.size() - arrived_ < leastRoom) {
    const size_t held = arrived_ - taken_;
    const size_t size =
        bytes_.size() - held < leastRoom ? held + std::max(held / 2, leastRoom) : bytes_.size();
    // Up to that much is mostly applied at once, and is not charged.
    if (held > leastRoom && holder_) holder_->charge(size - bytes_.size());
    resize(size);
  }
  return {bytes_.data() + arrived_, bytes_.size() - arrived_};
}

// Bytes that are not taken come to the beginning.
void Input::resize(size_t size) {
  bytes_.sizeIs(size, taken_, arrived_ - taken_);
  found_ -= taken_;
  arrived_ -= std::exchange(taken_, 0);
}

void Input::trim() {
  const size_t held = arrived_ - taken_;
  if (held > bytes_.size() / 4) return;
  if (held == 0) return release();
  resize(held);
}

void Input::release() noexcept {
  bytes_.release();
  taken_ = found_ = arrived_ = 0;
}

}  // namespace Tovo::NboAttrLog
