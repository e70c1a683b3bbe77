#include "TovoPelmo/Render.h"

#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"
#include "Tovo/ValueReflection.h"

namespace TovoPelmo {

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;

size_t fieldCount(Tovo::TovoTypeBase type) noexcept {
  size_t count = 0;
  for (const AttributeDescriptor& own : Tovo::ownAttributes(type)) {
    if (own.kind == AttributeKind::field) ++count;
  }
  return count;
}

void* fieldOf(void* value, const AttributeDescriptor& field) noexcept {
  return static_cast<char*>(value) + field.offset;
}

// A range's own message says which type it is of; one of several fields needs its name as well.
void parseField(Tovo::CharRange& text, Attribute field, void* value, bool oneOfSeveral) {
  Tovo::ValueBuffer parsed(field.ops());
  try {
    parsed.parse(text);
    if (oneOfSeveral && text.checksRanges()) Tovo::checkRange(field, parsed.get());
  } catch (const Tovo::RangeException& error) {
    Tovo::rethrowFromDeserializeAttr(error, field.name());
  }
  if (!oneOfSeveral && text.checksRanges()) Tovo::checkRange(field, parsed.get());
  field.ops().assign(fieldOf(value, field.descriptor()), parsed.get());
}

}  // namespace

namespace Impl {

Pelmo::String valueToStrep(const Tovo::TovoModule* module, uint32_t index, const void* value) {
  std::string out;
  Tovo::valueOps({module, index})->print(out, value);
  return Pelmo::String(out);
}

void appendAlternative(std::string& out, Tovo::TovoTypeBase type, const void* value) {
  out.append("Value('").append(Tovo::typeName(type)).append("'");
  for (const AttributeDescriptor& own : Tovo::ownAttributes(type)) {
    if (own.kind != AttributeKind::alternative) continue;
    const Attribute attribute(*type.module, own);
    Tovo::ValueBuffer held(attribute.ops());
    held.constructDefault();
    const Pelmo::FieldDescriptor field = attribute.field();
    if (Tovo::valueAttributeOp(type, held.get(), const_cast<void*>(value), &field,
                               Tovo::OperationCode::get, nullptr,
                               nullptr) != Tovo::ResultCode::done) {
      continue;
    }
    out.append(", ").append(attribute.name()).append("=");
    attribute.ops().print(out, held.get());
  }
  out += ')';
}

void parseFields(Tovo::CharRange& text, Tovo::TovoTypeBase type, void* value) {
  const size_t fields = fieldCount(type);
  if (fields == 0) {
    text.expect("Value('");
    text.expect(Tovo::typeName(type));
    text.expect("')");
    return;
  }
  const auto forEachField = [&](const auto& visit) {
    bool first = true;
    for (const AttributeDescriptor& own : Tovo::ownAttributes(type)) {
      if (own.kind != AttributeKind::field) continue;
      visit(Attribute(*type.module, own), first);
      first = false;
    }
  };
  if (fields == 1) {
    forEachField([&](Attribute field, bool) { parseField(text, field, value, false); });
    return;
  }
  const Tovo::DesAttrPost post(text);
  forEachField([&](Attribute field, bool first) {
    if (first) {
      Tovo::needPre(text, Tovo::typeName(type), field.name());
    } else {
      Tovo::needSep(text, field.name());
    }
    parseField(text, field, value, true);
  });
}

}  // namespace Impl

}  // namespace TovoPelmo
