#include "Tovo/Module.h"

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

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
  return code < PrimitiveCode::count ? primitiveType(code).name : Tovo::typeName(resolve(code));
}

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

}  // namespace Tovo
