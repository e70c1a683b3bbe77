#include "stptool/model/Describe.h"

#include "Tovo/Inspect.h"
#include "Tovo/ValueOps.h"

namespace stptool {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;

const char* kindName(Tovo::TypeKind kind) {
  switch (kind) {
    case Tovo::TypeKind::value:
      return "value";
    case Tovo::TypeKind::unionValue:
      return "union";
    case Tovo::TypeKind::entity:
      return "entity";
    case Tovo::TypeKind::enumeration:
      return "enum";
  }
  return "?";
}

const char* kindName(Attribute attribute) {
  switch (attribute.kind()) {
    case AttributeKind::name:
    case AttributeKind::nameString:
      return "name";
    case AttributeKind::field:
      return attribute.has(AttributeDescriptor::list)      ? "list"
             : attribute.has(AttributeDescriptor::counter) ? "counter"
                                                           : "field";
    case AttributeKind::constant:
      return "const";
    case AttributeKind::bits:
      return "bits";
    case AttributeKind::indexed:
      return "indexed";
    case AttributeKind::query:
      return "query";
    case AttributeKind::alternative:
      return "alt";
    case AttributeKind::parameter:
      return "param";
    case AttributeKind::attribute:
      return attribute.has(AttributeDescriptor::counter) ? "counter" : "attr";
    case AttributeKind::pointer:
      return "ptr";
    case AttributeKind::ownCollection:
      return "own";
    case AttributeKind::refCollection:
      return "ref";
    case AttributeKind::valueCollection:
      return "map";
    case AttributeKind::selfKeyedCollection:
      return "set";
  }
  return "?";
}

std::string typeText(Attribute attribute) {
  std::string text = attribute.typeName();
  if (attribute.has(AttributeDescriptor::toConst)) text = "const " + text;
  return text;
}

std::string shownDefault(Attribute attribute) {
  std::string text = Tovo::defaultText(attribute);
  if (!text.starts_with("Value(") || attribute.kind() == AttributeKind::constant) return text;
  Tovo::ValueBuffer own(attribute.ops());
  own.constructDefault();
  return text == Tovo::valueText(attribute.ops(), own.get()) ? std::string() : text;
}

}  // namespace stptool
