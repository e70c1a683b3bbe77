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

}  // namespace

void emitTypes(Writer& out, const Module& module, const TypeCodes& codes,
               const AttributeTable& attributes, UniqueNames& names) {
  const std::string descriptor = TableNames::typeDescriptor;
  out.line("using " + descriptor + " = Tovo::TypeDescriptor;");
  out.line("static constexpr " + descriptor + " " + TableNames::types + "[] = {");
  out.indent();
  for (const Type* type : module.types) {
    const bool isEnum = type->kind == TypeKind::enumeration;
    const size_t first = attributes.firstRow(*type);
    const size_t count = ownRows(*type);
    size_t inherited = 0;
    for (const Type* base = type->base; base; base = base->base) inherited += ownRows(*base);
    std::string size = within(descriptor, "variableSize");
    if (isEnum) {
      size = std::to_string(type->width);
    } else if (type->encodedSize) {
      size = std::to_string(*type->encodedSize);
    }
    const char* kind = isEnum             ? "enumeration"
                       : type->isUnion()  ? "unionValue"
                       : type->isEntity() ? "entity"
                                          : "value";
    wrappedRow(out,
               {literal(type->qualifiedName), literal(type->doc),
                isEnum ? names.ofTable(*type, TableNames::literals) : "nullptr",
                std::to_string(type->literals.size()), std::to_string(first), std::to_string(count),
                size, codes.of(type->base), "Tovo::TypeKind::" + std::string(kind), flagsOf(*type),
                std::to_string(inherited)});
  }
  out.outdent();
  out.line("};");
  out.line();
}

}  // namespace tdc
