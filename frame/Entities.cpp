#include "frame/Entities.h"

#include <vector>

#include "Tovo/CharRange.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/ValueReflection.h"

namespace Frame {

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::Entity;
namespace OperationCode = Tovo::OperationCode;
namespace ResultCode = Tovo::ResultCode;

void setValue(Entity& entity, Attribute attribute, const void* value) {
  void* stored = storage(entity, attribute);
  const Tovo::ValueOps& ops = attribute.ops();
  if (ops.equal(stored, value)) return;
  Tovo::checkRange(attribute, value);
  Tovo::ValueBuffer previous(ops);
  previous.constructFrom(stored);
  ops.assign(stored, value);
  entity.nodePublisher().publishChangeRecursive(attribute.id(), nullptr, previous.get(), nullptr);
}

uint8_t pointerOp(Entity& entity, Attribute attribute, uint32_t code, void* result,
                  const void* argument) {
  auto& stored = *static_cast<Pelmo::Ptr<Entity>*>(storage(entity, attribute));
  if (code == OperationCode::get) {
    *static_cast<Pelmo::Ptr<Entity>*>(result) = stored;
    return ResultCode::done;
  }
  if (code != OperationCode::set) return ResultCode::notSupported;
  const Pelmo::Ptr<Entity>& target = *static_cast<const Pelmo::Ptr<Entity>*>(argument);
  if (target && !isDerived(target->tovoType(), attribute.type())) {
    Tovo::GenericIfImpl::throwTypeException(target->tovoType(), attribute.type());
  }
  if (stored == target) return ResultCode::done;
  const Pelmo::Ptr<Entity> previous = std::exchange(stored, target);
  entity.nodePublisher().publishChangeRecursive(attribute.id(), nullptr, &previous, nullptr);
  return ResultCode::done;
}

uint8_t get(const Entity& entity, Attribute attribute, void* result) {
  switch (attribute.kind()) {
    case AttributeKind::name:
      *static_cast<Pelmo::String*>(result) = entity.name();
      return ResultCode::done;
    case AttributeKind::nameString:
      *static_cast<Pelmo::String*>(result) = entity.nameString();
      return ResultCode::done;
    case AttributeKind::constant:
      attribute.ops().assign(result, attribute.detail().value);
      return ResultCode::done;
    case AttributeKind::parameter:
    case AttributeKind::attribute:
      attribute.ops().assign(result, storage(entity, attribute));
      return ResultCode::done;
    default:
      return ResultCode::notSupported;
  }
}

}  // namespace

uint8_t entityAttributeOp(Tovo::TovoTypeBase type, void* result, void* object,
                          const Pelmo::FieldDescriptor* field, uint32_t code, const void* other,
                          const void* argument) {
  if (!field) return ResultCode::notSupported;
  const Attribute attribute = attributeById(type, field->fieldId());
  if (!attribute) return ResultCode::unknownField;
  if (const Tovo::AccessFunction access = attribute.detail().access) {
    return access(result, object, code, other, argument);
  }
  auto& entity = *static_cast<Entity*>(object);
  if (attribute.kind() == AttributeKind::pointer) {
    return pointerOp(entity, attribute, code, result, argument);
  }
  if (code == OperationCode::get) return get(entity, attribute, result);
  if (code != OperationCode::set || attribute.kind() != AttributeKind::attribute ||
      attribute.has(AttributeDescriptor::readOnly)) {
    return ResultCode::notSupported;
  }
  setValue(entity, attribute, argument);
  return ResultCode::done;
}

Pelmo::Ptr<Entity> newEntityForDir(Tovo::TovoTypeBase type, const Pelmo::String& name,
                                   Tovo::ConstructorArguments arguments) {
  const std::vector<Attribute> parameters = Tovo::constructorParameters(type);
  if (arguments.size() != parameters.size()) {
    // The first argument that is too much, or that is missing.
    const size_t wrong = parameters.empty() ? 0 : std::min(arguments.size(), parameters.size());
    Tovo::throwNewEntityArgsException(*type.module, wrong);
  }
  std::vector<const void*> all;
  const Attribute keyed = Tovo::keyParameter(type);
  Tovo::ValueBuffer key(keyed ? keyed.ops() : Tovo::primitiveOps(Tovo::PrimitiveCode::string));
  if (keyed) {
    Tovo::CharRange text(name);
    const Tovo::CharRangeCheckAllDataConsumed check(text);
    key.parse(text);
  } else {
    key.constructFrom(&name);
  }
  all.push_back(key.get());
  all.insert(all.end(), arguments.begin(), arguments.end());
  return Tovo::entityHooks(type)->create(all);
}

void constructFromCtorArgs(Tovo::TovoTypeBase type, void* storage,
                           Tovo::ConstructorArguments arguments) {
  const size_t needed = Tovo::constructorParameters(type).size() + 1;
  if (arguments.size() != needed) {
    Tovo::throwNewEntityArgsException(*type.module, std::min(arguments.size(), needed));
  }
  new (storage) Pelmo::Ptr<Entity>(Tovo::entityHooks(type)->create(arguments));
}

}  // namespace Frame
