#include "stptool/json/ValueJson.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"
#include "Tovo/Inspect.h"
#include "stptool/model/Explain.h"
#include "stptool/model/TypedText.h"
#include "stptool/text/Suggest.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::PrimitiveForm;
using Tovo::ValueBuffer;
using Tovo::ValueOps;

Json memberToJson(Tovo::TovoTypeBase type, const void* value, Attribute member) {
  ValueBuffer field(member.ops());
  if (!getMember(type, value, member, field)) return nullptr;
  return toJson(shapeOf(member), field.get());
}

// Readers of JSON keep whole numbers up to this one; a type with larger ones is written as text.
constexpr uint64_t exactMost = (uint64_t{1} << 53) - 1;

// A number where the text is one: a VLAN's, not an interface's name.
Json textToJson(const ValueOps& ops, const void* value) {
  std::string text = typedText(ops, value);
  const uint64_t number = ops.number ? ops.number(value) : 0;
  if (ops.number && number <= exactMost && text == std::to_string(number)) return number;
  return text;
}

Json enumToJson(const ValueOps& ops, const void* value) {
  std::string text = Tovo::valueText(ops, value);
  const bool isLiteral = text.front() != '-' && (text.front() < '0' || text.front() > '9');
  return isLiteral ? Json(std::move(text)) : Json(std::stoll(text));
}

Json primitiveToJson(const ValueShape& shape, const void* value) {
  const Tovo::PrimitiveType& primitive = Tovo::primitiveType(shape.primitive);
  switch (primitive.form) {
    case PrimitiveForm::boolean:
      return *static_cast<const bool*>(value);
    case PrimitiveForm::integer:
      if (primitive.highest > exactMost) return typedText(*shape.ops, value);
      return shape.ops->number(value);
    case PrimitiveForm::seconds: {
      const Tovo::Seconds seconds = *static_cast<const Tovo::Seconds*>(value);
      if (std::isfinite(seconds)) return seconds;
      return textToJson(*shape.ops, value);
    }
    case PrimitiveForm::text:
    case PrimitiveForm::none:
      break;
  }
  return textToJson(*shape.ops, value);
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

class ValueReader {
 public:
  explicit ValueReader(const OutOfRange& outOfRange) : outOfRange_(outOfRange) {}

  Built value(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  Built text(const ValueOps& ops, const std::string& text, const JsonPlace& place) const;

 private:
  Built optional(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  Built list(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  Built number(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  Built seconds(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  Built primitive(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  Built enumeration(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  Built record(const ValueShape& shape, const std::vector<Attribute>& fields, const Json& json,
               const JsonPlace& place) const;
  Built unionValue(const ValueShape& shape, const Json& json, const JsonPlace& place) const;
  void constructWithFixed(const ValueShape& shape, const std::vector<Attribute>& fields,
                          const Json& members, const JsonPlace& place, ValueBuffer& value) const;
  void putMember(Tovo::TovoTypeBase type, void* value, Attribute member, const Json& json,
                 const JsonPlace& place) const;

  const OutOfRange& outOfRange_;
};

Built ValueReader::text(const ValueOps& ops, const std::string& text,
                        const JsonPlace& place) const {
  const auto read = [&](Tovo::Ranges ranges) {
    auto value = std::make_unique<ValueBuffer>(ops);
    Tovo::readTyped(text, *value, ranges);
    return value;
  };
  const auto refusal = [&](const Tovo::RangeException& error) {
    return JsonError(place, "found '" + text + "': " + error.what());
  };
  try {
    return read(Tovo::Ranges::checked);
  } catch (const Tovo::RangeException& error) {
    const JsonError refused = refusal(error);
    Built kept;
    try {
      kept = read(Tovo::Ranges::kept);
    } catch (const Tovo::RangeException&) {
      throw JsonError(refused);  // in no way a text of the type
    }
    outOfRange_(refused);
    return kept;
  }
}

Built ValueReader::optional(const ValueShape& shape, const Json& json,
                            const JsonPlace& place) const {
  auto result = std::make_unique<ValueBuffer>(*shape.ops);
  if (json.is_null()) {
    result->constructDefault();
    return result;
  }
  const ValueShape inner{shape.ops->optional->element, shape.type, shape.primitive};
  const Built present = value(inner, json, place);
  // The text of an optional that is there is that of the value in it.
  Tovo::readTyped(Tovo::valueText(*inner.ops, present->get()), *result, Tovo::Ranges::kept);
  return result;
}

Built ValueReader::list(const ValueShape& shape, const Json& json, const JsonPlace& place) const {
  if (!json.is_array()) failType(place, json, "an array");
  const Tovo::ListOps& list = *shape.ops->list;
  auto result = std::make_unique<ValueBuffer>(*shape.ops);
  result->constructDefault();
  const ValueShape element{list.element, shape.type, shape.primitive};
  for (size_t i = 0; i < json.size(); ++i) {
    list.push(result->get(), value(element, json[i], place / i)->get());
  }
  return result;
}

Built ValueReader::number(const ValueShape& shape, const Json& json, const JsonPlace& place) const {
  const uint64_t highest = Tovo::primitiveType(shape.primitive).highest;
  const bool wide = highest > exactMost;
  if (wide && json.is_string()) return text(*shape.ops, json.get<std::string>(), place);
  const uint64_t most = std::min(highest, exactMost);
  if (!json.is_number_unsigned() || json.get<uint64_t>() > most) {
    failType(place, json,
             "a whole number from 0 to " + std::to_string(most) +
                 (wide ? ", or one up to " + std::to_string(highest) + " as a string" : ""));
  }
  return text(*shape.ops, std::to_string(json.get<uint64_t>()), place);
}

// What is not finite is no JSON number, and stands as text.
Built ValueReader::seconds(const ValueShape& shape, const Json& json,
                           const JsonPlace& place) const {
  static const char* const wanted = "a number of seconds";
  auto result = std::make_unique<ValueBuffer>(*shape.ops);
  if (json.is_number()) {
    const Tovo::Seconds seconds = json.get<double>();
    result->constructFrom(&seconds);
    return result;
  }
  const JsonError refused(place, "found " + shownJson(json) + "; allowed: " + wanted);
  if (!json.is_string()) throw JsonError(refused);
  try {
    Tovo::readTyped(json.get<std::string>(), *result);
  } catch (const Tovo::RangeException&) {
    throw JsonError(refused);
  }
  if (std::isfinite(*static_cast<const Tovo::Seconds*>(result->get()))) throw JsonError(refused);
  outOfRange_(refused);
  return result;
}

Built ValueReader::primitive(const ValueShape& shape, const Json& json,
                             const JsonPlace& place) const {
  switch (Tovo::primitiveType(shape.primitive).form) {
    case PrimitiveForm::boolean: {
      if (!json.is_boolean()) failType(place, json, "true or false");
      const bool on = json.get<bool>();
      auto result = std::make_unique<ValueBuffer>(*shape.ops);
      result->constructFrom(&on);
      return result;
    }
    case PrimitiveForm::integer:
      return number(shape, json, place);
    case PrimitiveForm::seconds:
      return seconds(shape, json, place);
    case PrimitiveForm::text:
    case PrimitiveForm::none:
      break;
  }
  if (!json.is_string()) failType(place, json, "a string");
  return text(*shape.ops, json.get<std::string>(), place);
}

Built ValueReader::enumeration(const ValueShape& shape, const Json& json,
                               const JsonPlace& place) const {
  const Tovo::TypeDescriptor& descriptor = Tovo::typeDescriptor(shape.type);
  std::vector<std::string> names;
  std::string wanted = "one of ";
  for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
    names.emplace_back(descriptor.literals[i].name);
    wanted += (i > 0 ? ", \"" : "\"") + names.back() + "\"";
  }
  const auto fail = [&] { failType(place, json, wanted); };
  if (json.is_number_integer()) {
    auto result = std::make_unique<ValueBuffer>(*shape.ops);
    try {
      Tovo::readTyped(json.dump(), *result, Tovo::Ranges::kept);
    } catch (const Tovo::RangeException&) {
      fail();  // too wide
    }
    outOfRange_(JsonError(place, "found " + shownJson(json) + "; allowed: " + wanted));
    return result;
  }
  if (!json.is_string()) fail();
  const std::string name = json.get<std::string>();
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    failType(place, json, wanted + suggestion(name, names));
  }
  return text(*shape.ops, name, place);
}

void ValueReader::putMember(Tovo::TovoTypeBase type, void* value, Attribute member,
                            const Json& json, const JsonPlace& place) const {
  const Built field = this->value(shapeOf(member), json, place);
  try {
    if (setMember(type, value, member, field->get())) return;
  } catch (const Tovo::RangeException&) {
    outOfRange_(JsonError(place, "found " + shownJson(json) + "; allowed: " + allowedText(member)));
    return keepField(value, member, field->get());
  }
  throw JsonError(place, std::string(member.name()) + " cannot be set");
}

// Some types take fields at construction only; those are the arguments that they are made from.
void ValueReader::constructWithFixed(const ValueShape& shape, const std::vector<Attribute>& fields,
                                     const Json& members, const JsonPlace& place,
                                     ValueBuffer& value) const {
  std::vector<Attribute> fixed;
  std::vector<Built> arguments;
  std::vector<const void*> pointers;
  for (const Attribute field : fields) {
    if (!field.has(Tovo::AttributeDescriptor::fixed)) continue;
    const auto member = members.find(field.name());
    if (member == members.end()) {
      throw JsonError(place, "lacks '" + std::string(field.name()) + "', " + allowedText(field));
    }
    fixed.push_back(field);
    arguments.push_back(this->value(shapeOf(field), *member, place / field.name()));
    pointers.push_back(arguments.back()->get());
  }
  if (pointers.empty()) return value.constructDefault();
  std::vector<std::max_align_t> storage(shape.ops->size / sizeof(std::max_align_t) + 1);
  try {
    Tovo::genericIf(shape.type)
        .genericIfConstructFromCtorArgs(shape.type, storage.data(), pointers);
  } catch (const Tovo::RangeException& error) {
    outOfRange_(JsonError(place, "found " + shownJson(members) + ": " + error.what()));
    value.constructDefault();
    for (size_t i = 0; i < fixed.size(); ++i) keepField(value.get(), fixed[i], pointers[i]);
    return;
  }
  value.constructFrom(storage.data());
  shape.ops->destruct(storage.data());
}

Built ValueReader::record(const ValueShape& shape, const std::vector<Attribute>& fields,
                          const Json& json, const JsonPlace& place) const {
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
  auto result = std::make_unique<ValueBuffer>(*shape.ops);
  constructWithFixed(shape, fields, members, place, *result);
  for (const auto& [name, member] : members.items()) {
    const Attribute& field = *find(fields, name);
    if (field.has(Tovo::AttributeDescriptor::fixed)) continue;
    putMember(shape.type, result->get(), field, member, placeOf(name));
  }
  return result;
}

Built ValueReader::unionValue(const ValueShape& shape, const Json& json,
                              const JsonPlace& place) const {
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
  auto result = std::make_unique<ValueBuffer>(*shape.ops);
  result->constructDefault();
  putMember(shape.type, result->get(), *alternative, json.front(), place / name);
  return result;
}

Built ValueReader::value(const ValueShape& shape, const Json& json, const JsonPlace& place) const {
  if (shape.ops->optional) return optional(shape, json, place);
  if (shape.ops->list) return list(shape, json, place);
  if (!shape.type) return primitive(shape, json, place);
  switch (Tovo::typeDescriptor(shape.type).kind) {
    case Tovo::TypeKind::enumeration:
      return enumeration(shape, json, place);
    case Tovo::TypeKind::unionValue:
      return unionValue(shape, json, place);
    default: {
      const std::vector<Attribute> fields = membersOf(shape.type, AttributeKind::field);
      if (!fields.empty()) return record(shape, fields, json, place);
      if (json.is_number_unsigned() && shape.ops->number) {
        return text(*shape.ops, std::to_string(json.get<uint64_t>()), place);
      }
      if (!json.is_string()) {
        failType(place, json, "the text of a " + std::string(Tovo::typeName(shape.type)));
      }
      return text(*shape.ops, json.get<std::string>(), place);
    }
  }
}

}  // namespace

Json toJson(const ValueShape& shape, const void* value) {
  if (shape.ops->optional) return optionalToJson(shape, value);
  if (const Tovo::ListOps* list = shape.ops->list) {
    Json array = Json::array();
    const ValueShape element{list->element, shape.type, shape.primitive};
    for (size_t i = 0; i < list->size(value); ++i) {
      array.push_back(toJson(element, list->at(value, i)));
    }
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
    case Tovo::TypeKind::enumeration:
      return enumToJson(*shape.ops, value);
    default:
      break;
  }
  return textToJson(*shape.ops, value);
}

void refuse(const JsonError& error) { throw JsonError(error); }

Built fromJson(const ValueShape& shape, const Json& json, const JsonPlace& place,
               const OutOfRange& outOfRange) {
  return ValueReader(outOfRange).value(shape, json, place);
}

Built keyFromJson(const ValueShape& shape, const std::string& name, const JsonPlace& place,
                  const OutOfRange& outOfRange) {
  return ValueReader(outOfRange).text(*shape.ops, name, place);
}

std::string keyToJson(const ValueShape& shape, const void* key) {
  return typedText(*shape.ops, key);
}

}  // namespace stptool
