#include "Tovo/AttrLog/ValueRun.h"

#include <cstring>

#include "Tovo/AttrLog/LogTable.h"
#include "Tovo/Entity.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {

namespace {

// Any byte but zero reads true, and one is stored.
void copyTruths(uint8_t* to, const uint8_t* from, size_t count) noexcept {
  constexpr uint64_t low7 = 0x7f7f7f7f7f7f7f7f;
  constexpr uint64_t ones = 0x0101010101010101;
  for (; count >= sizeof(uint64_t); count -= sizeof(uint64_t)) {
    uint64_t eight;
    std::memcpy(&eight, from, sizeof eight);
    eight = (((eight & low7) + low7) | eight) >> 7 & ones;
    std::memcpy(to, &eight, sizeof eight);
    from += sizeof eight;
    to += sizeof eight;
  }
  for (; count > 0; --count) *to++ = *from++ != 0 ? 1 : 0;
}

}  // namespace

void ValueRun::add(const LogAttribute& attribute) {
  if (count_++ == 0) {
    first_ = attribute.id;
    word_ = attribute.ordinal / 64;
  }
  last_ = attribute.id;
  bits_ |= uint64_t{1} << (attribute.ordinal % 64);
  encodedSize_ += attribute.encodedSize;
  using Kind = Step::Kind;
  switch (attribute.ops->stored) {
    case StoredAs::byte:
      addStep(encode_, Kind::bytes, attribute);
      return addStep(decode_, Kind::bytes, attribute);
    case StoredAs::truth:
      addStep(encode_, Kind::bytes, attribute);
      return addStep(decode_, Kind::truths, attribute);
    case StoredAs::number32:
      addStep(encode_, Kind::number32, attribute);
      return addStep(decode_, Kind::number32, attribute);
    default:
      addStep(encode_, Kind::value, attribute);
      return addStep(decode_, Kind::value, attribute);
  }
}

void ValueRun::addStep(std::vector<Step>& steps, Step::Kind kind, const LogAttribute& attribute) {
  if (kind != Step::Kind::value && !steps.empty()) {
    Step& before = steps.back();
    if (before.kind == kind && before.offset + before.size == attribute.offset) {
      before.size += attribute.encodedSize;
      return;
    }
  }
  steps.push_back({kind, attribute.offset, attribute.encodedSize, attribute.ops});
}

void ValueRun::encode(uint8_t* to, const Entity& entity) const noexcept {
  const auto* const from = reinterpret_cast<const uint8_t*>(&entity);
  for (const Step& step : encode_) {
    const uint8_t* const stored = from + step.offset;
    switch (step.kind) {
      case Step::Kind::number32:
        for (uint32_t at = 0; at < step.size; at += sizeof(uint32_t)) {
          uint32_t number;
          std::memcpy(&number, stored + at, sizeof number);
          store(to + at, number);
        }
        break;
      case Step::Kind::value:
        step.ops->encode(to, stored);
        break;
      default:
        std::memcpy(to, stored, step.size);
    }
    to += step.size;
  }
}

void ValueRun::decode(const uint8_t* from, Entity& entity) const noexcept {
  auto* const to = reinterpret_cast<uint8_t*>(&entity);
  for (const Step& step : decode_) {
    uint8_t* const stored = to + step.offset;
    switch (step.kind) {
      case Step::Kind::bytes:
        std::memcpy(stored, from, step.size);
        break;
      case Step::Kind::truths:
        copyTruths(stored, from, step.size);
        break;
      case Step::Kind::number32:
        for (uint32_t at = 0; at < step.size; at += sizeof(uint32_t)) {
          const auto number = load<uint32_t>(from + at);
          std::memcpy(stored + at, &number, sizeof number);
        }
        break;
      case Step::Kind::value:
        step.ops->decode(from, stored);
        break;
    }
    from += step.size;
  }
}

}  // namespace Tovo::NboAttrLog
