#include "tdc/emit/Emit.h"

#include <algorithm>
#include <set>

#include "tdc/emit/ClassModel.h"
#include "tdc/emit/CppNames.h"

namespace tdc {

namespace {

const char* kindWord(const Type& type) {
  switch (type.kind) {
    case TypeKind::enumeration:
      return "enum";
    case TypeKind::unionType:
      return "union";
    case TypeKind::entity:
      return "entity";
    default:
      return "value";
  }
}

std::string padded(const std::string& text, size_t width, bool right = false) {
  const std::string blanks(text.size() < width ? width - text.size() : 0, ' ');
  return right ? blanks + text : text + blanks;
}

void emitContents(Writer& out, const Module& module) {
  size_t longest = 4;
  for (const Type* type : module.types) longest = std::max(longest, type->qualifiedName.size());
  out.line("//");
  out.line("//   index  kind    " + padded("type", longest) + "  ids        bytes");
  for (const Type* type : module.types) {
    std::string ids = "-";
    if (!type->members.empty()) {
      ids =
          std::to_string(type->members.front().id) + ".." + std::to_string(type->members.back().id);
    }
    std::string bytes = "-";
    if (type->isEnumeration()) {
      bytes = std::to_string(type->width);
    } else if (!type->isEntity()) {
      bytes = type->encodedSize ? std::to_string(*type->encodedSize) : "varies";
    }
    out.line("//   " + padded(std::to_string(type->index), 5, true) + "  " +
             padded(kindWord(*type), 6) + "  " + padded(type->qualifiedName, longest) + "  " +
             padded(ids, 9) + "  " + bytes);
  }
}

void emitIncludes(Writer& out, const Module& module) {
  for (const char* header : {"cstddef", "cstdint", "iosfwd", "optional", "string", "variant"}) {
    out.line("#include <" + std::string(header) + ">");
  }
  out.line();
  std::set<std::string> headers = {
      "Pelmo/Ptr.h",          "Pelmo/String.h",    "Pelmo/Vector.h",     "Tovo/AllocTrack.h",
      "Mirror/log/FlowOut.h", "Tovo/AttrLog/In.h", "Tovo/AttrLog/Out.h", "Tovo/CharRange.h",
      "Tovo/Entity.h",        "Tovo/Exceptions.h", "Tovo/HashHelper.h",  "Tovo/Number.h",
      "Tovo/OptionalByte.h",  "frame/Export.h",    "frame/Order.h",      "frame/Setters.h",
      "frame/Views.h"};
  for (const Module* imported : module.reachable) {
    if (imported == &module) continue;
    if (!imported->external) {
      headers.insert(headerPath(*imported));
      continue;
    }
    for (const Type* type : imported->types) headers.insert(type->header);
  }
  for (const std::string& header : headers) out.line("#include \"" + header + "\"");
  out.line();
}

// The namespace that is open in the header and in the source.
class Namespaces {
 public:
  explicit Namespaces(Output& out) : out_(out) {}

  void enter(const std::string& name) {
    if (name == open_) return;
    leave();
    open_ = name;
    for (Writer* writer : {&out_.header, &out_.source}) {
      writer->line("namespace " + name + " {");
      writer->line();
    }
  }
  void leave() {
    if (open_.empty()) return;
    for (Writer* writer : {&out_.header, &out_.source}) {
      writer->line();
      writer->line("}  // namespace " + open_);
      writer->line();
    }
    open_.clear();
  }

 private:
  Output& out_;
  std::string open_;
};

void emitForwardDeclarations(Output& out, const Module& module) {
  out.header.line("struct " + nameOf(module, Derived::tables) + ";");
  out.header.doc("What the module says of its types.");
  out.header.declaration("extern \"C\" TDL_EXPORT const Tovo::TovoModule", recordName(module));
  out.header.line();
  std::string open;
  for (const Type* type : module.definitions) {
    if (!type->isEntity()) continue;
    if (type->nameSpace != open) {
      if (!open.empty()) out.header.line("}  // namespace " + open);
      open = type->nameSpace;
      out.header.line("namespace " + open + " {");
    }
    out.header.line("class " + type->name + ";");
  }
  if (!open.empty()) out.header.line("}  // namespace " + open);
  out.header.line();
}

void emitSourceStart(Writer& out, const Module& module) {
  out.line("// Generated from " + descriptionName(module.name) + " by tdc; changes belong there.");
  out.line("#include \"" + headerPath(module) + "\"");
  out.line();
  out.line("#include <cstddef>");
  out.line("#include <ostream>");
  out.line();
  std::set<std::string> headers = {
      "Tovo/Assert.h",    "Tovo/ValueReflection.h", "frame/Access.h",       "frame/Collections.h",
      "frame/Entities.h", "frame/Enumerations.h",   "frame/Registration.h", "frame/Values.h"};
  const auto external = [&](const Type* type) {
    if (!type || !type->isExternal()) return;
    const std::string header = type->header;
    headers.insert(header.substr(0, header.find('/')) + "/Modules.h");
  };
  for (const Type* type : module.types) {
    for (const Member& member : type->members) {
      external(member.type.type);
      external(member.key);
    }
  }
  for (const std::string& header : headers) out.line("#include \"" + header + "\"");
  out.line();
}

void emitTypeOf(Output& out, const Module& module) {
  for (const Type* type : module.types) {
    if (type->kind != TypeKind::enumeration) continue;
    out.header.doc("The type that the enumeration stands for.");
    out.header.line("template <>");
    out.header.line("struct TDL_EXPORT Tovo::TypeOf<" + type->qualifiedName + "> {");
    out.header.line("  static TovoTypeBase type() noexcept;  ///< the registered type");
    out.header.line("};");
    out.source.line("Tovo::TovoTypeBase Tovo::TypeOf<" + type->qualifiedName +
                    ">::type() noexcept {");
    out.source.line("  return {&" + recordName(module) + ", " + std::to_string(type->index) + "};");
    out.source.line("}");
    out.source.line();
  }
}

Output emit(const Module& module) {
  Output out;
  out.header.line("// Generated from " + descriptionName(module.name) +
                  " by tdc; changes belong there.");
  emitContents(out.header, module);
  out.header.line("#pragma once");
  out.header.line();
  emitIncludes(out.header, module);
  emitForwardDeclarations(out, module);
  emitSourceStart(out.source, module);

  Namespaces namespaces(out);
  for (const Type* type : module.definitions) {
    namespaces.enter(type->nameSpace);
    switch (type->kind) {
      case TypeKind::enumeration:
        declareEnumeration(out.header, *type);
        declareInstanceFunctions(out.header, *type);
        declareEnumerationFunctions(out.header, *type);
        out.header.line();
        defineEnumeration(out.source, *type);
        break;
      case TypeKind::scope:
        emitScope(out, *type);
        break;
      case TypeKind::entity:
        emitEntity(out, *type);
        break;
      default:
        emitValue(out, *type);
    }
  }
  namespaces.leave();
  emitTypeOf(out, module);
  emitTables(out.source, module);
  out.header.trim();
  out.source.trim();
  return out;
}

}  // namespace

std::string emitHeader(const Module& module) { return emit(module).header.take(); }
std::string emitSource(const Module& module) { return emit(module).source.take(); }

}  // namespace tdc
