#include "Mirror/wire/Budget.h"

#include <algorithm>

namespace Tovo::NboAttrLog {

const Budget* Budget::take(size_t bytes) noexcept {
  for (const Budget* at = this; at; at = at->above_) {
    if (at->held_ > at->most_ || bytes > at->most_ - at->held_) return at;
  }
  takeAnyway(bytes);
  return nullptr;
}

void Budget::takeAnyway(size_t bytes) noexcept {
  for (Budget* at = this; at; at = at->above_) {
    at->held_ += bytes;
    at->peak_ = std::max(at->peak_, at->held_);
  }
}

void Budget::give(size_t bytes) noexcept {
  for (Budget* at = this; at; at = at->above_) at->held_ -= bytes;
}

}  // namespace Tovo::NboAttrLog
