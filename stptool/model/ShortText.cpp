#include "stptool/model/ShortText.h"

#include <algorithm>

#include "Tovo/Inspect.h"
#include "stptool/model/TypedText.h"
#include "stptool/text/Hex.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::TypeKind;
namespace PrimitiveCode = Tovo::PrimitiveCode;

constexpr size_t mostDotted = 3;
// From here on a record of octets alone is no record to a reader, but bytes.
constexpr size_t leastOctets = 8;

bool isRecord(const ValueShape& shape) {
  return shape.type && !shape.ops->list && !shape.ops->optional &&
         Tovo::typeDescriptor(shape.type).kind == TypeKind::value;
}

std::vector<Attribute> fieldsOf(const ValueShape& shape) {
  return isRecord(shape) ? membersOf(shape.type, AttributeKind::field) : std::vector<Attribute>();
}

bool isOctet(Attribute field) {
  return field.descriptor().type == PrimitiveCode::u8 && !field.ops().list && !field.ops().optional;
}

bool areOctets(const std::vector<Attribute>& fields) {
  return fields.size() >= leastOctets && std::all_of(fields.begin(), fields.end(), isOctet);
}

// Text without blanks and dots that nobody mistakes for the next field.
bool isSimple(const ValueShape& shape) {
  if (shape.ops->list || shape.ops->optional) return false;
  if (!shape.type) {
    return shape.primitive != PrimitiveCode::string && shape.primitive != PrimitiveCode::seconds;
  }
  if (Tovo::typeDescriptor(shape.type).kind == TypeKind::unionValue) return false;
  const std::vector<Attribute> fields = fieldsOf(shape);
  return fields.empty() || (fields.size() == 1 && isSimple(shapeOf(fields[0])));
}

bool isDotted(const std::vector<Attribute>& fields) {
  return !fields.empty() && fields.size() <= mostDotted &&
         std::all_of(fields.begin(), fields.end(),
                     [](Attribute field) { return isSimple(shapeOf(field)); });
}

std::string memberText(const ValueShape& shape, const void* value, Attribute member, bool nested) {
  Tovo::ValueBuffer held(member.ops());
  if (!getMember(shape.type, value, member, held)) return {};
  std::string text = shortText(shapeOf(member), held.get());
  if (!nested) return text;
  // An empty text would not show; one with blanks would seem to end early.
  const bool isText = !member.type() && member.descriptor().type == PrimitiveCode::string;
  if (isText && (text.empty() || text.find_first_of(" =()") != std::string::npos)) {
    return Tovo::valueText(member.ops(), held.get());
  }
  return text.find('=') != std::string::npos ? "(" + text + ")" : text;
}

std::string recordText(const ValueShape& shape, const std::vector<Attribute>& fields,
                       const void* value) {
  if (areOctets(fields)) {
    std::vector<uint8_t> octets;
    for (const Attribute field : fields) {
      Tovo::ValueBuffer octet(field.ops());
      getMember(shape.type, value, field, octet);
      octets.push_back(*static_cast<const uint8_t*>(octet.get()));
    }
    return hexText(octets, {});
  }
  const bool dotted = isDotted(fields) || fields.size() == 1;
  std::string text;
  for (const Attribute field : fields) {
    if (!text.empty()) text += dotted ? '.' : ' ';
    if (!dotted) text.append(field.name()).append("=");
    text += memberText(shape, value, field, !dotted);
  }
  return text;
}

std::string listText(const ValueShape& shape, const void* value) {
  const Tovo::ListOps& list = *shape.ops->list;
  const ValueShape element{list.element, shape.type, shape.primitive};
  std::string text = "[";
  for (size_t i = 0; i < list.size(value); ++i) {
    if (i > 0) text += ", ";
    text += shortText(element, list.at(value, i));
  }
  return text + "]";
}

}  // namespace

std::string shortText(const ValueShape& shape, const void* value) {
  if (shape.ops->list) return listText(shape, value);
  if (shape.ops->optional || !shape.type) return typedText(*shape.ops, value);
  if (Tovo::typeDescriptor(shape.type).kind == TypeKind::unionValue) {
    for (const Attribute alternative : membersOf(shape.type, AttributeKind::alternative)) {
      Tovo::ValueBuffer held(alternative.ops());
      if (getMember(shape.type, value, alternative, held)) {
        return shortText(shapeOf(alternative), held.get());
      }
    }
  }
  const std::vector<Attribute> fields = fieldsOf(shape);
  return fields.empty() ? typedText(*shape.ops, value) : recordText(shape, fields, value);
}

std::string valueText(const ValueShape& shape, const void* value, ValueStyle style) {
  return style == ValueStyle::full ? Tovo::valueText(*shape.ops, value) : shortText(shape, value);
}

}  // namespace stptool
