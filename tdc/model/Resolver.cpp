#include "tdc/model/Resolver.h"

#include "tdc/model/Bases.h"
#include "tdc/model/Declarations.h"
#include "tdc/model/DefinitionOrder.h"
#include "tdc/model/EncodedSizes.h"
#include "tdc/model/MemberTypes.h"
#include "tdc/model/Members.h"
#include "tdc/model/NameCheck.h"
#include "tdc/model/TypeCheck.h"
#include "tdc/model/TypeNames.h"
#include "tdc/model/Values.h"

namespace tdc {

namespace {

/// Calls function(type, member, tree) for all members.
template <class Function>
void forEachMember(const std::vector<Declared>& declared, const Function& function) {
  for (const Declared& each : declared) {
    for (size_t i = 0; i < each.type->members.size(); ++i) {
      function(*each.type, each.type->members[i], *each.memberTrees[i]);
    }
  }
}

void resolveValues(const std::vector<Declared>& declared, Diagnostics& diagnostics) {
  Values values(diagnostics);
  // Constants first: ranges and defaults name them before they stand.
  for (const bool constants : {true, false}) {
    forEachMember(declared, [&](const Type&, Member& member, const syntax::Member& tree) {
      if (member.isConstant() == constants) values.resolve(member, tree);
    });
  }
  forEachMember(declared, [&](const Type&, const Member& member, const syntax::Member& tree) {
    values.check(member, tree);
  });
}

}  // namespace

void resolve(const syntax::File& file, Module& module, Diagnostics& diagnostics) {
  TypeNames names(diagnostics);
  std::optional<std::vector<Declared>> types = declareTypes(file, module, names, diagnostics);
  if (!types) return;
  resolveBases(*types, names, diagnostics);
  for (Declared& declared : *types) declareMembers(declared, diagnostics);
  MemberTypes members(names, diagnostics);
  forEachMember(*types, [&](Type& type, Member& member, const syntax::Member& tree) {
    members.resolveType(type, member, tree);
  });
  forEachMember(*types, [&](Type& type, Member& member, const syntax::Member& tree) {
    members.resolveReferences(type, member, tree);
  });
  for (const Declared& declared : *types) checkType(declared, diagnostics);
  const size_t errorsBefore = diagnostics.size();
  module.definitions = definitionOrder(module, diagnostics);
  if (diagnostics.size() == errorsBefore) {  // what holds itself has no value and no size
    resolveValues(*types, diagnostics);
    setEncodedSizes(module);
  }
  checkNames(file, module, diagnostics);
}

}  // namespace tdc
