#include "stptool/json/ValueJson.h"

#include <cmath>
#include <limits>
#include <vector>

#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "stptool/text/Explain.h"
#include "stptool/text/Printable.h"
#include "stptool/text/Suggest.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::ValueBuffer;
using Tovo::ValueOps;
namespace PrimitiveCode = Tovo::PrimitiveCode;

Json memberToJson(Tovo::TovoTypeBase type, const void* value, Attribute member) {
  ValueBuffer field(member.ops());
  if (!getMember(type, value, member, field)) return nullptr;
  return toJson(shapeOf(member), field.get());
}

// A number where the text is one: a VLAN's, not an interface's name.
Json textToJson(const ValueOps& ops, const void* value) {
  std::string text = typedText(ops, value);
  if (ops.number && text == std::to_string(ops.number(value))) return ops.number(value);
  return text;
}

Json primitiveToJson(const ValueShape& shape, const void* value) {
  switch (shape.primitive) {
    case PrimitiveCode::boolean:
      return *static_cast<const bool*>(value);
    case PrimitiveCode::u8:
    case PrimitiveCode::u16:
    case PrimitiveCode::u32:
      return shape.ops->number(value);
    case PrimitiveCode::seconds: {
      const Tovo::Seconds seconds = *static_cast<const Tovo::Seconds*>(value);
      if (std::isfinite(seconds)) return seconds;
      return textToJson(*shape.ops, value);
    }
    default:
      return textToJson(*shape.ops, value);
  }
}

Json optionalToJson(const ValueShape& shape, const void* value) {
  const ValueShape inner{shape.ops->optional->element, shape.type, shape.primitive};
  std::vector<std::max_align_t> storage(inner.ops->size / sizeof(std::max_align_t) + 1);
  const void* present = shape.ops->optional->value(value, storage.data());
  if (!present) return nullptr;
  Json json = toJson(inner, present);
  inner.ops->destruct(storage.data());
  return json;
}

// --- from JSON ---------------------------------------------------------------------------------

using Built = std::unique_ptr<ValueBuffer>;

[[noreturn]] void failType(const JsonPlace& place, const Json& found, const std::string& wanted) {
  throw JsonError(place, "found " + shownJson(found) + "; allowed: " + wanted);
}

Built parseText(const ValueOps& ops, const std::string& text, const JsonPlace& place) {
  auto value = std::make_unique<ValueBuffer>(ops);
  try {
    // Whole strings stand without quotes, unless they begin with one.
    if (&ops == &Tovo::primitiveOps(PrimitiveCode::string) && !text.starts_with('\'')) {
      const Pelmo::String string(text);
      value->constructFrom(&string);
    } else {
      Tovo::CharRange range(text);
      const Tovo::CharRangeCheckAllDataConsumed check(range);
      value->parse(range);
    }
  } catch (const Tovo::RangeException& error) {
    throw JsonError(place, "found '" + text + "': " + error.what());
  }
  return value;
}

Built numberFromJson(const ValueShape& shape, const Json& json, const JsonPlace& place) {
  const uint64_t highest = shape.primitive == PrimitiveCode::u8    ? 0xff
                           : shape.primitive == PrimitiveCode::u16 ? 0xffff
                                                                   : 0xffffffff;
  if (!json.is_number_unsigned() || json.get<uint64_t>() > highest) {
    failType(place, json, "a whole number from 0 to " + std::to_string(highest));
  }
  return parseText(*shape.ops, std::to_string(json.get<uint64_t>()), place);
}

Built primitiveFromJson(const ValueShape& shape, const Json& json, const JsonPlace& place) {
  auto value = std::make_unique<ValueBuffer>(*shape.ops);
  switch (shape.primitive) {
    case PrimitiveCode::boolean: {
      if (!json.is_boolean()) failType(place, json, "true or false");
      const bool on = json.get<bool>();
      value->constructFrom(&on);
      return value;
    }
    case PrimitiveCode::u8:
    case PrimitiveCode::u16:
    case PrimitiveCode::u32:
      return numberFromJson(shape, json, place);
    case PrimitiveCode::seconds: {
      // Infinity is no JSON number; it stands as text.
      if (json.is_string()) return parseText(*shape.ops, json.get<std::string>(), place);
      if (!json.is_number()) failType(place, json, "a number of seconds");
      const Tovo::Seconds seconds = json.get<double>();
      value->constructFrom(&seconds);
      return value;
    }
    default:
      if (!json.is_string()) failType(place, json, "a string");
      return parseText(*shape.ops, json.get<std::string>(), place);
  }
}

Built enumFromJson(const ValueShape& shape, const Json& json, const JsonPlace& place) {
  const Tovo::TypeDescriptor& descriptor = Tovo::typeDescriptor(shape.type);
  std::vector<std::string> names;
  std::string wanted = "one of ";
  for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
    names.emplace_back(descriptor.literals[i].name);
    wanted += (i > 0 ? ", \"" : "\"") + names.back() + "\"";
  }
  if (!json.is_string()) failType(place, json, wanted);
  const std::string name = json.get<std::string>();
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    failType(place, json, wanted + suggestion(name, names));
  }
  return parseText(*shape.ops, name, place);
}

void putMember(Tovo::TovoTypeBase type, void* value, Attribute member, const Json& json,
               const JsonPlace& place) {
  const Built field = fromJson(shapeOf(member), json, place);
  try {
    if (setMember(type, value, member, field->get())) return;
  } catch (const Tovo::RangeException&) {
    failType(place, json, allowedText(member));
  }
  throw JsonError(place, std::string(member.name()) + " cannot be set");
}

// Some types take fields at construction only; those are the arguments that they are made from.
void constructWithFixed(const ValueShape& shape, const std::vector<Attribute>& fields,
                        const Json& members, const JsonPlace& place, ValueBuffer& value) {
  std::vector<Built> arguments;
  std::vector<const void*> pointers;
  for (const Attribute field : fields) {
    if (!field.has(Tovo::AttributeDescriptor::fixed)) continue;
    const auto member = members.find(field.name());
    if (member == members.end()) {
      throw JsonError(place, "lacks '" + std::string(field.name()) + "', " + allowedText(field));
    }
    arguments.push_back(fromJson(shapeOf(field), *member, place / field.name()));
    pointers.push_back(arguments.back()->get());
  }
  if (pointers.empty()) return value.constructDefault();
  std::vector<std::max_align_t> storage(shape.ops->size / sizeof(std::max_align_t) + 1);
  try {
    Tovo::genericIf(shape.type)
        .genericIfConstructFromCtorArgs(shape.type, storage.data(), pointers);
  } catch (const Tovo::RangeException& error) {
    throw JsonError(place, "found " + shownJson(members) + ": " + error.what());
  }
  value.constructFrom(storage.data());
  shape.ops->destruct(storage.data());
}

[[noreturn]] void failMember(const ValueShape& shape, const std::vector<Attribute>& members,
                             const std::string& name, const JsonPlace& place) {
  std::vector<std::string> names;
  std::string all;
  for (const Attribute member : members) {
    names.emplace_back(member.name());
    all += (all.empty() ? "; it has " : ", ") + names.back();
  }
  const std::string hint = suggestion(name, names);
  throw JsonError(place, std::string(Tovo::typeName(shape.type)) + " has no '" + name + "'" +
                             (hint.empty() ? all : hint));
}

const Attribute* find(const std::vector<Attribute>& members, const std::string& name) {
  for (const Attribute& member : members) {
    if (member.name() == name) return &member;
  }
  return nullptr;
}

Built recordFromJson(const ValueShape& shape, const std::vector<Attribute>& fields,
                     const Json& json, const JsonPlace& place) {
  const bool single = fields.size() == 1;
  if (!single && !json.is_object()) {
    failType(place, json, "an object of " + std::string(Tovo::typeName(shape.type)));
  }
  Json members = single ? Json::object() : json;
  if (single) members[fields[0].name()] = json;
  const auto placeOf = [&](const std::string& name) { return single ? place : place / name; };
  for (const auto& [name, member] : members.items()) {
    if (!find(fields, name)) failMember(shape, fields, name, placeOf(name));
  }
  auto value = std::make_unique<ValueBuffer>(*shape.ops);
  constructWithFixed(shape, fields, members, place, *value);
  for (const auto& [name, member] : members.items()) {
    const Attribute& field = *find(fields, name);
    if (field.has(Tovo::AttributeDescriptor::fixed)) continue;
    putMember(shape.type, value->get(), field, member, placeOf(name));
  }
  return value;
}

Built unionFromJson(const ValueShape& shape, const Json& json, const JsonPlace& place) {
  const std::vector<Attribute> alternatives = membersOf(shape.type, AttributeKind::alternative);
  if (!json.is_object() || json.size() != 1) {
    std::string wanted = "an object of one member, one of";
    const char* separator = " ";
    for (const Attribute alternative : alternatives) {
      wanted += separator + std::string(alternative.name());
      separator = ", ";
    }
    failType(place, json, wanted);
  }
  const std::string& name = json.begin().key();
  const Attribute* alternative = find(alternatives, name);
  if (!alternative) failMember(shape, alternatives, name, place / name);
  auto value = std::make_unique<ValueBuffer>(*shape.ops);
  value->constructDefault();
  putMember(shape.type, value->get(), *alternative, json.front(), place / name);
  return value;
}

}  // namespace

Json toJson(const ValueShape& shape, const void* value) {
  if (shape.ops->optional) return optionalToJson(shape, value);
  if (const Tovo::ListOps* list = shape.ops->list) {
    Json array = Json::array();
    const ValueShape element{list->element, shape.type, shape.primitive};
    for (size_t i = 0; i < list->size(value); ++i)
      array.push_back(toJson(element, list->at(value, i)));
    return array;
  }
  if (!shape.type) return primitiveToJson(shape, value);
  switch (Tovo::typeDescriptor(shape.type).kind) {
    case Tovo::TypeKind::value: {
      const std::vector<Attribute> fields = membersOf(shape.type, AttributeKind::field);
      if (fields.size() == 1) return memberToJson(shape.type, value, fields[0]);
      if (fields.empty()) break;
      Json object = Json::object();
      for (const Attribute field : fields) {
        object[field.name()] = memberToJson(shape.type, value, field);
      }
      return object;
    }
    case Tovo::TypeKind::unionValue:
      for (const Attribute alternative : membersOf(shape.type, AttributeKind::alternative)) {
        ValueBuffer held(alternative.ops());
        if (!getMember(shape.type, value, alternative, held)) continue;
        Json object = Json::object();
        object[alternative.name()] = toJson(shapeOf(alternative), held.get());
        return object;
      }
      break;
    default:
      break;
  }
  return textToJson(*shape.ops, value);
}

Built fromJson(const ValueShape& shape, const Json& json, const JsonPlace& place) {
  if (shape.ops->optional) {
    auto value = std::make_unique<ValueBuffer>(*shape.ops);
    value->constructDefault();
    if (json.is_null()) return value;
    const ValueShape inner{shape.ops->optional->element, shape.type, shape.primitive};
    const Built present = fromJson(inner, json, place);
    // The text of an optional that is there is that of the value in it.
    return parseText(*shape.ops, Tovo::valueText(*inner.ops, present->get()), place);
  }
  if (const Tovo::ListOps* list = shape.ops->list) {
    if (!json.is_array()) failType(place, json, "an array");
    auto value = std::make_unique<ValueBuffer>(*shape.ops);
    value->constructDefault();
    const ValueShape element{list->element, shape.type, shape.primitive};
    for (size_t i = 0; i < json.size(); ++i) {
      list->push(value->get(), fromJson(element, json[i], place / i)->get());
    }
    return value;
  }
  if (!shape.type) return primitiveFromJson(shape, json, place);
  switch (Tovo::typeDescriptor(shape.type).kind) {
    case Tovo::TypeKind::enumeration:
      return enumFromJson(shape, json, place);
    case Tovo::TypeKind::unionValue:
      return unionFromJson(shape, json, place);
    default: {
      const std::vector<Attribute> fields = membersOf(shape.type, AttributeKind::field);
      if (!fields.empty()) return recordFromJson(shape, fields, json, place);
      if (json.is_number_unsigned() && shape.ops->number) {
        return parseText(*shape.ops, std::to_string(json.get<uint64_t>()), place);
      }
      if (!json.is_string()) {
        failType(place, json, "the text of a " + std::string(Tovo::typeName(shape.type)));
      }
      return parseText(*shape.ops, json.get<std::string>(), place);
    }
  }
}

Built keyFromJson(const ValueShape& shape, const std::string& name, const JsonPlace& place) {
  return parseText(*shape.ops, name, place);
}

std::string keyToJson(const ValueShape& shape, const void* key) {
  return typedText(*shape.ops, key);
}

}  // namespace stptool
