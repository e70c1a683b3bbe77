#include "tdc/emit/Constants.h"

#include "tdc/emit/CppNames.h"

namespace tdc {

namespace {

bool isString(const Member& constant) { return constant.type.type->is(ScalarForm::text); }

// The text of a member's range exception, cut into literals that fit.
void declareRangeMessage(Writer& out, const Member& member) {
  out.doc("What the exception says when " + member.name + " is refused.");
  const std::string name =
      "static constexpr char " + nameOf(member, Derived::rangeMessage) + "[] =";
  const std::string text = literal(rangeMessage(member));
  if (out.indentation() + name.size() + 1 + text.size() + 1 <= Writer::width) {
    out.line(name + " " + text + ";");
    return;
  }
  out.line(name);
  out.text(rangeMessage(member), ";");
}

void declareConstant(Writer& out, const Member& constant) {
  out.doc(documentation(constant));
  if (isString(constant)) {
    out.line("static const Pelmo::String " + constant.name + ";");
    return;
  }
  const std::string& space = constant.owner->nameSpace;
  out.assignment("static constexpr " + cppType(constant.type, space) + " " + constant.name,
                 initialValue(constant, space));
}

bool names(const Member& member, const Member& constant) {
  const bool bound = member.range && (member.range->low.constant == &constant ||
                                      member.range->high.constant == &constant);
  return bound || member.initial.origin == &constant;
}

// The member that a constant stands beside, or null: the first one that names it, unless another
// constant does, which may stand further up.
const Member* placeOf(const Member& constant) {
  const Member* first = nullptr;
  for (const Member& member : constant.owner->members) {
    if (!names(member, constant)) continue;
    if (member.isConstant()) return nullptr;
    if (!first) first = &member;
  }
  return first;
}

}  // namespace

void declareConstants(Writer& out, const Type& type) {
  bool any = false;
  for (const Member& member : type.members) {
    if (!member.isConstant() || placeOf(member)) continue;
    if (!any) out.line();
    any = true;
    declareConstant(out, member);
  }
  if (any) out.line();
}

void declareConstantsBeside(Writer& out, const Member& member) {
  for (const Member& other : member.owner->members) {
    if (other.isConstant() && placeOf(other) == &member) declareConstant(out, other);
  }
  if (hasRangeMessage(member)) declareRangeMessage(out, member);
}

void defineConstants(Writer& out, const Type& type) {
  for (const Member& member : type.members) {
    if (!member.isConstant() || !isString(member)) continue;
    out.line("const Pelmo::String " + within(type.name, member.name) + "(" +
             literal(member.initial.text) + ");");
    out.line();
  }
}

}  // namespace tdc
