#include "tdc/model/ClassNames.h"

#include <algorithm>
#include <iterator>

namespace tdc {

namespace {

enum class Spelling { asDeclared, capital, lowered };

struct DerivedName {
  Derived what;
  const char* before;
  Spelling declared;
  const char* behind;
};

constexpr DerivedName derivedNames[] = {
    {Derived::keyFunktor, "", Spelling::capital, "KeyFunktor"},
    {Derived::setter, "", Spelling::asDeclared, "Is"},
    {Derived::increment, "", Spelling::asDeclared, "Inc"},
    {Derived::push, "", Spelling::asDeclared, "Push"},
    {Derived::pop, "", Spelling::asDeclared, "Pop"},
    {Derived::popAll, "", Spelling::asDeclared, "PopAll"},
    {Derived::elementTag, "VE_", Spelling::capital, ""},
    {Derived::eraser, "", Spelling::asDeclared, "Del"},
    {Derived::clearer, "", Spelling::asDeclared, "DelAll"},
    {Derived::contains, "", Spelling::asDeclared, "Contains"},
    {Derived::node, "HN_", Spelling::capital, ""},
    {Derived::storage, "", Spelling::asDeclared, "_"},
    {Derived::rangeMessage, "", Spelling::asDeclared, "Range"},
    {Derived::creator, "", Spelling::asDeclared, "Is"},
    {Derived::factory, "", Spelling::lowered, "Factory"},
    {Derived::instance, "", Spelling::asDeclared, "Instance"},
    {Derived::tables, "", Spelling::asDeclared, "Tables"},
};

constexpr bool inOrder() {
  for (size_t i = 0; i < std::size(derivedNames); ++i) {
    if (derivedNames[i].what != static_cast<Derived>(i)) return false;
  }
  return true;
}
static_assert(std::size(derivedNames) == static_cast<size_t>(Derived::tables) + 1 && inOrder(),
              "a row for each derived name, in the order of the enumeration");

const DerivedName& rowOf(Derived what) { return derivedNames[static_cast<size_t>(what)]; }

std::string derived(const std::string& declared, Derived what) {
  const DerivedName& row = rowOf(what);
  const std::string name = row.declared == Spelling::capital   ? capital(declared)
                           : row.declared == Spelling::lowered ? lowered(declared)
                                                               : declared;
  return row.before + name + row.behind;
}

/// What a member has besides its own name, its storage and the message of its range.
std::vector<Derived> accessorsOf(const Member& member) {
  using enum Derived;
  switch (member.kind) {
    case MemberKind::constant:
    case MemberKind::query:
    case MemberKind::parameter:
    case MemberKind::key:
      return {};
    case MemberKind::field:
      if (member.fixed) return {};
      return {setter};
    case MemberKind::attribute:
    case MemberKind::pointer:
    case MemberKind::bits:
    case MemberKind::alternative:
      return {setter};
    case MemberKind::counter:
      return {setter, increment};
    case MemberKind::list:
      return {setter, push, pop, popAll, elementTag};
    case MemberKind::indexed:
      return {setter, eraser};
    case MemberKind::own:
    case MemberKind::set:
      return {keyFunktor, setter, eraser, clearer, contains, node};
    case MemberKind::reference:
    case MemberKind::map:
      return {setter, eraser, clearer, contains, node};
  }
  return {};
}

}  // namespace

std::vector<std::string> cppTypes() {
  std::vector<std::string> types = {"size_t"};
  for (const Scalar& scalar : scalars) {
    const std::string type = scalar.cppType;
    if (type.find("::") == std::string::npos) types.push_back(type);
  }
  return types;
}

std::string lowered(const std::string& name) {
  std::string out = name;
  if (out[0] >= 'A' && out[0] <= 'Z') out[0] = static_cast<char>(out[0] - 'A' + 'a');
  return out;
}

std::string capital(const std::string& name) {
  std::string out = name;
  if (out[0] >= 'a' && out[0] <= 'z') out[0] = static_cast<char>(out[0] - 'a' + 'A');
  return out;
}

std::string nameOf(const Member& member, Derived what) { return derived(member.name, what); }
std::string nameOf(const Type& type, Derived what) { return derived(type.name, what); }
std::string nameOf(const Module& module, Derived what) { return derived(module.name, what); }

bool looksLike(const std::string& name, Derived what) {
  return name.starts_with(rowOf(what).before) && name.ends_with(rowOf(what).behind);
}

std::string recordName(const Module& module) {
  return "_" + module.name + "_" + module.record + "_tovoModule";
}
std::string headerName(const Module& module) { return module.name + ".h"; }
std::string sourceName(const Module& module) { return module.name + ".cpp"; }
std::string descriptionName(const std::string& module) { return module + ".tdl"; }

std::string within(const std::string& scope, const std::string& name) {
  return scope.empty() ? name : scope + "::" + name;
}
std::string within(const Type& scope, const std::string& name) {
  return within(scope.qualifiedName, name);
}

std::string keyName(const Member* keyMember) {
  return keyMember ? keyMember->name : EntityNames::name.name;
}

std::string besideParameters(const Member& member, const std::string& name) {
  const bool taken = std::any_of(member.parameters.begin(), member.parameters.end(),
                                 [&](const Member* each) { return each->name == name; });
  return taken ? derived(name, Derived::storage) : name;
}

std::string writtenName(const Type& type, const std::string& nameSpace) {
  const bool shared = type.nameSpace == nameSpace && !nameSpace.empty();
  return shared ? type.qualifiedName.substr(nameSpace.size() + 2) : type.qualifiedName;
}

bool hasRangeMessage(const Member& member) {
  return member.range || member.owner->number() == &member;
}

std::vector<std::string> memberNames(const Member& member) {
  std::vector<std::string> names = {member.name};
  for (const Derived accessor : accessorsOf(member)) names.push_back(nameOf(member, accessor));
  if (member.isStored()) names.push_back(nameOf(member, Derived::storage));
  if (hasRangeMessage(member)) names.push_back(nameOf(member, Derived::rangeMessage));
  return names;
}

}  // namespace tdc
