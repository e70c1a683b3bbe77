// Inputs that stand for messages of an attribute log: lengths are right, unless they are spelled
// out, and small numbers are likely.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/Input.h"

namespace fuzz {

enum Step : uint8_t {
  control,       ///< id, payload
  low,           ///< entity, id below 256, payload
  attribute,     ///< entity, id from 256, payload
  removal,       ///< entity, id from the top, payload
  anyId,         ///< entity, two bytes of id, payload
  raw,           ///< bytes
  messageSteps,  ///< what follows is the fuzzer's own
};

inline std::string number(uint32_t value, int bytes) {
  std::string text;
  while (bytes-- > 0) text += static_cast<char>(value >> (8 * bytes));
  return text;
}

inline std::string text(std::string_view value) {
  return number(static_cast<uint32_t>(value.size()), 4).append(value);
}

inline std::string message(uint32_t entity, uint32_t id, std::string_view payload) {
  return number(static_cast<uint32_t>(6 + payload.size()), 4) + number(entity, 4) +
         number(id & 0xffff, 2) + std::string(payload);
}

/// The bytes that a step below messageSteps stands for.
inline std::string bytesOf(uint8_t step, Input& input) {
  if (step == raw) return input.bytes();
  if (step == control) {
    const uint8_t id = input.byte();
    return message(0, id, input.bytes());
  }
  // The highest bit, as on the wire, says whose number it is.
  const uint8_t whose = input.byte();
  const uint32_t entity = static_cast<uint32_t>(whose & 0x7f) | static_cast<uint32_t>(whose & 0x80)
                                                                    << 24;
  uint32_t id = input.byte();
  if (step == attribute) id = 256 + id;
  if (step == removal) id = 65536 - 256 - id;
  if (step == anyId) id = id << 8 | input.byte();
  return message(entity, id, input.bytes());
}

}  // namespace fuzz
