#include "Mirror/wire/Output.h"

#include <cstring>
#include <string>
#include <utility>

#include "Mirror/wire/Ending.h"

namespace Tovo::NboAttrLog {

namespace {

constexpr size_t firstBlock = 4 * 1024;

}  // namespace

bool Output::makeRoom(size_t frame) {
  size_t end = start_ + waitingBytes();
  if (end + frame > bound_ && start_ > 0) {
    std::memmove(bytes_.data(), bytes_.data() + start_, end - start_);
    end -= std::exchange(start_, 0);
    room_ = roomEnd_ = bytes_.data() + end;
  }
  // One message larger than the whole bound goes alone.
  if (end + frame > bound_ && end > 0 && !unbounded_) return false;
  if (end + frame > bytes_.size()) {
    const size_t wanted = std::max({2 * bytes_.size(), before_, firstBlock});
    grow(std::max(end + frame, unbounded_ ? wanted : std::min(bound_, wanted)));
    end = waitingBytes();
  }
  const size_t limit = unbounded_ ? bytes_.size() : std::min(bound_, bytes_.size());
  room_ = bytes_.data() + end;
  roomEnd_ = bytes_.data() + std::max(end + frame, limit);
  return true;
}

uint8_t* Output::beginBeyond(size_t payload, uint32_t entity, AttributeId id) {
  if (uint8_t* const to = begin(payload, entity, id)) return to;
  const size_t frame = frameHeader + messageHeader + payload;
  const size_t needed = waitingBytes() + frame;
  if (start_ + needed > bytes_.size()) grow(std::max(needed, 2 * bytes_.size()));
  roomEnd_ = room_ + frame;
  return putHead(room_, payload, entity, id);
}

// Moves what waits to the beginning.
void Output::grow(size_t size) {
  const size_t kept = waitingBytes();
  if (size > bound_ && holder_) holder_->charge(size - bytes_.size());
  bytes_.sizeIs(size, start_, kept);
  start_ = 0;
  room_ = roomEnd_ = bytes_.data() + kept;
}

void Output::throwTooLong(size_t message) const {
  throw EndingException(Ending::messageSize, "a message of " + std::to_string(message) +
                                                 " bytes is above the limit of " +
                                                 std::to_string(mostMessage_));
}

void Output::unboundedIs(bool unbounded) noexcept {
  if (std::exchange(unbounded_, unbounded) && !unbounded) roomEnd_ = room_;
}

void Output::trim() noexcept {
  if (waitingBytes() > 0) return;
  before_ = std::min(bytes_.size(), bound_);
  release();
}

void Output::release() noexcept {
  bytes_.release();
  start_ = 0;
  room_ = roomEnd_ = nullptr;
}

}  // namespace Tovo::NboAttrLog
