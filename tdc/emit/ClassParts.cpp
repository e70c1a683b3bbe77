#include "tdc/emit/ClassParts.h"

#include <utility>

#include "tdc/emit/ClassModel.h"
#include "tdc/emit/Constants.h"
#include "tdc/emit/CppNames.h"

namespace tdc {

void MemberFunctions::add(Function function, const Member* member) {
  entries_.push_back({member, std::move(function)});
}

void MemberFunctions::declare(Writer& out) const {
  const Member* group = entries_.empty() ? nullptr : entries_.front().member;
  for (const Entry& entry : entries_) {
    if (entry.member != group) {
      out.line();
      if (entry.member) declareConstantsBeside(out, *entry.member);
    }
    group = entry.member;
    printDeclaration(out, entry.function);
  }
}

void MemberFunctions::define(Writer& out, const std::string& scope) const {
  for (const Entry& entry : entries_) printDefinition(out, entry.function, scope);
}

void openClass(Writer& out, const Type& type, const std::string& base) {
  out.doc(type.doc);
  out.line("class TDL_EXPORT " + type.name + (base.empty() ? "" : " : " + base) + " {");
  out.line(" public:");
  out.indent();
  for (const Type* nested : type.nested) {
    declareEnumeration(out, *nested);
    declareInstanceFunctions(out, *nested);
    out.line();
  }
}

void openPrivate(Writer& out, const Type& type) {
  out.outdent();
  out.line();
  out.line(" private:");
  out.indent();
  out.line("friend struct ::" + nameOf(*type.module, Derived::tables) + ";");
}

void closeClass(Writer& out) {
  out.outdent();
  out.line("};");
  out.line();
}

}  // namespace tdc
