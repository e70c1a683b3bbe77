#include "tdc/model/NameCheck.h"

#include <algorithm>
#include <map>
#include <set>

#include "tdc/model/ClassNames.h"

namespace tdc {

namespace {

std::vector<std::string> partsOf(const std::string& qualifiedName) {
  std::vector<std::string> parts;
  for (size_t at = 0; at < qualifiedName.size();) {
    const size_t end = std::min(qualifiedName.find("::", at), qualifiedName.size());
    parts.push_back(qualifiedName.substr(at, end - at));
    at = end + 2;
  }
  return parts;
}

template <class List>
bool contains(const List& list, const std::string& name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

const Type& outermost(const Type& type) { return type.enclosing ? *type.enclosing : type; }

/// Why a name is not free in a class.
struct Claim {
  std::string what;
  Span where;
  const Member* member = nullptr;
  const Type* type = nullptr;  ///< that the name stands for
  bool used = false;           ///< by the class, for a type or for the namespace of some
};

/// The names within one class.
class ClassCheck {
 public:
  ClassCheck(const Type& type, Diagnostics& diagnostics) : type_(type), diagnostics_(diagnostics) {}

  void run() {
    claimWhatEveryClassHas();
    for (const Type* base = type_.base; base; base = base->base) {
      for (const Member& member : base->members) claimInherited(member);
    }
    for (const Type* nested : type_.nested) claimEnumeration(*nested, true);
    for (const Type* base = type_.base; base; base = base->base) {
      for (const Type* nested : base->nested) claimEnumeration(*nested, false);
    }
    for (const Member& member : type_.members) claimTypes(member);
    for (const Member& member : type_.members) claimMember(member);
  }

 private:
  void claimWhatEveryClassHas() {
    for (const std::string& name : cppTypes()) {
      claims_.emplace(name, Claim{"a type of C++ that generated code uses", {}});
    }
    for (const Type* at = &type_; at; at = at->base) {
      const std::string own = at == &type_ ? "its class" : "its base";
      claims_.emplace(at->name, Claim{"the name of " + own, at->span, nullptr, at});
      if (at->isEntity()) {
        claims_.emplace(nameOf(*at, Derived::creator),
                        Claim{"what makes " + inQuotes(at->name), at->span});
      }
    }
    if (type_.kind == TypeKind::scope) return;
    const auto claim = [&](const TakenName& taken) {
      const std::string kind = type_.isEntity() ? "entity" : "value";
      claims_.emplace(taken.name,
                      Claim{"what every " + kind + " has (it " + taken.meaning + ")", {}});
    };
    if (type_.isEntity()) {
      for (const TakenName& taken : EntityNames::all) claim(taken);
      if (!type_.keyMember()) claim(EntityNames::name);
    } else {
      for (const TakenName& taken : ValueNames::all) claim(taken);
      if (!type_.identityHash) claim(ValueNames::hash);
    }
  }

  void claimInherited(const Member& member) {
    const Claim claim{"", member.span, &member};
    for (const std::string& name : memberNames(member)) {
      claims_.emplace(name, claim);
      if (name == type_.name || name == nameOf(type_, Derived::creator)) {
        report(type_.span, inQuotes(type_.name), type_.name, name, claim);
      }
    }
  }

  /// An enumeration may have the name of one in a base: each is named with its class.
  void claimEnumeration(const Type& nested, bool own) {
    const Claim claim{"enumeration " + inQuotes(nested.name), nested.span, nullptr, &nested};
    for (const std::string& name : {nested.name, nameOf(nested, Derived::instance)}) {
      const auto [known, added] = claims_.emplace(name, claim);
      if (!added && own) {
        report(nested.span, "enumeration " + inQuotes(nested.name), nested.name, name,
               known->second);
        return;
      }
    }
  }

  /// What the class writes to name the types of its members must mean them there.
  void claimTypes(const Member& member) {
    std::vector<const Type*> used = {member.type.type, member.key};
    for (const Member* parameter : member.parameters) used.push_back(parameter->type.type);
    for (const Type* type : used) {
      if (!type || type->isBuiltIn()) continue;
      const std::string written = partsOf(writtenName(*type, type_.nameSpace)).front();
      const Claim claim{"type " + inQuotes(type->qualifiedName) + ", which the class uses",
                        type->span, nullptr, &outermost(*type), true};
      const auto [known, added] = claims_.emplace(written, claim);
      if (added || known->second.used || known->second.type == claim.type) continue;
      diagnostics_.error(member.span, inQuotes(member.name) + " cannot have the type " +
                                          inQuotes(type->qualifiedName) + ", since " +
                                          inQuotes(written) + " is " + whatIs(known->second) +
                                          " there; rename one");
      note(known->second);
    }
  }

  void claimMember(const Member& member) {
    if (looksLike(member.name, Derived::storage)) {
      diagnostics_.error(member.span, inQuotes(member.name) +
                                          " ends with an underscore, as what a class stores does; "
                                          "take it away");
      return;
    }
    if (member.isConstant() && member.name == "value") {
      diagnostics_.error(member.span,
                         "'value' is the parameter of every setter, which would hide the constant; "
                         "choose another name");
      return;
    }
    const bool isHash = member.kind == MemberKind::query && member.name == ValueNames::hash.name;
    if (type_.identityHash && !isHash && member.name == ValueNames::hash.name) {
      diagnostics_.error(member.span, "'hash' is the hash of the value; make it a 'query'");
      return;
    }
    for (const std::string& name : memberNames(member)) {
      const auto [known, added] = claims_.emplace(name, Claim{"", member.span, &member});
      if (added) continue;
      const Member* other = known->second.member;
      if (other && other->name == member.name) {
        diagnostics_.error(member.span, "name " + inQuotes(member.name) + " stands already in " +
                                            (other->owner == &type_ ? "" : "the base ") +
                                            inQuotes(other->owner->name) + "; rename one");
        diagnostics_.note(other->span, "it stands here");
      } else {
        report(member.span, inQuotes(member.name), member.name, name, known->second);
      }
      return;
    }
  }

  static std::string whatIs(const Claim& claim) {
    return claim.member ? "a name of " + inQuotes(claim.member->name) : claim.what;
  }

  void report(Span where, const std::string& subject, const std::string& own,
              const std::string& name, const Claim& known) {
    std::string what = known.what;
    if (known.member) {
      what = inQuotes(known.member->name) +
             (name == known.member->name ? "" : ", which has " + inQuotes(name) + " as well");
    }
    const std::string derived = name == own ? "" : ", by its " + inQuotes(name) + ",";
    const bool fixed = !known.where.file;
    diagnostics_.error(where, subject + derived + " clashes with " + what +
                                  (fixed ? "; choose another name" : "; rename one"));
    note(known);
  }

  void note(const Claim& claim) { diagnostics_.note(claim.where, "that is declared here"); }

  const Type& type_;
  Diagnostics& diagnostics_;
  std::map<std::string, Claim> claims_;
};

/// The names within namespaces.
class ModuleCheck {
 public:
  ModuleCheck(const syntax::File& file, const Module& module, Diagnostics& diagnostics)
      : file_(file), module_(module), diagnostics_(diagnostics) {
    claimTypesOf(module);
    for (const Module* imported : module.reachable) claimTypesOf(*imported);
  }

  void run() {
    for (const auto& declaration : file_.declarations) {
      if (const auto* entered = std::get_if<syntax::Namespace>(&declaration)) {
        checkNamespace(entered->name);
      }
    }
    for (const std::unique_ptr<Type>& type : module_.owned) checkType(*type);
    for (const Type* type : module_.declarations) ClassCheck(*type, diagnostics_).run();
  }

 private:
  void claimTypesOf(const Module& module) {
    for (const std::unique_ptr<Type>& type : module.owned) {
      const std::vector<std::string> parts = partsOf(type->nameSpace);
      if (!parts.empty()) outer_.insert(parts.front());
      if (!type->enclosing) free_.emplace(type->qualifiedName, type.get());
    }
  }

  /// From within another namespace, generated code names these by their first part.
  bool isOuter(const std::string& name) const {
    return contains(runtimeNamespaces, name) || outer_.count(name) != 0;
  }

  /// Code in a namespace does not name it, unless from another one within.
  bool isOwnNamespace(const Type& type) const {
    const std::string inside = within(type.nameSpace, "");
    return type.name == type.nameSpace &&
           std::none_of(module_.owned.begin(), module_.owned.end(),
                        [&](const auto& other) { return other->nameSpace.starts_with(inside); });
  }

  void checkNamespace(const syntax::Word& name) {
    const std::vector<std::string> parts = partsOf(name.text);
    if (contains(runtimeNamespaces, parts.front()) || contains(tableTypes, parts.front()) ||
        parts.front() == nameOf(module_, Derived::tables)) {
      diagnostics_.error(name.span, "namespace " + inQuotes(parts.front()) +
                                        " has a name that generated code uses; choose another");
      return;
    }
    std::string path;
    for (const std::string& part : parts) {
      const bool first = path.empty();
      if (!first && isOuter(part)) {
        diagnostics_.error(name.span, inQuotes(part) + " within " + inQuotes(path) +
                                          " would hide the namespace " + inQuotes(part) +
                                          " from generated code; choose another name");
        return;
      }
      path = within(path, part);
      const auto type = free_.find(path);
      if (type == free_.end()) continue;
      diagnostics_.error(name.span, "namespace " + inQuotes(path) +
                                        " clashes with the type of that name; rename one");
      note(*type->second);
      return;
    }
  }

  void checkType(const Type& type) {
    const std::string what = "type " + inQuotes(type.name);
    const auto isTaken = [&](const TakenName& taken) { return taken.name == type.name; };
    if (capital(type.name) != type.name || type.name.front() == '_') {
      diagnostics_.error(type.span, what +
                                        " begins with no capital letter, as functions and "
                                        "parameters of generated code do; write it with one");
    } else if (isOuter(type.name) && !isOwnNamespace(type)) {
      diagnostics_.error(type.span, what + " would hide the namespace " + inQuotes(type.name) +
                                        " from generated code; choose another name");
    } else if (contains(flowTypes, type.name) ||
               std::any_of(std::begin(EntityNames::all), std::end(EntityNames::all), isTaken)) {
      diagnostics_.error(type.span, what +
                                        " clashes with a class of the runtime that every entity "
                                        "has; choose another name");
    }
    if (type.kind != TypeKind::enumeration || type.enclosing) return;
    const std::string function = nameOf(type, Derived::instance);
    const auto [known, added] = free_.emplace(within(type.nameSpace, function), &type);
    if (added || known->second->qualifiedName == type.qualifiedName) return;
    diagnostics_.error(type.span, inQuotes(type.name) + ", by its " + inQuotes(function) +
                                      ", clashes with the type of that name; rename one");
    note(*known->second);
  }

  void note(const Type& type) { diagnostics_.note(type.span, "that is declared here"); }

  const syntax::File& file_;
  const Module& module_;
  Diagnostics& diagnostics_;
  std::set<std::string> outer_;
  std::map<std::string, const Type*> free_;
};

}  // namespace

void checkNames(const syntax::File& file, const Module& module, Diagnostics& diagnostics) {
  ModuleCheck(file, module, diagnostics).run();
}

}  // namespace tdc
