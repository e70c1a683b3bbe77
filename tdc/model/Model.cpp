#include "tdc/model/Model.h"

namespace tdc {

namespace {

/// Wrappers of wrappers; a longer chain is a cycle, which is reported elsewhere.
constexpr int maxWrapping = 64;

std::vector<Type> builtInTypes() {
  std::vector<Type> types;
  for (const Scalar& scalar : scalars) {
    Type& type = types.emplace_back();
    type.kind = TypeKind::scalar;
    type.scalar = &scalar;
    type.name = scalar.word;
    type.qualifiedName = scalar.word;
    type.hashable = true;
    type.order = Order::declared;
    if (scalar.bytes > 0) type.encodedSize = scalar.bytes;
  }
  return types;
}

}  // namespace

const Type* builtIn(std::string_view word) {
  static const std::vector<Type> types = builtInTypes();
  for (const Type& type : types) {
    if (type.name == word) return &type;
  }
  return nullptr;
}

bool Member::isStored() const {
  switch (kind) {
    case MemberKind::constant:
    case MemberKind::bits:
    case MemberKind::indexed:
    case MemberKind::query:
      return false;
    default:
      return true;
  }
}

const Member* Type::wrapped() const {
  const Member* only = nullptr;
  if (kind != TypeKind::value) return nullptr;
  for (const Member& member : members) {
    if (!member.isStored()) continue;
    if (only || member.kind == MemberKind::list) return nullptr;
    only = &member;
  }
  return only;
}

const Member* Type::number() const {
  const Member* field = wrapped();
  return field && field->type && field->type.type->isInteger() ? field : nullptr;
}

const Type* Type::underlying() const {
  const Type* type = this;
  for (int i = 0; i < maxWrapping; ++i) {
    const Member* field = type->wrapped();
    if (!field || !field->type || field->type.optional) break;
    type = field->type.type;
  }
  return type;
}

uint64_t Type::maxNumber() const {
  switch (kind) {
    case TypeKind::scalar:
      return scalar->highest();
    case TypeKind::enumeration:
      return width == 1 ? 0xFF : 0x7FFFFFFF;
    case TypeKind::externalValue:
    case TypeKind::externalEnumeration:
      return encodedSize.value_or(8) < 8 ? (uint64_t{1} << (8 * *encodedSize)) - 1 : ~uint64_t{0};
    default:
      return 0;
  }
}

bool Type::isKey() const {
  switch (kind) {
    case TypeKind::scalar:
      return scalar->key;
    case TypeKind::value:
    case TypeKind::unionType:
    case TypeKind::externalValue:
      return hashable;
    default:
      return false;
  }
}

const Member* Type::find(std::string_view wanted) const {
  for (const Type* type = this; type; type = type->base) {
    for (const Member& member : type->members) {
      if (member.name == wanted) return &member;
    }
  }
  return nullptr;
}

const Literal* Type::findLiteral(std::string_view wanted) const {
  for (const Literal& literal : literals) {
    if (literal.name == wanted) return &literal;
  }
  return nullptr;
}

const Literal* Type::findLiteral(int64_t number) const {
  for (const Literal& literal : literals) {
    if (literal.number == number) return &literal;
  }
  return nullptr;
}

std::vector<const Member*> Type::stored() const {
  std::vector<const Member*> result;
  for (const Member& member : members) {
    if (member.isStored()) result.push_back(&member);
  }
  return result;
}

const Member* Type::keyMember() const {
  for (const Type* type = this; type; type = type->base) {
    for (const Member& member : type->members) {
      if (member.kind == MemberKind::key) return &member;
    }
  }
  return nullptr;
}

std::vector<const Member*> Type::parameters() const {
  std::vector<const Member*> result;
  for (const Type* type = this; type; type = type->base) {
    std::vector<const Member*> own;
    for (const Member& member : type->members) {
      if (member.kind == MemberKind::parameter) own.push_back(&member);
    }
    result.insert(result.begin(), own.begin(), own.end());
  }
  return result;
}

const Type* Module::find(std::string_view qualifiedName) const {
  for (const std::unique_ptr<Type>& type : owned) {
    if (type->qualifiedName == qualifiedName) return type.get();
  }
  return nullptr;
}

}  // namespace tdc
