// Reflection on values, driven by their descriptors; shared by all value types.
#pragma once

#include "Tovo/GenericIf.h"
#include "Tovo/Module.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

extern const GenericIfMethods valueMethods;

namespace GenericIfImpl {
/// The message format it stands for exists for other kinds of type only: an assertion that fails.
void noPbMessage(void* message, void* value, bool write);
}  // namespace GenericIfImpl

uint8_t valueAttributeOp(TovoTypeBase type, void* result, void* object,
                         const Pelmo::FieldDescriptor* field, uint32_t code, const void* other,
                         const void* argument);

void valueConstructFromCtorArgs(TovoTypeBase type, void* storage, ConstructorArguments arguments);

/// Throws the attribute's range exception when it has a range and the value lies outside.
void checkRange(Attribute attribute, const void* value);

/// The entry of a value type in its module's record.
template <class T>
constexpr GenericIfEntry valueEntry() {
  return {nullptr,           &ValueOpsOf<T>::table,
          &valueMethods,     &valueConstructFromCtorArgs,
          &valueAttributeOp, nullptr};
}

/// The entry of an enumeration.
template <class T>
constexpr GenericIfEntry enumEntry() {
  using Methods = GenericIfImpl::GenericIfEnumMethods<std::underlying_type_t<T>>;
  return {nullptr,
          &ValueOpsOf<T>::table,
          &Methods::table,
          &valueConstructFromCtorArgs,
          &Methods::attributeOp,
          nullptr};
}

}  // namespace Tovo
