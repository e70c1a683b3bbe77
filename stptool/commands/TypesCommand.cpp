// stptool types: what the model libraries declare.
#include <cstring>

#include "Tovo/Inspect.h"
#include "Tovo/Module.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/Json.h"
#include "stptool/json/ValueJson.h"
#include "stptool/model/Describe.h"
#include "stptool/model/Explain.h"
#include "stptool/model/FindType.h"
#include "stptool/output/Output.h"
#include "stptool/text/Table.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::TovoTypeBase;
using Tovo::TypeDescriptor;

// By what its parts are addressed: the keys of a collection, the numbers of an indexed attribute.
bool isKeyed(Attribute attribute) {
  return attribute.isCollection() || attribute.kind() == AttributeKind::indexed;
}

// "Stp::MstiHw by String".
std::string typeAndKeyText(Attribute attribute) {
  std::string text = typeText(attribute);
  if (isKeyed(attribute)) text.append(" by ").append(attribute.keyTypeName());
  return text;
}

bool isConstant(Attribute attribute) { return attribute.kind() == AttributeKind::constant; }

std::string rangeAndUnit(Attribute attribute) {
  if (attribute.has(AttributeDescriptor::ranged)) return Tovo::rangeText(attribute);
  const char* unit = attribute.detail().unit;
  return unit ? unit : "";
}

std::string notes(Attribute attribute) {
  std::string text;
  if (attribute.has(AttributeDescriptor::readOnly)) text = "Read-only.";
  const std::string sentence = firstSentence(attribute.detail().doc);
  if (!text.empty() && !sentence.empty()) text += " ";
  return text + sentence;
}

std::string documentation(const char* doc) {
  return doc && *doc ? std::string(doc) + "\n" : std::string();
}

std::string moduleLine(const Tovo::TovoModule& module) {
  return styled(Style::name, Tovo::moduleName(module)) + "  " +
         styled(Style::number, Tovo::moduleHash(module)) + "\n";
}

std::string allTypesText() {
  std::string text;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    if (!text.empty()) text += "\n";
    text += moduleLine(*module);
    Table table({Style::number, Style::type, Style::name});
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      const TypeDescriptor& type = module->types[i];
      table.row({std::to_string(i), kindName(type.kind), type.name, firstSentence(type.doc)});
    }
    text += table.text("  ");
  }
  return text;
}

std::string enumText(const TypeDescriptor& type) {
  Table table({Style::number, Style::name});
  table.header({"number", "literal"});
  for (uint32_t i = 0; i < type.literalCount; ++i) {
    const Tovo::EnumLiteral& literal = type.literals[i];
    table.row({std::to_string(literal.value), literal.name, literal.doc ? literal.doc : ""});
  }
  return table.text("  ");
}

std::string attributesText(TovoTypeBase type) {
  Table attributes({Style::number, Style::type, Style::name});
  attributes.header({"id", "kind", "name", "type", "default", "allowed", "description"});
  Table constants({Style::number, Style::type, Style::name});
  constants.header({"id", "kind", "constant", "type", "value", "unit", "description"});
  Tovo::forEachAttribute(type, [&](Attribute attribute) {
    const std::string id = std::to_string(attribute.id());
    Table& table = isConstant(attribute) ? constants : attributes;
    table.row({id, kindName(attribute), attribute.name(), typeAndKeyText(attribute),
               shownDefault(attribute), rangeAndUnit(attribute), notes(attribute)});
  });
  std::string text = attributes.text("  ");
  if (!attributes.empty() && !constants.empty()) text += "\n";
  return text + constants.text("  ");
}

std::string typeText(TovoTypeBase type) {
  const TypeDescriptor& descriptor = Tovo::typeDescriptor(type);
  std::string text =
      styled(Style::name, descriptor.name) + "  " + styled(Style::type, kindName(descriptor.kind));
  if (const TovoTypeBase base = Tovo::baseType(type)) {
    text += " of " + std::string(Tovo::typeName(base));
  }
  text +=
      ", " + std::string(Tovo::moduleName(*type.module)) + " type " + std::to_string(type.index);
  if (descriptor.kind != Tovo::TypeKind::entity &&
      descriptor.encodedSize != TypeDescriptor::variableSize) {
    text += ", " + words::counted(descriptor.encodedSize, "byte", "bytes") + " in the log";
  }
  text += "\n" + documentation(descriptor.doc);
  return text + (descriptor.kind == Tovo::TypeKind::enumeration ? enumText(descriptor)
                                                                : attributesText(type));
}

// --- JSON --------------------------------------------------------------------------------------

Json textOrNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Json attributeJson(Attribute attribute) {
  Json json;
  json["id"] = attribute.id();
  json["kind"] = kindName(attribute);
  json["name"] = attribute.name();
  json["type"] = attribute.typeName();
  if (isKeyed(attribute)) json["key"] = attribute.keyTypeName();
  if (isConstant(attribute)) {
    json["value"] = toJson(shapeOf(attribute), attribute.detail().value);
  } else if (const std::string initial = Tovo::defaultText(attribute); !initial.empty()) {
    json["default"] = initial;
  }
  if (attribute.has(AttributeDescriptor::ranged)) {
    json["low"] = attribute.detail().low;
    json["high"] = attribute.detail().high;
  }
  if (attribute.detail().unit) json["unit"] = attribute.detail().unit;
  if (attribute.has(AttributeDescriptor::readOnly)) json["readOnly"] = true;
  if (attribute.detail().doc) json["doc"] = attribute.detail().doc;
  return json;
}

Json typeJson(TovoTypeBase type, bool whole) {
  const TypeDescriptor& descriptor = Tovo::typeDescriptor(type);
  Json json;
  json["index"] = type.index;
  json["kind"] = kindName(descriptor.kind);
  json["name"] = descriptor.name;
  json["doc"] = textOrNull(descriptor.doc ? descriptor.doc : "");
  if (const TovoTypeBase base = Tovo::baseType(type)) json["base"] = Tovo::typeName(base);
  if (!whole) return json;
  json["module"] = Tovo::moduleName(*type.module);
  for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
    const Tovo::EnumLiteral& literal = descriptor.literals[i];
    json["literals"].push_back({{"name", literal.name}, {"value", literal.value}});
  }
  if (descriptor.kind == Tovo::TypeKind::enumeration) return json;
  json["attributes"] = Json::array();
  Tovo::forEachAttribute(
      type, [&](Attribute attribute) { json["attributes"].push_back(attributeJson(attribute)); });
  return json;
}

Json allTypesJson() {
  Json json = Json::array();
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    Json entry;
    entry["module"] = Tovo::moduleName(*module);
    entry["record"] = Tovo::moduleHash(*module);
    entry["types"] = Json::array();
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      entry["types"].push_back(typeJson({module, i}, false));
    }
    json.push_back(std::move(entry));
  }
  return json;
}

}  // namespace

void runTypes(const TypesOptions& options) {
  if (options.type.empty()) {
    writeOut(options.json ? jsonText(allTypesJson(), 2) + "\n" : allTypesText());
    return;
  }
  const TovoTypeBase type = findType(options.type);
  writeOut(options.json ? jsonText(typeJson(type, true), 2) + "\n" : typeText(type));
}

}  // namespace stptool
