#include "tdc/emit/TypeCodes.h"

namespace tdc {

namespace {

constexpr size_t primitiveCodes = 16;

}  // namespace

TypeCodes::TypeCodes(const Module& module) {
  for (const Type* type : module.types) {
    if (type->base) add(*type->base);
    for (const Member& member : type->members) {
      if (member.type) add(*member.type.type);
      if (member.key) add(*member.key);
    }
  }
}

void TypeCodes::add(const Type& type) {
  const bool registered = type.index >= 0;
  if (registered && places_.emplace(&type, order_.size()).second) order_.push_back(&type);
}

std::string TypeCodes::of(const Type* type) const {
  if (!type) return "0";
  if (type->scalar) return std::string("Tovo::PrimitiveCode::") + type->scalar->code;
  return std::to_string(primitiveCodes + places_.at(type));
}

// An indexed member is addressed by an octet.
std::string TypeCodes::ofKey(const Member& member) const {
  if (member.kind == MemberKind::indexed) return of(builtIn("u8"));
  return of(member.key);
}

}  // namespace tdc
