// Values that travel together.
#pragma once

#include <cstdint>

#include "Tovo/Types.h"

namespace Tovo {
class Entity;
}

namespace Tovo::NboAttrLog {

/// Attributes of a type that follow one another in ascending ids, each with a value of fixed size:
/// their values can travel in one message, back to back. A type's module knows them, so that they
/// are written and read like one record.
struct ValueRun {
  AttributeId first;
  AttributeId last;
  uint32_t encodedSize;  ///< of all values
  void (*encode)(uint8_t* to, const Entity& entity) noexcept;
  void (*decode)(const uint8_t* from, Entity& entity) noexcept;  ///< stores; nobody is told
};

}  // namespace Tovo::NboAttrLog
