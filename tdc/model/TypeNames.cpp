#include "tdc/model/TypeNames.h"

#include <vector>

#include "tdc/model/ClassNames.h"

namespace tdc {

namespace {

/// `Stp::Input::Config` gives itself, then what is left without the last part, then nothing.
std::vector<std::string> outwards(std::string name) {
  std::vector<std::string> scopes;
  while (!name.empty()) {
    scopes.push_back(name);
    size_t colons = name.rfind("::");
    name.resize(colons == std::string::npos ? 0 : colons);
  }
  scopes.emplace_back();
  return scopes;
}

}  // namespace

void TypeNames::declare(const Type& type, Span where) {
  auto [known, added] = byName_.emplace(type.qualifiedName, &type);
  if (!added) {
    diagnostics_.error(where,
                       "type " + inQuotes(type.qualifiedName) + " is declared twice; rename one");
    diagnostics_.note(known->second->span, "it is declared here as well");
    if (where.begin != type.span.begin) diagnostics_.note(type.span, "and here");
  }
}

const Type* TypeNames::named(const std::string& qualifiedName) const {
  auto found = byName_.find(qualifiedName);
  return found == byName_.end() ? nullptr : found->second;
}

const Type* TypeNames::lookUp(const syntax::Word& name, const Type& user) const {
  if (const Type* type = builtIn(name.text)) return type;
  for (const Type* type = &user; type; type = type->base) {
    if (const Type* found = named(within(*type, name.text))) return found;
  }
  for (const std::string& scope : outwards(user.nameSpace)) {
    if (const Type* found = named(within(scope, name.text))) {
      return found;
    }
  }
  std::string suggestion;
  if (diagnostics_.suggests()) {
    std::vector<std::string> names = scalarWords([](const Scalar&) { return true; });
    std::string sameName;
    for (const auto& [qualifiedName, type] : byName_) {
      names.push_back(qualifiedName);
      bool near = type->nameSpace == user.nameSpace && !type->enclosing;
      near = near || type->enclosing == &user;
      if (near) {
        names.push_back(type->name);
      } else if (type->name == name.text) {
        sameName = qualifiedName;
      }
    }
    suggestion = sameName.empty() ? didYouMean(name.text, names)
                                  : "; did you mean " + inQuotes(sameName) + "?";
  }
  diagnostics_.error(name.span,
                     "there is no type " + inQuotes(name.text) +
                         (suggestion.empty() ? "; declare it, or import its module" : suggestion));
  return nullptr;
}

}  // namespace tdc
