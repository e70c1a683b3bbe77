#include "stptool/reference/ModelPages.h"

#include <algorithm>
#include <map>
#include <set>

#include "Tovo/Inspect.h"
#include "Tovo/Module.h"
#include "Tovo/ValueOps.h"
#include "stptool/model/Describe.h"
#include "stptool/model/Explain.h"
#include "stptool/model/ValueShape.h"
#include "stptool/text/Hex.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeDescriptor;
using Tovo::AttributeKind;
using Tovo::TovoTypeBase;
using Tovo::TypeDescriptor;
using Tovo::TypeKind;

std::string pageName(const Tovo::TovoModule& module) {
  return std::string(Tovo::moduleName(module));
}

Span plain(std::string text) { return {std::move(text)}; }
Span code(std::string text) { return {std::move(text), true}; }

Prose cell(std::string text) {
  if (text.empty()) return {};
  return {plain(std::move(text))};
}
Prose codeCell(std::string text) {
  if (text.empty()) return {};
  return {code(std::move(text))};
}

Prose joined(Prose first, Prose second) {
  if (!first.empty() && !second.empty()) first.push_back(plain(" "));
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

// A type's name, leading to its section; that of a primitive leads nowhere.
Span typeLink(TovoTypeBase type, const std::string& text) {
  if (!type) return code(text);
  return {text, true, {pageName(*type.module), anchorOf(Tovo::typeName(type))}};
}
Span typeLink(TovoTypeBase type) { return typeLink(type, Tovo::typeName(type)); }

// Columns that are empty in every row say nothing.
Rows withoutEmptyColumns(Rows table) {
  for (size_t column = table.columns.size(); column-- > 0;) {
    const bool empty = std::all_of(table.rows.begin(), table.rows.end(),
                                   [&](const auto& row) { return row[column].empty(); });
    if (!empty) continue;
    const auto at = static_cast<std::ptrdiff_t>(column);
    table.columns.erase(table.columns.begin() + at);
    for (auto& row : table.rows) row.erase(row.begin() + at);
  }
  return table;
}

// What a type declares besides its constants and what every entity has.
bool isMember(AttributeKind kind) {
  return kind != AttributeKind::constant && kind != AttributeKind::name &&
         kind != AttributeKind::nameString;
}

// Which attributes have values, elements or targets of a type.
class Uses {
 public:
  Uses() {
    for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
      forEachType(*module, [&](TovoTypeBase owner) {
        for (const AttributeDescriptor& own : Tovo::ownAttributes(owner)) {
          add(owner, {*module, own});
        }
      });
    }
  }

  // "Stp::Hw.mstiHw, ...", each leading to its owner.
  Prose of(TovoTypeBase type) const {
    Prose prose;
    const auto found = uses_.find(Tovo::typeName(type));
    if (found == uses_.end()) return prose;
    for (const auto& [owner, name] : found->second) {
      if (!prose.empty()) prose.push_back(plain(", "));
      prose.push_back(typeLink(owner, std::string(Tovo::typeName(owner)) + "." + name));
    }
    return prose;
  }

  // Whether some collection owns entities of the type.
  bool owned(TovoTypeBase type) const { return owned_.count(Tovo::typeName(type)) != 0; }

 private:
  void add(TovoTypeBase owner, Attribute attribute) {
    if (!isMember(attribute.kind())) return;
    if (attribute.kind() == AttributeKind::ownCollection) {
      owned_.insert(Tovo::typeName(attribute.type()));
    }
    for (const TovoTypeBase used : {attribute.type(), attribute.keyType()}) {
      if (used) uses_[Tovo::typeName(used)].emplace_back(owner, attribute.name());
    }
  }

  std::map<std::string, std::vector<std::pair<TovoTypeBase, std::string>>> uses_;
  std::set<std::string> owned_;
};

std::string kindSentence(TovoTypeBase type) {
  const TypeDescriptor& descriptor = Tovo::typeDescriptor(type);
  std::string text;
  switch (descriptor.kind) {
    case TypeKind::value:
      text = "Value";
      break;
    case TypeKind::unionValue:
      text = "Union";
      break;
    case TypeKind::entity:
      text = "Entity";
      break;
    case TypeKind::enumeration:
      text = "Enumeration";
  }
  text += ", type " + std::to_string(type.index) + " of the module";
  if (descriptor.kind != TypeKind::entity) {
    text += descriptor.encodedSize == TypeDescriptor::variableSize
                ? ", of variable size in the log"
                : ", " + words::counted(descriptor.encodedSize, "byte", "bytes") + " in the log";
  }
  const auto is = [&](uint8_t flag) { return (descriptor.flags & flag) != 0; };
  if (is(TypeDescriptor::hashable)) text += ", hashable";
  if (is(TypeDescriptor::ordered)) text += ", ordered";
  if (is(TypeDescriptor::exportedFactory)) text += ", with an exported factory";
  if (is(TypeDescriptor::keyedByParameter)) text += ", without a name: its key is a parameter";
  return text + ".";
}

Prose typeCell(Attribute attribute) {
  Prose text;
  if (attribute.has(AttributeDescriptor::optional)) text.push_back(plain("optional "));
  text.push_back(typeLink(attribute.type(), typeText(attribute)));
  if (attribute.isCollection()) {
    text.push_back(plain(" by "));
    text.push_back(typeLink(attribute.keyType(), attribute.keyTypeName()));
  }
  return text;
}

Prose defaultCell(Attribute attribute) {
  Prose text = codeCell(shownDefault(attribute));
  if (attribute.detail().valueName && !text.empty()) {
    text.push_back(plain(", "));
    text.push_back(code(attribute.detail().valueName));
  }
  return text;
}

std::string rangeCell(Attribute attribute) {
  if (!attribute.has(AttributeDescriptor::ranged)) return {};
  return std::to_string(attribute.detail().low) + " to " + std::to_string(attribute.detail().high);
}

std::string unitCell(Attribute attribute) {
  return attribute.detail().unit ? attribute.detail().unit : "";
}

Prose descriptionCell(Attribute attribute) {
  Prose text = proseOf(attribute.detail().doc ? attribute.detail().doc : "");
  if (attribute.has(AttributeDescriptor::fixed) || attribute.kind() == AttributeKind::parameter) {
    text = joined(std::move(text), cell("Fixed at construction."));
  } else if (attribute.has(AttributeDescriptor::readOnly)) {
    text = joined(std::move(text), cell("Reflection may only read it."));
  }
  if (attribute.kind() == AttributeKind::ownCollection) {
    Prose made;
    for (const Attribute parameter : Tovo::constructorParameters(attribute.type())) {
      made.push_back(plain(made.empty() ? "Made with " : ", "));
      made.push_back(code(parameter.name()));
    }
    if (!made.empty()) made.push_back(plain("."));
    text = joined(std::move(text), std::move(made));
  }
  return text;
}

class TypeSection {
 public:
  TypeSection(TovoTypeBase type, const Uses& uses)
      : type_(type), descriptor_(Tovo::typeDescriptor(type)) {
    heading(2, descriptor_.name);
    if (descriptor_.doc) paragraph(proseOf(descriptor_.doc));
    Prose facts = cell(kindSentence(type));
    if (const TovoTypeBase base = Tovo::baseType(type)) {
      facts = joined(std::move(facts),
                     {plain("It has the attributes of "), typeLink(base), plain(" as well.")});
    }
    paragraph(std::move(facts));
    if (Prose used = uses.of(type); !used.empty()) {
      used.insert(used.begin(), plain("Used by "));
      used.push_back(plain("."));
      paragraph(std::move(used));
    }
    if (descriptor_.kind == TypeKind::enumeration) {
      addLiterals();
    } else {
      if (!uses.owned(type)) addPicture();
      addAttributes();
      addConstants();
      if (descriptor_.kind != TypeKind::entity) addLayout();
    }
  }

  std::vector<Block> take() { return std::move(blocks_); }

 private:
  void heading(int level, std::string text) {
    blocks_.emplace_back(Heading{level, std::move(text)});
  }
  void paragraph(Prose text) { blocks_.emplace_back(Paragraph{std::move(text)}); }
  void rows(Rows table) {
    if (!table.rows.empty()) blocks_.emplace_back(withoutEmptyColumns(std::move(table)));
  }

  void addLiterals() {
    Rows table{{"number", "literal", "description"}, {}};
    for (uint32_t i = 0; i < descriptor_.literalCount; ++i) {
      const Tovo::EnumLiteral& literal = descriptor_.literals[i];
      table.rows.push_back({cell(std::to_string(literal.value)), codeCell(literal.name),
                            proseOf(literal.doc ? literal.doc : "")});
    }
    rows(std::move(table));
  }

  template <class Visit>
  void forEachOwn(const Visit& visit) const {
    for (const AttributeDescriptor& own : Tovo::ownAttributes(type_)) {
      visit(Attribute(*type_.module, own));
    }
  }

  // Of a type that leads to others; those below a root are in the picture of the root.
  void addPicture() {
    bool leads = false;
    forEachOwn([&](Attribute attribute) {
      leads = leads || attribute.kind() == AttributeKind::pointer ||
              attribute.kind() == AttributeKind::ownCollection ||
              attribute.kind() == AttributeKind::refCollection;
    });
    if (!leads) return;
    const std::string name = descriptor_.name;
    blocks_.emplace_back(Picture{anchorOf(name), "What " + name + " contains", typeGraph(type_)});
  }

  void addAttributes() {
    Rows table{{"id", "kind", "name", "type", "default", "range", "unit", "description"}, {}};
    forEachOwn([&](Attribute attribute) {
      if (!isMember(attribute.kind())) return;
      table.rows.push_back({cell(std::to_string(attribute.id())), cell(kindName(attribute)),
                            codeCell(attribute.name()), typeCell(attribute), defaultCell(attribute),
                            cell(rangeCell(attribute)), cell(unitCell(attribute)),
                            descriptionCell(attribute)});
    });
    rows(std::move(table));
  }

  void addConstants() {
    Rows table{{"id", "constant", "type", "value", "unit", "description"}, {}};
    forEachOwn([&](Attribute attribute) {
      if (attribute.kind() != AttributeKind::constant) return;
      table.rows.push_back({cell(std::to_string(attribute.id())), codeCell(attribute.name()),
                            typeCell(attribute), codeCell(Tovo::defaultText(attribute)),
                            cell(unitCell(attribute)), descriptionCell(attribute)});
    });
    rows(std::move(table));
  }

  // --- values in the log ---------------------------------------------------------------------

  // "2", "4 + length", "1 or 5"; with the number of bytes where it is fixed.
  static std::string sizeText(Attribute field) {
    const Tovo::ValueOps& ops = field.ops();
    if (ops.encodedSize != TypeDescriptor::variableSize) return std::to_string(ops.encodedSize);
    if (ops.list) {
      const uint32_t each = ops.list->element->encodedSize;
      return each == TypeDescriptor::variableSize ? "4 + elements"
                                                  : "4 + " + std::to_string(each) + " an element";
    }
    if (ops.optional) return "1, or " + std::to_string(presentSize(field));
    return field.type() ? "varies" : "4 + length";
  }

  static size_t presentSize(Attribute optional) {
    const TovoTypeBase type = optional.type();
    const bool isBool = optional.descriptor().type == Tovo::PrimitiveCode::boolean;
    Tovo::CharRange text(type     ? Tovo::typeDescriptor(type).literals[0].name
                         : isBool ? "true"
                                  : "0");
    Tovo::ValueBuffer value(optional.ops());
    value.parse(text);
    return optional.ops().attrLogSize(value.get());
  }

  void addLayout() {
    heading(3, "In the log");
    if (descriptor_.kind == TypeKind::unionValue) {
      addAlternatives();
    } else {
      addFields();
    }
    const Tovo::ValueOps& ops = *Tovo::valueOps(type_);
    Tovo::ValueBuffer fresh(ops);
    fresh.constructDefault();
    std::vector<uint8_t> bytes(ops.attrLogSize(fresh.get()));
    Tovo::NboAttrLog::Out out(bytes);
    ops.write(out, fresh.get());
    const std::string shown = Tovo::valueText(ops, fresh.get());
    Prose text{plain("A fresh one is "), shown.empty() ? plain("empty") : code(shown)};
    if (bytes.empty()) {
      text.push_back(plain(" and takes no byte."));
    } else {
      text.insert(text.end(), {plain(", in bytes "), code(hexText(bytes)), plain(".")});
    }
    paragraph(std::move(text));
  }

  void addFields() {
    Rows table{{"offset", "bytes", "field", "type"}, {}};
    uint32_t offset = 0;
    bool known = true;
    for (const Attribute field : membersOf(type_, AttributeKind::field)) {
      Prose type = typeCell(field);
      if (field.has(AttributeDescriptor::list)) type.insert(type.begin(), plain("list of "));
      table.rows.push_back({cell(known ? std::to_string(offset) : std::string()),
                            cell(sizeText(field)), codeCell(field.name()), std::move(type)});
      const uint32_t size = field.ops().encodedSize;
      known = known && size != TypeDescriptor::variableSize;
      if (known) offset += size;
    }
    rows(std::move(table));
  }

  void addAlternatives() {
    Rows table{{"first byte", "then", "alternative", "type"}, {}};
    for (const Attribute alternative : membersOf(type_, AttributeKind::alternative)) {
      table.rows.push_back({cell(std::to_string(table.rows.size())), cell(sizeText(alternative)),
                            codeCell(alternative.name()), typeCell(alternative)});
    }
    rows(std::move(table));
  }

  TovoTypeBase type_;
  const TypeDescriptor& descriptor_;
  std::vector<Block> blocks_;
};

Page modulePage(const Tovo::TovoModule& module, const Uses& uses) {
  Page page{pageName(module), pageName(module), {}};
  page.blocks.emplace_back(Paragraph{{plain("Record "),
                                      code(std::string(Tovo::moduleHash(module))),
                                      plain(". Back to the "),
                                      {"index", false, {"README", {}}},
                                      plain(".")}});
  Rows contents{{"index", "kind", "type", "description"}, {}};
  forEachType(module, [&](TovoTypeBase type) {
    const TypeDescriptor& descriptor = Tovo::typeDescriptor(type);
    contents.rows.push_back({cell(std::to_string(type.index)),
                             cell(kindName(descriptor.kind)),
                             {typeLink(type)},
                             proseOf(firstSentence(descriptor.doc))});
  });
  page.blocks.emplace_back(withoutEmptyColumns(std::move(contents)));
  forEachType(module, [&](TovoTypeBase type) {
    std::vector<Block> section = TypeSection(type, uses).take();
    std::move(section.begin(), section.end(), std::back_inserter(page.blocks));
  });
  return page;
}

// The words of the column "kind", and what each means to whoever uses the type.
Rows kinds() {
  static constexpr std::pair<const char*, const char*> words[] = {
      {"field", "part of a value"},
      {"list", "part of a value that holds any number of elements"},
      {"alt", "one of the alternatives of a union"},
      {"bits", "view on some bits of a field"},
      {"indexed", "addressed by a number; written by hand"},
      {"query", "computed, never stored or sent"},
      {"param", "constructor parameter of an entity, fixed from then on"},
      {"attr", "attribute of an entity: set, compared, published, mirrored"},
      {"counter", "as `field` or `attr`, and it can be incremented; wraps at its width"},
      {"ptr", "counted reference to an entity that lives elsewhere"},
      {"own", "collection that makes its elements and ends them"},
      {"ref", "collection of counted references"},
      {"map", "collection of values by key"},
      {"set", "collection of values, each under one of its own fields"},
      {"const", "constant of the type; has an id and travels nowhere"},
  };
  Rows table{{"kind", "what"}, {}};
  for (const auto& [word, meaning] : words) {
    table.rows.push_back({codeCell(word), proseOf(meaning)});
  }
  return table;
}

Page indexPage() {
  Page page{"README", "Model reference", {}};
  page.blocks.emplace_back(
      Paragraph{proseOf("Every type of every module, as the library itself describes it. Made by "
                        "`stptool reference`; "
                        "the modules stand in the order in which they register.")});
  Rows modules{{"module", "record", "types", "attributes and fields"}, {}};
  Rows types{{"type", "kind", "module", "description"}, {}};
  std::vector<TovoTypeBase> sorted;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    size_t attributes = 0;
    forEachType(*module, [&](TovoTypeBase type) {
      sorted.push_back(type);
      for (const AttributeDescriptor& own : Tovo::ownAttributes(type)) {
        attributes += isMember(own.kind);
      }
    });
    modules.rows.push_back({{{pageName(*module), false, {pageName(*module), {}}}},
                            codeCell(std::string(Tovo::moduleHash(*module))),
                            cell(std::to_string(module->typeCount)),
                            cell(std::to_string(attributes))});
  }
  std::sort(sorted.begin(), sorted.end(), [](TovoTypeBase a, TovoTypeBase b) {
    return std::string_view(Tovo::typeName(a)) < Tovo::typeName(b);
  });
  for (const TovoTypeBase type : sorted) {
    const TypeDescriptor& descriptor = Tovo::typeDescriptor(type);
    types.rows.push_back({{typeLink(type)},
                          cell(kindName(descriptor.kind)),
                          cell(pageName(*type.module)),
                          proseOf(firstSentence(descriptor.doc))});
  }
  page.blocks.emplace_back(std::move(modules));
  page.blocks.emplace_back(Heading{2, "Kinds"});
  page.blocks.emplace_back(kinds());
  page.blocks.emplace_back(Paragraph{proseOf(
      "Every entity has `nameString` (" + std::to_string(Tovo::nameStringId) +
      "), the text of its name or key, and those that are not keyed by a parameter have `name` (" +
      std::to_string(Tovo::nameId) + "); the pages do not repeat them.")});
  page.blocks.emplace_back(Heading{2, "All types"});
  page.blocks.emplace_back(std::move(types));
  return page;
}

}  // namespace

std::vector<Page> modelPages() {
  const Uses uses;
  std::vector<Page> pages{indexPage()};
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    pages.push_back(modulePage(*module, uses));
  }
  return pages;
}

}  // namespace stptool
