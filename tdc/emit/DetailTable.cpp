#include "tdc/emit/DetailTable.h"

#include "tdc/emit/CppNames.h"
#include "tdc/emit/TableRows.h"

namespace tdc {

namespace {

bool hasDefaultObject(const Member& member) {
  const bool starts = member.kind == MemberKind::attribute || member.kind == MemberKind::counter ||
                      member.kind == MemberKind::field || member.kind == MemberKind::alternative;
  if (!starts) return false;
  const Default::Kind kind = member.initial.kind;
  if (kind == Default::Kind::implicit || kind == Default::Kind::absent) return false;
  return !(kind == Default::Kind::text && member.type.type->kind == TypeKind::string &&
           member.initial.text.empty());
}

// A class's own constant would be looked up among all libraries when this one is loaded.
bool isCopied(const Member& member) {
  return member.isConstant() && member.type.type->kind != TypeKind::string;
}

std::string accessFunction(const Type& type, const Member& member) {
  const std::string get = "&" + within(type, member.name);
  const std::string set = "&" + within(type, nameOf(member, Derived::setter));
  switch (member.kind) {
    case MemberKind::query:
      return "&Frame::queryAccess<" + get + ">";
    case MemberKind::bits:
      return "&Frame::viewAccess<" + get + ", " + set + ">";
    case MemberKind::indexed:
      return "&Frame::indexedAccess<" + type.qualifiedName + ", " + get + ", " + set + ", &" +
             within(type, nameOf(member, Derived::eraser)) + ">";
    case MemberKind::alternative:
      return "&Frame::alternativeAccess<" + get + ", " + set + ", " +
             std::to_string(alternativeIndex(member)) + ">";
    default:
      return "nullptr";
  }
}

std::string text(const std::string& value) { return value.empty() ? "nullptr" : literal(value); }

bool special(const Member& member) {
  return member.type.optional || member.wire32 || member.kind == MemberKind::list;
}

std::string specialType(const Type& type, const Member& member) {
  if (member.kind != MemberKind::list) return cppType(member.type, "");
  return "Pelmo::BasicVector<" + cppType(member.type, "") + ", " +
         within(type, nameOf(member, Derived::elementTag)) + ">";
}

}  // namespace

void emitDefaults(Writer& out, const Module& module, UniqueNames& names) {
  bool any = false;
  forEachRow(module, [&](const Type& type, const Member* each) {
    if (!each || !(hasDefaultObject(*each) || isCopied(*each))) return;
    any = true;
    const Member& member = *each;
    const bool string = member.type.type->kind == TypeKind::string;
    out.line(std::string("static inline ") + (string ? "const " : "constexpr ") +
             cppType(member.type, "") + " " + names.ofMember(type, member) + " =");
    out.line("    " + (isCopied(member) ? within(type, member.name) : initialValue(member, "")) +
             ";");
  });
  if (any) out.line();
}

void emitCollections(Writer& out, const Module& module, UniqueNames& names) {
  bool any = false;
  forEachRow(module, [&](const Type& type, const Member* each) {
    if (!each || !each->isCollection()) return;
    any = true;
    const Member& member = *each;
    const char* kind = member.kind == MemberKind::own         ? "ownOps"
                       : member.kind == MemberKind::reference ? "refOps"
                       : member.kind == MemberKind::map       ? "valueOps"
                                                              : "selfKeyedOps";
    out.line("static constexpr Tovo::CollectionOps " + names.ofMember(type, member) + " =");
    out.line("    Frame::" + std::string(kind) + "<" + within(type, nameOf(member, Derived::node)) +
             ", &" + within(type, nameOf(member, Derived::setter)) + ",");
    out.line("        &" + within(type, nameOf(member, Derived::eraser)) + ">();");
  });
  if (any) out.line();
}

void emitDetails(Writer& out, const Module& module, UniqueNames& names) {
  out.line("static constexpr Tovo::AttributeDetail details[] = {");
  out.indent();
  if (hasRuntimeRows(module)) {
    out.line(
        "{nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr, "
        "nullptr,");
    out.line(" nullptr},");
  }
  forEachRow(module, [&](const Type& type, const Member* each) {
    if (!each) return;
    const Member& member = *each;
    std::vector<std::string> items;
    items.push_back(special(member) ? "&Tovo::ValueOpsOf<" + specialType(type, member) +
                                          wireForm(member) + ">::table"
                                    : "nullptr");
    std::string value = "nullptr";
    if (member.isConstant()) value = "&" + within(type, member.name);
    if (hasDefaultObject(member) || isCopied(member)) value = "&" + names.ofMember(type, member);
    items.push_back(value);
    items.push_back(member.initial.origin ? literal(member.initial.origin->name) : "nullptr");
    items.push_back(member.range ? std::to_string(member.range->low.value) : "0");
    items.push_back(member.range ? std::to_string(member.range->high.value) : "0");
    const auto constant = [&](const Bound* bound) {
      return bound && bound->constant ? literal(bound->constant->name) : std::string("nullptr");
    };
    items.push_back(constant(member.range ? &member.range->low : nullptr));
    items.push_back(constant(member.range ? &member.range->high : nullptr));
    items.push_back(member.range ? within(type, nameOf(member, Derived::rangeMessage)) : "nullptr");
    items.push_back(text(member.unit));
    items.push_back(text(member.doc));
    items.push_back(member.isCollection() ? "&" + names.ofMember(type, member) : "nullptr");
    items.push_back(accessFunction(type, member));
    wrappedRow(out, items);
  });
  out.outdent();
  out.line("};");
  out.line();
}

}  // namespace tdc
