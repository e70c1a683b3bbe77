// Stp/ids.lock, which is written from the descriptions, against what reflection says of the types
// that were built from them: line by line, so that a fault of the compiler's is one of these lines.
#include <algorithm>
#include <bit>
#include <fstream>
#include <initializer_list>
#include <utility>

#include "Support.h"
#include "Tovo/Inspect.h"

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::TovoTypeBase;
using Tovo::TypeDescriptor;
using Tovo::TypeKind;

std::string marks(std::initializer_list<std::pair<bool, const char*>> words) {
  std::string all;
  for (const auto& [holds, word] : words) {
    if (holds) all += (all.empty() ? "" : ",") + std::string(word);
  }
  return all.empty() ? "-" : all;
}

bool isEnumeration(TovoTypeBase type) {
  return type && typeDescriptor(type).kind == TypeKind::enumeration;
}

std::string kindOf(TovoTypeBase owner, Attribute attribute) {
  constexpr const char* kinds[] = {"name",    "nameString", "field", "const", "bits",
                                   "indexed", "query",      "alt",   "param", "attr",
                                   "ptr",     "own",        "ref",   "map",   "set"};
  const bool keyed = (typeDescriptor(owner).flags & TypeDescriptor::keyedByParameter) != 0;
  if (attribute.has(AttributeDescriptor::list)) return "list";
  if (attribute.has(AttributeDescriptor::counter)) return "counter";
  if (keyed && attribute.id() == Tovo::firstAttributeId) return "key";
  return kinds[static_cast<size_t>(attribute.kind())];
}

// What a view with all its bits set leaves in a field that was zero.
std::string bitsOf(TovoTypeBase owner, Attribute view) {
  Tovo::ValueBuffer value(*Tovo::valueOps(owner));
  value.constructDefault();
  const uint8_t ones = view.typeName() == std::string("bool") ? 1 : 0xff;
  attributeOp(owner, nullptr, value.get(), view.id(), Tovo::OperationCode::set, nullptr, &ones);
  const Attribute field = attributeById(owner, 2);
  const auto bits = *(static_cast<const uint8_t*>(value.get()) + size_t{field.descriptor().offset});
  return std::string(":") + field.name() + "[" + std::to_string(std::countr_zero(bits)) + ".." +
         std::to_string(7 - std::countl_zero(bits)) + "]";
}

// An enumeration may be wider in its place than by itself.
bool isWide(Attribute attribute) {
  if (!isEnumeration(attribute.type()) || attribute.ops().list) return false;
  const TypeDescriptor& type = typeDescriptor(attribute.type());
  Tovo::ValueBuffer value(attribute.ops());
  Tovo::CharRange literal(type.literals[0].name);
  value.parse(literal);
  const bool optional = attribute.has(AttributeDescriptor::optional);
  return attribute.ops().attrLogSize(value.get()) - (optional ? 1 : 0) > type.encodedSize;
}

std::string typeOf(TovoTypeBase owner, Attribute attribute) {
  std::string text = attribute.typeName();
  if (attribute.kind() == AttributeKind::bits) return text + bitsOf(owner, attribute);
  if (attribute.kind() == AttributeKind::ownCollection) {
    std::string names;
    for (const Attribute each : Tovo::constructorParameters(attribute.type())) {
      names += (names.empty() ? "(" : ",") + std::string(each.name());
    }
    if (!names.empty()) text += names + ")";
  } else if (isWide(attribute)) {
    text += ":u32";
  }
  if (attribute.isCollection()) return std::string(attribute.keyTypeName()) + "->" + text;
  return attribute.has(AttributeDescriptor::optional) ? "optional:" + text : text;
}

std::string defaultOf(Attribute attribute) {
  const void* value = attribute.detail().value;
  const char* constant = attribute.detail().valueName;
  const std::string name = constant ? std::string(constant) + "=" : "";
  if (!value) return name + (attribute.has(AttributeDescriptor::optional) ? "none" : "-");
  std::string shown = Tovo::defaultText(attribute);
  const TovoTypeBase type = attribute.type();
  const bool ofLibrary = type && !moduleName(*type.module).starts_with("Stp");
  // The list knows no literals of a library, and of its other values what was written.
  if (ofLibrary && isEnumeration(type)) {
    return name + std::to_string(encoded(attribute.ops(), value).back());
  }
  if (ofLibrary && shown.find(':') != std::string::npos) shown = "'" + shown + "'";
  std::replace(shown.begin(), shown.end(), '\'', '"');
  return name + shown;
}

std::string boundsOf(TovoTypeBase owner, Attribute attribute) {
  if (!attribute.has(AttributeDescriptor::ranged)) return "-";
  const Tovo::AttributeDetail& detail = attribute.detail();
  const std::string scope = std::string(typeName(owner)) + "::";
  std::string list;
  std::string message = scope + attribute.name() + " <";
  const auto add = [&](const char* name, uint64_t number) {
    const std::string digits = std::to_string(number);
    list += (list.empty() ? "" : "..") + (name ? name + ("=" + digits) : digits);
    message += " " + (name ? scope + name : digits);
  };
  add(detail.lowName, detail.low);
  message += " or >";
  add(detail.highName, detail.high);
  EXPECT_EQ(detail.rangeMessage, message + " not allowed");
  return list;
}

std::string unitOf(Attribute attribute) {
  if (!attribute.detail().unit) return "-";
  const std::string unit = attribute.detail().unit;
  const size_t blank = unit.find(' ');
  if (blank == std::string::npos) return '"' + unit + '"';
  return '"' + unit.substr(0, blank) + "\\x20" + unit.substr(blank + 1) + '"';
}

bool identityHash(const Tovo::ValueOps& ops) {
  Tovo::ValueBuffer one(ops);
  Tovo::CharRange digit("1");
  one.parse(digit);
  return ops.number && ops.hash(one.get()) == ops.number(one.get());
}

// That arguments are not taken goes without saying where there is no field, or a list.
bool refusesArguments(TovoTypeBase type) {
  const auto members = ownAttributes(type);
  const auto isField = [](const auto& each) { return each.kind == AttributeKind::field; };
  const auto isList = [](const auto& each) {
    return (each.flags & AttributeDescriptor::list) != 0;
  };
  return (typeDescriptor(type).flags & TypeDescriptor::noArguments) != 0 &&
         typeDescriptor(type).kind == TypeKind::value &&
         std::any_of(members.begin(), members.end(), isField) &&
         std::none_of(members.begin(), members.end(), isList);
}

void addType(Lines& lines, TovoTypeBase type) {
  const TypeDescriptor& descriptor = typeDescriptor(type);
  const auto has = [&](uint8_t flag) { return (descriptor.flags & flag) != 0; };
  const bool wide = isEnumeration(type) && descriptor.encodedSize == 4;
  const char* kinds[] = {"value", "union", "entity", wide ? "enum:i32" : "enum:u8"};
  const bool varies =
      descriptor.kind == TypeKind::entity || descriptor.encodedSize == TypeDescriptor::variableSize;
  const bool hashes = has(TypeDescriptor::hashable);
  const bool identity = hashes && !isEnumeration(type) && identityHash(*Tovo::valueOps(type));
  const std::string module(moduleName(*type.module));
  const std::string name = typeName(type);
  const TovoTypeBase base = baseType(type);
  lines.push_back(module + " " + std::to_string(type.index) + " " + name + " " +
                  kinds[static_cast<size_t>(descriptor.kind)] + " " +
                  (varies ? "-" : std::to_string(descriptor.encodedSize)) + " " +
                  marks({{hashes, identity ? "identityhash" : "hash"},
                         {has(TypeDescriptor::ordered), "order"},
                         {refusesArguments(type), "noargs"},
                         {has(TypeDescriptor::exportedFactory), "factory"}}) +
                  " " + (base ? typeName(base) : "-"));
  for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
    const Tovo::EnumLiteral& literal = descriptor.literals[i];
    lines.push_back(module + " " + name + " " + std::to_string(literal.value) + " " + literal.name);
  }
  for (const AttributeDescriptor& own : ownAttributes(type)) {
    const Attribute attribute(*type.module, own);
    if (own.kind == AttributeKind::name || own.kind == AttributeKind::nameString) continue;
    const bool fixed = attribute.has(AttributeDescriptor::fixed);
    lines.push_back(module + " " + name + " " + std::to_string(own.id) + " " + attribute.name() +
                    " " + kindOf(type, attribute) + " " + typeOf(type, attribute) + " " +
                    defaultOf(attribute) + " " + boundsOf(type, attribute) + " " +
                    marks({{attribute.has(AttributeDescriptor::readOnly) && !fixed, "readonly"},
                           {fixed, "fixed"},
                           {attribute.has(AttributeDescriptor::toConst), "const"},
                           {attribute.has(AttributeDescriptor::noCompare), "nocompare"}}) +
                    " " + unitOf(attribute));
  }
}

TEST(IdList, IsWhatReflectionSays) {
  Lines built;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    const std::string name(moduleName(*module));
    if (!name.starts_with("Stp")) continue;
    built.push_back(name + " record " + std::string(moduleHash(*module)));
    for (uint32_t index = 0; index < module->typeCount; ++index) addType(built, {module, index});
  }
  std::ifstream file(IDS_LOCK);
  std::string line;
  std::getline(file, line);  // says which form the list has
  size_t at = 0;
  for (; std::getline(file, line) && at < built.size(); ++at) {
    EXPECT_EQ(built[at], line) << "line " << at + 2 << " of Stp/ids.lock";
  }
  EXPECT_TRUE(file.eof());
  EXPECT_EQ(at, built.size());
}

// The default that is listed is what a new object has, and the type's own where none is.
TEST(IdList, DefaultsAreWhatNewObjectsHave) {
  Samples samples(1);
  forEachType({TypeKind::value, TypeKind::unionValue, TypeKind::entity}, [&](TovoTypeBase type) {
    const bool isEntity = typeDescriptor(type).kind == TypeKind::entity;
    const auto entity = isEntity ? newEntity(type, samples) : nullptr;
    alignas(16) unsigned char storage[256];
    std::fill(std::begin(storage), std::end(storage), 0xee);
    if (!isEntity) genericIf(type).methods->genericIfConstruct(type, storage, nullptr);
    void* object = isEntity ? static_cast<void*>(entity.get()) : storage;
    forEachAttribute(type, [&](Attribute each) {
      const AttributeKind kind = each.kind();
      const bool first = kind == AttributeKind::alternative && each.id() == 2;
      if (!first && kind != AttributeKind::attribute && kind != AttributeKind::field &&
          kind != AttributeKind::constant && kind != AttributeKind::pointer) {
        return;
      }
      EXPECT_EQ(gotFrom(type, object, each), Tovo::defaultText(each)) << each.name();
    });
    if (isEntity) {
      EXPECT_EQ(entity->tovoType(), type);
      EXPECT_EQ(entity->typeData(), type.module);
      EXPECT_EQ(entity->parent(), nullptr);
      EXPECT_EQ(got(*entity, 155), "'" + std::string(entity->nameString().view()) + "'");
    } else {
      bool set = true;
      EXPECT_EQ(wholeOp(type, set, object, Tovo::OperationCode::isSet), 0);
      EXPECT_FALSE(set);
      genericIf(type).methods->genericIfDestruct(type, storage);
    }
  });
}

// ------------------------------------------------------------------------------------ the records

Lines names(const char* list) {
  Lines all;
  for (; *list; list += all.back().size() + 1) all.emplace_back(list);
  return all;
}

TEST(Record, ListsTheNamesThatAModuleStores) {
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    SCOPED_TRACE(module->name);
    const Lines list = names(module->typeNames);
    EXPECT_TRUE(std::is_sorted(list.begin(), list.end()));
    EXPECT_EQ(std::adjacent_find(list.begin(), list.end()), list.end());
    EXPECT_EQ(std::count(list.begin(), list.end(), "bool"), 0);
    for (uint32_t index = 0; index < module->typeCount; ++index) {
      EXPECT_TRUE(std::binary_search(list.begin(), list.end(), module->types[index].name));
    }
  }
  const Tovo::TovoModule& quiesce = *typeNamed("Stp::QuiesceConfig").module;
  EXPECT_EQ(names(quiesce.typeNames),
            (Lines{"Stp::Config", "Stp::QuiesceConfig", "Tovo::Seconds", "Tovo::String"}));
  const Tovo::TovoModule& status = *typeNamed("Stp::QuiesceStatus").module;
  EXPECT_EQ(names(status.attributeNames), (Lines{"name", "nameString", "quiesceMode"}));
  EXPECT_EQ(status.referencedTypes, nullptr);
  // The union's alternatives, and the String of a constant, are not stored.
  const Lines types = names(typeNamed("Stp::BridgeId").module->typeNames);
  EXPECT_EQ(types.size(), 29u);
  EXPECT_EQ(std::count(types.begin(), types.end(), "Bridging::VlanId"), 0);
}

}  // namespace
