// From what a module says of a type or an attribute to what can be done with its values.
#include <iterator>

#include "Tovo/GenericIf.h"
#include "Tovo/Module.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

namespace {

// What a primitive type is, by its code.
template <class T>
constexpr PrimitiveType row(TypeCode code, const char* name, PrimitiveForm form) {
  const bool integer = form == PrimitiveForm::integer;
  return {code, name, form, &ValueOpsOf<T>::table,
          integer ? ~uint64_t{0} >> (64 - 8 * sizeof(T)) : 0};
}

constexpr PrimitiveType primitives[] = {
    {PrimitiveCode::none, "none", PrimitiveForm::none, nullptr, 0},
    row<uint8_t>(PrimitiveCode::u8, "u8", PrimitiveForm::integer),
    row<uint16_t>(PrimitiveCode::u16, "u16", PrimitiveForm::integer),
    row<uint32_t>(PrimitiveCode::u32, "u32", PrimitiveForm::integer),
    row<bool>(PrimitiveCode::boolean, "bool", PrimitiveForm::boolean),
    row<Pelmo::String>(PrimitiveCode::string, "String", PrimitiveForm::text),
    row<Seconds>(PrimitiveCode::seconds, "Seconds", PrimitiveForm::seconds),
    row<uint64_t>(PrimitiveCode::u64, "u64", PrimitiveForm::integer),
};

constexpr bool inOrder() {
  for (TypeCode code = 0; code < std::size(primitives); ++code) {
    if (primitives[code].code != code) return false;
  }
  return true;
}
static_assert(std::size(primitives) == PrimitiveCode::end && inOrder(),
              "a row for each code, in order");
static_assert(PrimitiveCode::end <= PrimitiveCode::count,
              "modules count their own types from there");

const TypeDescriptor& descriptorOf(TovoTypeBase type) noexcept {
  return type.module->types[type.index];
}

// Null for an entity type.
const ValueOps* opsOf(TovoTypeBase type) noexcept {
  if (descriptorOf(type).kind == TypeKind::entity) return nullptr;
  return static_cast<const ValueOps*>(genericIf(type).runtimeData);
}

// What is stored by value has operations.
// NOLINTNEXTLINE(clang-analyzer-core.uninitialized.UndefReturn)
const ValueOps& opsOf(const TovoModule& module, TypeCode code) noexcept {
  return code < PrimitiveCode::count ? *primitives[code].ops
                                     : *opsOf(module.referencedTypes[code - PrimitiveCode::count]);
}

}  // namespace

const ValueOps& Attribute::ops() const noexcept {
  if (const ValueOps* own = detail().ops) return *own;
  return opsOf(*module_, descriptor_->type);
}

const ValueOps& Attribute::keyOps() const noexcept { return opsOf(*module_, descriptor_->key); }

const ValueOps* valueOps(TovoTypeBase type) noexcept { return opsOf(type); }

const PrimitiveType& primitiveType(TypeCode code) noexcept { return primitives[code]; }

const ValueOps& primitiveOps(TypeCode code) noexcept { return *primitives[code].ops; }

const EntityHooks* entityHooks(TovoTypeBase type) noexcept {
  if (descriptorOf(type).kind != TypeKind::entity) return nullptr;
  return static_cast<const EntityHooks*>(genericIf(type).runtimeData);
}

}  // namespace Tovo
