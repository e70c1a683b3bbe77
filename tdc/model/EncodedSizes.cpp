#include "tdc/model/EncodedSizes.h"

#include <map>
#include <memory>
#include <optional>

namespace tdc {

namespace {

std::optional<uint64_t> sizeOfValue(const Type& type) {
  uint64_t sum = 0;
  for (const Member* member : type.stored()) {
    bool fixed = member->type && !member->type.optional && member->kind != MemberKind::list &&
                 member->type.type->encodedSize;
    if (!fixed) return {};
    sum += member->wire32 ? 4 : *member->type.type->encodedSize;
  }
  return sum;
}

std::optional<uint64_t> sizeOfUnion(const Type& type) {
  std::optional<uint64_t> common;
  for (const Member* member : type.stored()) {
    std::optional<uint64_t> size = member->type ? member->type.type->encodedSize : std::nullopt;
    if (!size || (common && *common != *size)) return {};
    common = size;
  }
  constexpr uint64_t tag = 1;
  return common ? std::optional(*common + tag) : std::nullopt;
}

}  // namespace

void setEncodedSizes(Module& module) {
  for (const std::unique_ptr<Type>& type : module.owned) {
    if (type->kind == TypeKind::enumeration) type->encodedSize = type->width;
  }
  std::map<const Type*, Type*> own;
  for (const std::unique_ptr<Type>& type : module.owned) own[type.get()] = type.get();
  for (const Type* definition : module.definitions) {
    Type& type = *own[definition];
    if (type.kind == TypeKind::value) {
      type.encodedSize = sizeOfValue(type);
    } else if (type.isUnion()) {
      type.encodedSize = sizeOfUnion(type);
    }
  }
}

}  // namespace tdc
