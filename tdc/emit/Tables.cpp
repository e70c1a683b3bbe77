#include <set>

#include "tdc/emit/AttributeTable.h"
#include "tdc/emit/ClassModel.h"
#include "tdc/emit/DetailTable.h"
#include "tdc/emit/EntityTables.h"
#include "tdc/emit/TableRows.h"
#include "tdc/emit/TypeCodes.h"
#include "tdc/emit/TypeTable.h"
#include "tdc/emit/UniqueNames.h"
#include "tdc/model/ClassNames.h"

namespace tdc {

namespace {

// The name in the module's list of type names; empty for what the list leaves out.
std::string listedName(const Type& type) {
  return type.scalar ? type.scalar->listedName : type.qualifiedName;
}

void emitLiterals(Writer& out, const Module& module, UniqueNames& names) {
  for (const Type* type : module.types) {
    if (type->kind != TypeKind::enumeration) continue;
    out.line("static constexpr Tovo::EnumLiteral " + names.ofTable(*type, TableNames::literals) +
             "[] = {");
    out.indent();
    for (const Literal& each : type->literals) {
      wrappedRow(out, {std::to_string(each.number), literal(each.name), literal(each.doc)});
    }
    out.outdent();
    out.line("};");
  }
  out.line();
}

void emitStrings(Writer& out, const std::string& name, const std::vector<std::string>& strings) {
  out.line("static constexpr char " + name + "[] =");
  if (strings.empty()) out.line("    \"\";");
  for (size_t i = 0; i < strings.size(); ++i) {
    out.line("    \"" + strings[i] + "\\0\"" + (i + 1 == strings.size() ? ";" : ""));
  }
  out.line();
}

void emitTypeNames(Writer& out, const Module& module) {
  std::set<std::string> types;
  for (const Type* type : module.types) {
    types.insert(type->qualifiedName);
    if (type->isEntity() && !type->keyMember()) types.insert(listedName(*builtIn("String")));
    for (const Member& member : type->members) {
      const bool listed = member.isStored() && !type->isUnion();
      if (!listed) continue;
      types.insert(listedName(*member.type.type));
      if (member.key) types.insert(listedName(*member.key));
    }
  }
  types.erase("");
  emitStrings(out, TableNames::typeNames, {types.begin(), types.end()});
}

void emitReferences(Writer& out, const TypeCodes& codes) {
  if (codes.references().empty()) return;
  out.line(std::string("static constexpr Tovo::TovoTypeBase ") + TableNames::references + "[] = {");
  out.indent();
  for (const Type* type : codes.references()) {
    out.line("{&" + recordName(*type->module) + ", " + std::to_string(type->index) + "},");
  }
  out.outdent();
  out.line("};");
  out.line();
}

void emitEntries(Writer& out, const Module& module, UniqueNames& names) {
  out.line(std::string("static constexpr Tovo::GenericIfEntry ") + TableNames::entries + "[] = {");
  out.indent();
  for (const Type* type : module.types) {
    if (type->isEntity()) {
      out.line("Frame::entityEntry(" + names.ofTable(*type, TableNames::hooks) + "),");
    } else if (type->isEnumeration()) {
      out.line("Tovo::enumEntry<" + type->qualifiedName + ">(),");
    } else {
      out.line("Tovo::valueEntry<" + type->qualifiedName + ">(),");
    }
  }
  out.outdent();
  out.line("};");
}

void emitRecord(Writer& out, const Module& module, const TypeCodes& codes) {
  const std::string record = recordName(module);
  out.line("constinit const Tovo::TovoModule " + record + " = {");
  out.indent();
  const auto table = [&](const char* name) {
    return within(nameOf(module, Derived::tables), name);
  };
  const std::string references =
      codes.references().empty() ? "nullptr" : table(TableNames::references);
  for (const std::string& part :
       {table(TableNames::types), table(TableNames::attributes), table(TableNames::details),
        table(TableNames::typeNames), table(TableNames::attributeNames), references,
        table(TableNames::entries), std::to_string(module.types.size()), literal(record)}) {
    out.line("  " + part + ",");
  }
  out.outdent();
  out.line("};");
  out.line();
  out.line("namespace {");
  out.line();
  out.line("// Modules register in the order of their numbers, whatever the order of linking.");
  constexpr unsigned firstPriority = 1000;
  out.list("[[gnu::init_priority(" + std::to_string(firstPriority + module.order) +
               ")]] const Frame::Registration " + TableNames::registration + "(",
           {record}, ");");
  out.line();
  out.line("}  // namespace");
}

}  // namespace

void emitTables(Writer& out, const Module& module) {
  const TypeCodes codes(module);
  UniqueNames names;
  AttributeTable attributes;
  out.line("// One row an item, to be laid beside the description.");
  out.line("// clang-format off");
  out.line("#pragma GCC diagnostic push");
  out.line("#pragma GCC diagnostic ignored \"-Winvalid-offsetof\"");
  out.line();
  out.line("struct " + nameOf(module, Derived::tables) + " {");
  out.indent();
  emitLiterals(out, module, names);
  emitDefaults(out, module, names);
  emitCollections(out, module, names);
  emitRuns(out, module, names);
  emitHooks(out, module, names);
  emitDetails(out, module, names);
  attributes.emit(out, module, codes);
  emitTypes(out, module, codes, attributes, names);
  emitTypeNames(out, module);
  emitStrings(out, TableNames::attributeNames, attributes.names());
  emitReferences(out, codes);
  emitEntries(out, module, names);
  out.outdent();
  out.line("};");
  out.line();
  out.line("#pragma GCC diagnostic pop");
  out.line("// clang-format on");
  out.line();
  emitRecord(out, module, codes);
}

}  // namespace tdc
