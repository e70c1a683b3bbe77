// Generic reflection: operations on values and entities that are known only by their type.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "Pelmo/FieldDescriptor.h"
#include "Pelmo/Ptr.h"
#include "Pelmo/String.h"
#include "Tovo/CharRange.h"
#include "Tovo/Module.h"
#include "Tovo/Types.h"

namespace Tovo {

class Entity;
struct ValueOps;

/// What genericIfAttributeOp is asked to do. With a field: get, set, and delete of an indexed
/// attribute; without one: the three questions about the whole value.
namespace OperationCode {
constexpr uint32_t get = 0;
constexpr uint32_t set = 1;
constexpr uint32_t del = 2;
constexpr uint32_t isSet = 11;
constexpr uint32_t equal = 12;
constexpr uint32_t less = 13;
}  // namespace OperationCode

namespace ResultCode {
constexpr uint8_t done = 0;
constexpr uint8_t notSupported = 1;  ///< or not present
constexpr uint8_t unknownField = 2;
}  // namespace ResultCode

/// Pointers to constructor arguments: an entity's name or key and its parameters, a value's fields.
using ConstructorArguments = std::span<const void* const>;

/// The operations of a type, by values at untyped addresses.
struct GenericIfMethods {
  void (*genericIfConstruct)(TovoTypeBase type, void* storage, const void* source);
  void (*genericIfDestruct)(TovoTypeBase type, void* storage);
  uint32_t (*genericIfHash)(const void* value, TovoTypeBase type);
  Pelmo::String (*genericIfStrRep)(TovoTypeBase type, const void* value);
  /// Constructs the value in the storage. Throws RangeException, then nothing is constructed.
  void (*genericIfStrepToValue)(TovoTypeBase type, std::string_view text, void* storage);
  void* (*genericIfVoidPtrIs)(void* pointer, TovoTypeBase from, TovoTypeBase to);
  void (*genericIfPbMessageSerDes)(void* message, void* value, bool write);
};

/// One entry a type in a module's record.
struct GenericIfEntry {
  /// Null for a value type. Throws NewEntityArgsException for arguments that do not fit.
  Pelmo::Ptr<Entity> (*newEntityForDir)(TovoTypeBase type, const Pelmo::String& name,
                                        ConstructorArguments arguments);
  const void* runtimeData;  ///< ValueOps of a value type, EntityHooks of an entity type
  const GenericIfMethods* methods;
  /// Builds the value in the storage, or puts a Pelmo::Ptr<Entity> there. Throws
  /// NewEntityArgsException, then nothing is constructed.
  void (*genericIfConstructFromCtorArgs)(TovoTypeBase type, void* storage,
                                         ConstructorArguments arguments);
  /// Gets copy-assign into `result`, which holds a constructed value of the field's type; a set
  /// goes through the range check and lets RangeException pass.
  uint8_t (*genericIfAttributeOp)(TovoTypeBase type, void* result, void* object,
                                  const Pelmo::FieldDescriptor* field, uint32_t code,
                                  const void* other, const void* argument);
  const void* spare;
};

namespace GenericIfImpl {

[[noreturn]] void throwUnhashableException(TovoTypeBase type);
[[noreturn]] void throwTypeException(TovoTypeBase from, TovoTypeBase to);

/// The methods of enumerations of one width.
template <class Number>
struct GenericIfEnumMethods {
  static const GenericIfMethods table;
  static uint8_t attributeOp(TovoTypeBase type, void* result, void* object,
                             const Pelmo::FieldDescriptor* field, uint32_t code, const void* other,
                             const void* argument);
};
extern template struct GenericIfEnumMethods<int>;
extern template struct GenericIfEnumMethods<unsigned char>;

/// The methods of entities: their values are counted pointers, compared and hashed by identity.
template <class T>
struct GenericIfPtrInterfaceMethods {
  static const GenericIfMethods table;
};
template <>
const GenericIfMethods GenericIfPtrInterfaceMethods<Entity>::table;

}  // namespace GenericIfImpl

/// Reads a whole text as a value: nothing may be left behind it. Throws RangeException.
template <class T>
T strepToValue(std::string_view text) {
  CharRange range(text);
  T value(range);
  { const CharRangeCheckAllDataConsumed check(range); }
  return value;
}

/// The entry of a type.
inline const GenericIfEntry& genericIf(TovoTypeBase type) noexcept {
  return type.module->genericInterface[type.index];
}

/// Reflection on a type that is known in C++.
template <class T>
struct TypeImpl {
  static uint8_t genericIfAttributeOp(void* result, T* object, const Pelmo::FieldDescriptor* field,
                                      uint32_t code, const void* other, const void* argument) {
    const TovoTypeBase type = TypeOf<T>::type();
    return genericIf(type).genericIfAttributeOp(type, result, object, field, code, other, argument);
  }
  static void genericIfConstructFromCtorArgs(void* storage, ConstructorArguments arguments) {
    const TovoTypeBase type = TypeOf<T>::type();
    genericIf(type).genericIfConstructFromCtorArgs(type, storage, arguments);
  }
};

}  // namespace Tovo
