#include "Tovo/AttrLog/ConstructorValues.h"

namespace Tovo {

namespace {

// Calls visit(ops, value) for the name, unless the type has a key, and for each parameter; the
// value is null without an entity.
template <class Visit>
void forEachConstructorValue(TovoTypeBase type, const Entity* entity, const Visit& visit) {
  if ((typeDescriptor(type).flags & TypeDescriptor::keyedByParameter) == 0) {
    visit(primitiveOps(PrimitiveCode::string), entity ? &entity->name() : nullptr);
  }
  forEachAttribute(type, [&](Attribute attribute) {
    if (attribute.kind() != AttributeKind::parameter) return;
    visit(attribute.ops(), entity ? storage(*entity, attribute) : nullptr);
  });
}

}  // namespace

ConstructorValues::ConstructorValues(TovoTypeBase type) : type_(type) {
  forEachConstructorValue(type, nullptr, [&](const ValueOps& ops, const void*) {
    values_.push_back(std::make_unique<ValueBuffer>(ops));
    pointers_.push_back(values_.back()->get());
  });
}

void ConstructorValues::read(NboAttrLog::In& in) {
  for (const auto& value : values_) value->read(in);
}

bool ConstructorValues::match(const Entity& entity) const {
  size_t at = 0;
  bool same = true;
  forEachConstructorValue(type_, &entity, [&](const ValueOps& ops, const void* value) {
    same = same && ops.equal(pointers_[at], value);
    ++at;
  });
  return same;
}

void ConstructorValues::write(NboAttrLog::Out& out, const Entity& entity) {
  forEachConstructorValue(entity.tovoType(), &entity,
                          [&](const ValueOps& ops, const void* value) { ops.write(out, value); });
}

size_t ConstructorValues::attrLogSize(const Entity& entity) {
  size_t size = 0;
  forEachConstructorValue(entity.tovoType(), &entity, [&](const ValueOps& ops, const void* value) {
    size += ops.attrLogSize(value);
  });
  return size;
}

}  // namespace Tovo
