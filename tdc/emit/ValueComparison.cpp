#include "tdc/emit/ValueComparison.h"

#include <algorithm>

#include "tdc/emit/CppNames.h"

namespace tdc {

namespace {

// Seconds that are no number are unequal to themselves, which a value never is.
void declareEquality(Writer& out, const Type& type, const std::string& pair) {
  const auto fields = type.stored();
  const bool seconds = std::any_of(fields.begin(), fields.end(), [](const Member* field) {
    return field->type.type->is(ScalarForm::real);
  });
  if (!seconds) {
    out.doc("Whether all that they hold is equal.");
    out.line("friend bool operator==(const " + type.name + "&, const " + type.name +
             "&) = default;");
    return;
  }
  out.doc("Whether they are the same object, or all that they hold is equal.");
  out.line("friend bool operator==" + pair + " {");
  out.indent();
  out.line("if (&a == &b) return true;");
  std::vector<std::string> names = {ValueNames::held};
  if (!type.isUnion()) {
    names.clear();
    for (const Member* field : fields) names.push_back(nameOf(*field, Derived::storage));
  }
  for (const std::string& name : names) {
    if (&name == &names.back()) {
      out.line("return a." + name + " == b." + name + ";");
    } else {
      out.line("if (a." + name + " != b." + name + ") return false;");
    }
  }
  out.outdent();
  out.line("}");
}

}  // namespace

void declareComparison(Writer& out, const Type& type) {
  const std::string pair = "(const " + type.name + "& a, const " + type.name + "& b)";
  declareEquality(out, type, pair);
  if (type.order == Order::none) return;
  if (type.order == Order::reflected) {
    const std::string field = nameOf(*type.stored().front(), Derived::storage);
    out.doc("The order that reflection uses; there is no operator for it.");
    out.line(std::string("static constexpr bool ") + ValueNames::reflectedLess.name + pair +
             " noexcept {");
    out.line("  return a." + field + " < b." + field + ";");
    out.line("}");
    return;
  }
  out.doc(type.isUnion() || type.handOrder ? "In the order that the class states."
                                           : "By the fields, the first one first.");
  const std::string head = "friend std::strong_ordering operator<=>(";
  const std::vector<std::string> parameters = {"const " + type.name + "& a",
                                               "const " + type.name + "& b"};
  out.list(head, parameters, type.handOrder ? ") noexcept;" : ") noexcept {");
  if (type.handOrder) return;
  out.indent();
  if (type.isUnion()) {
    out.line(std::string("return a.") + ValueNames::held + " <=> b." + ValueNames::held + ";");
  } else {
    const auto fields = type.stored();
    for (size_t i = 0; i < fields.size(); ++i) {
      const std::string name = nameOf(*fields[i], Derived::storage);
      const std::string order = "Frame::order(a." + name + ", b." + name + ")";
      if (i + 1 == fields.size()) {
        out.line("return " + order + ";");
      } else {
        out.line("if (const auto by = " + order + "; by != 0) return by;");
      }
    }
  }
  out.outdent();
  out.line("}");
}

}  // namespace tdc
