#include "Tovo/GenericIf.h"

#include <string>

#include "Tovo/Assert.h"
#include "Tovo/Exceptions.h"
#include "Tovo/ValueReflection.h"

namespace Tovo {

namespace {

const ValueOps& opsOf(TovoTypeBase type) noexcept { return *valueOps(type); }

class PolymorphicView {
 public:
  explicit PolymorphicView(TovoTypeBase type) noexcept : type_(type) {}
  bool isPolymorphic() const noexcept { return static_cast<bool>(baseType(type_)); }

 private:
  TovoTypeBase type_;
};

void* valuePointerIs(void* pointer, TovoTypeBase from, TovoTypeBase to) {
  if (from == to) return pointer;
  if (!isDerived(from, to)) GenericIfImpl::throwTypeException(from, to);
  const PolymorphicView fromType(from);
  const PolymorphicView toType(to);
  TOVO_ASSERT(fromType.isPolymorphic());
  TOVO_ASSERT(!toType.isPolymorphic());
  return pointer;
}

void valueConstruct(TovoTypeBase type, void* storage, const void* source) {
  opsOf(type).construct(storage, source);
}
void valueDestruct(TovoTypeBase type, void* storage) { opsOf(type).destruct(storage); }

uint32_t valueHash(const void* value, TovoTypeBase type) {
  const ValueOps& ops = opsOf(type);
  if (!ops.hash) GenericIfImpl::throwUnhashableException(type);
  return ops.hash(value);
}

Pelmo::String valueStrRep(TovoTypeBase type, const void* value) {
  std::string text;
  opsOf(type).print(text, value);
  return Pelmo::String(text);
}

void valueFromStrep(TovoTypeBase type, std::string_view text, void* storage) {
  const ValueOps& ops = opsOf(type);
  CharRange range(text);
  ValueBuffer value(ops);
  {
    const CharRangeCheckAllDataConsumed check(range);
    value.parse(range);
  }
  ops.construct(storage, value.get());
}

constexpr GenericIfMethods valueMethodTable{&valueConstruct,
                                            &valueDestruct,
                                            &valueHash,
                                            &valueStrRep,
                                            &valueFromStrep,
                                            &valuePointerIs,
                                            &GenericIfImpl::noPbMessage};

// "Is set" asks for a difference from the type's default, which need not be zero.
uint8_t wholeValueOp(TovoTypeBase type, void* result, const void* object, uint32_t code,
                     const void* other) {
  const ValueOps& ops = opsOf(type);
  bool answer = false;
  switch (code) {
    case OperationCode::isSet: {
      ValueBuffer initial(ops);
      initial.constructDefault();
      answer = !ops.equal(object, initial.get());
      break;
    }
    case OperationCode::equal:
      answer = ops.equal(object, other);
      break;
    case OperationCode::less:
      if (!ops.less) return ResultCode::notSupported;
      answer = ops.less(object, other);
      break;
    default:
      return ResultCode::notSupported;
  }
  *static_cast<uint8_t*>(result) = answer ? 1 : 0;
  return ResultCode::done;
}

void* fieldOf(void* object, Attribute field) noexcept {
  return static_cast<char*>(object) + field.descriptor().offset;
}

bool takesArgument(TovoTypeBase type, Attribute attribute) {
  if (attribute.kind() != AttributeKind::field) return false;
  bool anyFixed = false;
  for (const AttributeDescriptor& own : ownAttributes(type)) {
    anyFixed = anyFixed || (own.flags & AttributeDescriptor::fixed) != 0;
  }
  return !anyFixed || attribute.has(AttributeDescriptor::fixed);
}

}  // namespace

namespace GenericIfImpl {

void noPbMessage(void*, void*, bool write) {
  if (write) {
    TOVO_ASSERT(false && "Only value types support witePbMessage");
  } else {
    TOVO_ASSERT(false && "Only value types support constructFromPbMessage");
  }
}

void throwUnhashableException(TovoTypeBase type) {
  throw UnhashableException(std::string(typeName(type)) + " has no hash");
}

void throwTypeException(TovoTypeBase from, TovoTypeBase to) {
  throw TypeException(std::string(typeName(from)) + " is not a " + typeName(to));
}

template <class Number>
const GenericIfMethods GenericIfEnumMethods<Number>::table = valueMethodTable;

template <class Number>
uint8_t GenericIfEnumMethods<Number>::attributeOp(TovoTypeBase type, void* result, void* object,
                                                  const Pelmo::FieldDescriptor* field,
                                                  uint32_t code, const void* other, const void*) {
  if (field) return ResultCode::unknownField;
  if (code != OperationCode::isSet) return wholeValueOp(type, result, object, code, other);
  *static_cast<uint8_t*>(result) = *static_cast<const Number*>(object) != 0 ? 1 : 0;
  return ResultCode::done;
}

template struct GenericIfEnumMethods<int>;
template struct GenericIfEnumMethods<unsigned char>;

}  // namespace GenericIfImpl

const GenericIfMethods valueMethods = valueMethodTable;

void checkRange(Attribute attribute, const void* value) {
  if (!attribute.has(AttributeDescriptor::ranged)) return;
  const AttributeDetail& detail = attribute.detail();
  const uint64_t number = attribute.ops().number(value);
  if (number < detail.low || number > detail.high) throwRangeException(detail.rangeMessage);
}

uint8_t valueAttributeOp(TovoTypeBase type, void* result, void* object,
                         const Pelmo::FieldDescriptor* field, uint32_t code, const void* other,
                         const void* argument) {
  if (!field) return wholeValueOp(type, result, object, code, other);
  const Attribute attribute = attributeById(type, field->fieldId());
  if (!attribute) return ResultCode::unknownField;
  const AttributeDetail& detail = attribute.detail();
  if (detail.access) return detail.access(result, object, code, other, argument);
  if (attribute.kind() == AttributeKind::constant) {
    if (code != OperationCode::get) return ResultCode::notSupported;
    attribute.ops().assign(result, detail.value);
    return ResultCode::done;
  }
  void* stored = fieldOf(object, attribute);
  if (code == OperationCode::get) {
    attribute.ops().assign(result, stored);
    return ResultCode::done;
  }
  if (code != OperationCode::set || attribute.has(AttributeDescriptor::readOnly)) {
    return ResultCode::notSupported;
  }
  if (attribute.ops().equal(stored, argument)) return ResultCode::done;
  checkRange(attribute, argument);
  attribute.ops().assign(stored, argument);
  return ResultCode::done;
}

void valueConstructFromCtorArgs(TovoTypeBase type, void* storage, ConstructorArguments arguments) {
  const bool none = (typeDescriptor(type).flags & TypeDescriptor::noArguments) != 0;
  size_t used = 0;
  const ValueOps& ops = opsOf(type);
  ValueBuffer value(ops);
  value.constructDefault();
  if (!none) {
    for (const AttributeDescriptor& own : ownAttributes(type)) {
      const Attribute attribute(*type.module, own);
      if (!takesArgument(type, attribute)) continue;
      if (used >= arguments.size()) throwNewEntityArgsException(*type.module, used);
      checkRange(attribute, arguments[used]);
      attribute.ops().assign(fieldOf(value.get(), attribute), arguments[used]);
      ++used;
    }
  }
  if (used < arguments.size()) throwNewEntityArgsException(*type.module, used);
  ops.construct(storage, value.get());
}

}  // namespace Tovo
