#include "stptool/model/ValueShape.h"

#include "Tovo/GenericIf.h"

namespace stptool {

namespace {

using Tovo::Attribute;
namespace PrimitiveCode = Tovo::PrimitiveCode;

uint8_t attributeOp(Tovo::TovoTypeBase type, void* result, void* object, Attribute member,
                    uint32_t code, const void* argument) {
  const Pelmo::FieldDescriptor field = member.field();
  return Tovo::genericIf(type).genericIfAttributeOp(type, result, object, &field, code, nullptr,
                                                    argument);
}

}  // namespace

ValueShape shapeOf(Attribute attribute) {
  const Tovo::TovoTypeBase type = attribute.type();
  return {&attribute.ops(), type, type ? PrimitiveCode::none : attribute.descriptor().type};
}

ValueShape keyShapeOf(Attribute collection) {
  const Tovo::TovoTypeBase type = collection.keyType();
  return {&collection.keyOps(), type, type ? PrimitiveCode::none : collection.descriptor().key};
}

ValueShape shapeOf(Tovo::TovoTypeBase type) {
  return {Tovo::valueOps(type), type, PrimitiveCode::none};
}

std::vector<Attribute> membersOf(Tovo::TovoTypeBase type, Tovo::AttributeKind kind) {
  std::vector<Attribute> members;
  Tovo::forEachAttribute(type, [&](Attribute attribute) {
    if (attribute.kind() == kind) members.push_back(attribute);
  });
  return members;
}

Attribute onlyField(Tovo::TovoTypeBase type) {
  const std::vector<Attribute> fields = membersOf(type, Tovo::AttributeKind::field);
  return fields.size() == 1 ? fields.front() : Attribute();
}

bool getMember(Tovo::TovoTypeBase type, const void* value, Attribute member,
               Tovo::ValueBuffer& result) {
  result.constructDefault();
  return attributeOp(type, result.get(), const_cast<void*>(value), member, Tovo::OperationCode::get,
                     nullptr) == Tovo::ResultCode::done;
}

void keepField(void* value, Attribute field, const void* argument) {
  field.ops().assign(static_cast<char*>(value) + field.descriptor().offset, argument);
}

bool setMember(Tovo::TovoTypeBase type, void* value, Attribute member, const void* argument) {
  return attributeOp(type, nullptr, value, member, Tovo::OperationCode::set, argument) ==
         Tovo::ResultCode::done;
}

}  // namespace stptool
