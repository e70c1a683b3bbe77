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
  return !(kind == Default::Kind::text && member.type.type->is(ScalarForm::text) &&
           member.initial.text.empty());
}

// A class's own constant would be looked up among all libraries when this one is loaded.
bool isCopied(const Member& member) {
  return member.isConstant() && !member.type.type->is(ScalarForm::text);
}

// How a member is reached that is not simply stored; empty for others.
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
      return {};
  }
}

// How a member is handled where its type alone does not say it; empty for others.
std::string ownOps(const Type& type, const Member& member) {
  const bool list = member.kind == MemberKind::list;
  if (!list && !member.type.optional && !member.wire32) return {};
  std::string stored = cppType(member.type, "");
  if (list) {
    stored = "Pelmo::BasicVector<" + stored + ", " +
             within(type, nameOf(member, Derived::elementTag)) + ">";
  }
  return "&Tovo::ValueOpsOf<" + stored + wireForm(member) + ">::table";
}

}  // namespace

void emitDefaults(Writer& out, const Module& module, UniqueNames& names) {
  bool any = false;
  forEachRow(module, [&](const Type& type, const Member* each) {
    if (!each || !(hasDefaultObject(*each) || isCopied(*each))) return;
    any = true;
    const Member& member = *each;
    const bool string = member.type.type->is(ScalarForm::text);
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
  out.line(std::string("static constexpr Tovo::AttributeDetail ") + TableNames::details + "[] = {");
  out.indent();
  if (hasRuntimeRows(module)) wrappedRow(out, {});
  forEachRow(module, [&](const Type& type, const Member* each) {
    if (!each) return;
    const Member& member = *each;
    std::vector<std::string> items;
    const auto add = [&](const char* name, const std::string& value) {
      if (!value.empty()) items.push_back(std::string(".") + name + " = " + value);
    };
    add("ops", ownOps(type, member));
    if (hasDefaultObject(member) || isCopied(member)) {
      add("value", "&" + names.ofMember(type, member));
    } else if (member.isConstant()) {
      add("value", "&" + within(type, member.name));
    }
    if (member.initial.origin) add("valueName", literal(member.initial.origin->name));
    if (member.range) {
      const auto [low, high] = *member.range;
      add("low", unsignedText(low.value));
      add("high", unsignedText(high.value));
      if (low.constant) add("lowName", literal(low.constant->name));
      if (high.constant) add("highName", literal(high.constant->name));
      add("rangeMessage", within(type, nameOf(member, Derived::rangeMessage)));
    }
    if (!member.unit.empty()) add("unit", literal(member.unit));
    if (!member.doc.empty()) add("doc", literal(member.doc));
    if (member.isCollection()) add("collection", "&" + names.ofMember(type, member));
    add("access", accessFunction(type, member));
    wrappedRow(out, items);
  });
  out.outdent();
  out.line("};");
  out.line();
}

}  // namespace tdc
