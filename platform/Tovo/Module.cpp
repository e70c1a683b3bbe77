#include "Tovo/Module.h"

#include <cstring>
#include <iterator>
#include <string>
#include <unordered_map>
#include <vector>

#include "Tovo/Assert.h"
#include "Tovo/GenericIf.h"
#include "Tovo/ValueOps.h"

namespace Tovo {

namespace {

struct Registry {
  std::vector<const TovoModule*> modules;
  std::unordered_map<std::string_view, TovoTypeBase> types;
};

// Never destroyed: other libraries' statics may still look types up at exit.
Registry& registry() {
  static Registry* instance = new Registry;
  return *instance;
}

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

// Own ids are consecutive but for one gap behind the runtime's ids, which is why the look-up starts
// at the end, or before the views on bits.
[[gnu::always_inline]] inline const AttributeDescriptor* ownById(TovoTypeBase type,
                                                                 AttributeId id) noexcept {
  const TypeDescriptor& descriptor = typeDescriptor(type);
  const AttributeDescriptor* const own = type.module->attributes + descriptor.firstAttribute;
  const size_t count = descriptor.attributeCount;
  // An id outside of the own ones wraps around to a number that is too large.
  if (count == 0) return nullptr;
  const size_t fromBack = size_t{own[count - 1].id} - id;
  if (fromBack < count && own[count - 1 - fromBack].id == id) return &own[count - 1 - fromBack];
  const size_t fromFront = size_t{id} - own[0].id;
  return fromFront < count && own[fromFront].id == id ? &own[fromFront] : nullptr;
}

std::string_view recordPart(const TovoModule& module, bool hash) noexcept {
  std::string_view rest = module.name;
  rest.remove_prefix(1);
  rest.remove_suffix(std::strlen("_tovoModule"));
  const size_t separator = rest.rfind('_');
  return hash ? rest.substr(separator + 1) : rest.substr(0, separator);
}

}  // namespace

void tovoModuleIs(const TovoModule* module) {
  Registry& known = registry();
  for (const TovoModule* other : known.modules) {
    if (other == module) return;
  }
  known.modules.push_back(module);
  for (uint32_t index = 0; index < module->typeCount; ++index) {
    known.types.emplace(module->types[index].name, TovoTypeBase{module, index});
  }
}

std::span<const TovoModule* const> tovoModules() noexcept { return registry().modules; }

TovoTypeBase typeByName(std::string_view name) noexcept {
  const auto& types = registry().types;
  const auto it = types.find(name);
  return it == types.end() ? TovoTypeBase{} : it->second;
}

std::string_view moduleName(const TovoModule& module) noexcept { return recordPart(module, false); }
std::string_view moduleHash(const TovoModule& module) noexcept { return recordPart(module, true); }

const TypeDescriptor& typeDescriptor(TovoTypeBase type) noexcept {
  // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): asked of a type, not of none
  return type.module->types[type.index];
}

const char* typeName(TovoTypeBase type) noexcept { return typeDescriptor(type).name; }

TovoTypeBase baseType(TovoTypeBase type) noexcept {
  const TypeCode base = typeDescriptor(type).base;
  return base == PrimitiveCode::none ? TovoTypeBase{}
                                     : type.module->referencedTypes[base - PrimitiveCode::count];
}

bool isDerived(TovoTypeBase type, TovoTypeBase from) noexcept {
  for (; type; type = baseType(type)) {
    if (type == from) return true;
  }
  return false;
}

TovoTypeBase Attribute::resolve(TypeCode code) const noexcept {
  return code < PrimitiveCode::count ? TovoTypeBase{}
                                     : module_->referencedTypes[code - PrimitiveCode::count];
}

const char* Attribute::nameOf(TypeCode code) const noexcept {
  return code < PrimitiveCode::count ? primitives[code].name : Tovo::typeName(resolve(code));
}

// What is stored by value has operations.
// NOLINTBEGIN(clang-analyzer-core.uninitialized.UndefReturn)
const ValueOps& Attribute::ops() const noexcept {
  if (const ValueOps* own = detail().ops) return *own;
  const TypeCode code = descriptor_->type;
  return code < PrimitiveCode::count ? primitiveOps(code) : *valueOps(resolve(code));
}

const ValueOps& Attribute::keyOps() const noexcept {
  const TypeCode code = descriptor_->key;
  return code < PrimitiveCode::count ? primitiveOps(code) : *valueOps(resolve(code));
}
// NOLINTEND(clang-analyzer-core.uninitialized.UndefReturn)

std::span<const AttributeDescriptor> ownAttributes(TovoTypeBase type) noexcept {
  const TypeDescriptor& descriptor = typeDescriptor(type);
  return {type.module->attributes + descriptor.firstAttribute, descriptor.attributeCount};
}

Attribute attributeById(TovoTypeBase type, AttributeId id) noexcept {
  for (; type; type = baseType(type)) {
    if (const AttributeDescriptor* own = ownById(type, id)) return {*type.module, *own};
  }
  return {};
}

Attribute attributeByName(TovoTypeBase type, std::string_view name) noexcept {
  for (; type; type = baseType(type)) {
    for (const AttributeDescriptor& own : ownAttributes(type)) {
      const Attribute attribute(*type.module, own);
      if (attribute.name() == name) return attribute;
    }
  }
  return {};
}

uint32_t attributeTotal(TovoTypeBase type) noexcept {
  const TypeDescriptor& descriptor = typeDescriptor(type);
  return descriptor.inheritedAttributes + descriptor.attributeCount;
}

uint32_t attributeOrdinal(TovoTypeBase type, AttributeId id) noexcept {
  for (; type; type = baseType(type)) {
    if (const AttributeDescriptor* own = ownById(type, id)) {
      return typeDescriptor(type).inheritedAttributes +
             static_cast<uint32_t>(own - ownAttributes(type).data());
    }
  }
  return 0;
}

Attribute attributeAt(TovoTypeBase type, uint32_t ordinal) noexcept {
  while (ordinal < typeDescriptor(type).inheritedAttributes) type = baseType(type);
  return {*type.module, ownAttributes(type)[ordinal - typeDescriptor(type).inheritedAttributes]};
}

const ValueOps* valueOps(TovoTypeBase type) noexcept {
  if (typeDescriptor(type).kind == TypeKind::entity) return nullptr;
  return static_cast<const ValueOps*>(genericIf(type).runtimeData);
}

const PrimitiveType& primitiveType(TypeCode code) noexcept { return primitives[code]; }

const ValueOps& primitiveOps(TypeCode code) noexcept { return *primitives[code].ops; }

const EntityHooks* entityHooks(TovoTypeBase type) noexcept {
  if (typeDescriptor(type).kind != TypeKind::entity) return nullptr;
  return static_cast<const EntityHooks*>(genericIf(type).runtimeData);
}

}  // namespace Tovo
