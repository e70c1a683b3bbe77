// The runtime's basic types.
#pragma once

#include <cstdint>

namespace Tovo {

/// Names an attribute in notifications, in the attribute log and by reflection. Values number their
/// fields from 2, entities their attributes from 258, each derived level 128 higher; 154 is an
/// entity's name. 65536 minus the id of a collection removes an element in the log.
using AttributeId = uint16_t;

constexpr AttributeId nameId = 154;
constexpr AttributeId nameStringId = 155;
constexpr AttributeId firstAttributeId = 258;
constexpr AttributeId attributeIdsPerLevel = 128;

constexpr AttributeId removalId(AttributeId collection) noexcept {
  return static_cast<AttributeId>(65536 - collection);
}

/// Seconds on the runtime's clock (System::currentTime); 0 means "never".
using Seconds = double;

/// Marks the constructors that read from the attribute log.
struct StreamBogon {};

struct TovoModule;

/// The identity of a type: its module's record and its index among the types of that module.
struct TovoTypeBase {
  const TovoModule* module = nullptr;
  uint32_t index = 0;

  explicit constexpr operator bool() const noexcept { return module != nullptr; }
  friend constexpr bool operator==(const TovoTypeBase&, const TovoTypeBase&) = default;
};

/// The type of a C++ class or enumeration that a module declares.
template <class T>
struct TypeOf {
  static TovoTypeBase type() noexcept { return T::tovoStaticType(); }
};

}  // namespace Tovo
