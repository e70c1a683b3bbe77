#include "tdc/emit/TypeTable.h"

#include <algorithm>

#include "tdc/emit/CppNames.h"
#include "tdc/emit/TableRows.h"

namespace tdc {

namespace {

bool textByFields(const Type& type) {
  const bool anyField =
      std::any_of(type.members.begin(), type.members.end(),
                  [](const Member& member) { return member.kind == MemberKind::field; });
  return type.kind == TypeKind::value && !type.handParse && anyField;
}

bool holdsEntities(const Type& type) {
  const auto holds = [](const Member& member) {
    return member.kind == MemberKind::own || member.kind == MemberKind::reference ||
           member.kind == MemberKind::pointer;
  };
  return std::any_of(type.members.begin(), type.members.end(), holds) ||
         (type.base && holdsEntities(*type.base));
}

bool takesNoArguments(const Type& type) {
  if (type.isEntity()) return false;
  if (type.noArguments || type.isUnion() || type.isEnumeration()) return true;
  bool fixed = false;
  bool list = false;
  for (const Member* member : type.stored()) {
    fixed = fixed || member->fixed;
    list = list || member->kind == MemberKind::list;
  }
  return type.stored().empty() || (list && !fixed);
}

std::string flagsOf(const Type& type) {
  std::vector<std::string> flags;
  const auto add = [&](bool holds, const char* flag) {
    if (holds) flags.push_back(within(TableNames::typeDescriptor, flag));
  };
  add(type.hashable, "hashable");
  add(type.order != Order::none, "ordered");
  add(type.factory, "exportedFactory");
  add(type.isEntity() && type.keyMember(), "keyedByParameter");
  add(takesNoArguments(type), "noArguments");
  add(textByFields(type), "textByFields");
  add(holdsEntities(type), "holdsEntities");
  return joinedFlags(flags);
}

const char* kindName(const Type& type) {
  switch (type.kind) {
    case TypeKind::enumeration:
      return "enumeration";
    case TypeKind::unionType:
      return "unionValue";
    case TypeKind::entity:
      return "entity";
    default:
      return "value";
  }
}

std::string sizeOf(const Type& type) {
  if (type.encodedSize) return std::to_string(*type.encodedSize);
  return within(TableNames::typeDescriptor, "variableSize");
}

}  // namespace

void emitTypes(Writer& out, const Module& module, const TypeCodes& codes,
               const AttributeTable& attributes, UniqueNames& names) {
  const std::string descriptor = TableNames::typeDescriptor;
  out.line("using " + descriptor + " = Tovo::TypeDescriptor;");
  out.line("static constexpr " + descriptor + " " + TableNames::types + "[] = {");
  out.indent();
  for (const Type* type : module.types) {
    std::vector<std::string> items;
    const auto add = [&](const char* name, const std::string& value) {
      items.push_back(std::string(".") + name + " = " + value);
    };
    const auto addCount = [&](const char* name, size_t count) {
      if (count > 0) add(name, std::to_string(count));
    };
    add("name", literal(type->qualifiedName));
    if (!type->doc.empty()) add("doc", literal(type->doc));
    if (type->kind == TypeKind::enumeration) {
      add("literals", names.ofTable(*type, TableNames::literals));
      addCount("literalCount", type->literals.size());
    }
    addCount("firstAttribute", attributes.firstRow(*type));
    addCount("attributeCount", ownRows(*type));
    add("encodedSize", sizeOf(*type));
    if (type->base) add("base", codes.of(type->base));
    add("kind", std::string("Tovo::TypeKind::") + kindName(*type));
    const std::string flags = flagsOf(*type);
    if (!flags.empty()) add("flags", flags);
    size_t inherited = 0;
    for (const Type* base = type->base; base; base = base->base) inherited += ownRows(*base);
    addCount("inheritedAttributes", inherited);
    wrappedRow(out, items);
  }
  out.outdent();
  out.line("};");
  out.line();
}

}  // namespace tdc
