// What members say of types and of other members.
#pragma once

#include <string>

#include "tdc/model/Model.h"
#include "tdc/model/TypeNames.h"
#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// Resolves members one by one. All types must have their members and bases.
class MemberTypes {
 public:
  MemberTypes(const TypeNames& names, Diagnostics& diagnostics)
      : names_(names), diagnostics_(diagnostics) {}

  /// The types that a member names.
  void resolveType(Type& type, Member& member, const syntax::Member& tree);
  /// The fields, keys and parameters that a member names. All types of members must be resolved.
  void resolveReferences(Type& type, Member& member, const syntax::Member& tree);

 private:
  const Type* elementType(const Type& owner, const syntax::Member& tree, TypeKind wanted);
  /// A type that can be held by value.
  TypeUse storedType(const Type& owner, const syntax::TypeUse& tree, MemberKind kind);
  const Type* keyType(const Type& owner, const syntax::TypeUse& tree);
  void reportNoKey(Span where, const std::string& name, const Type& type);
  std::string suggest(const Type& type, const std::string& name) const;
  void resolveBits(const Type& type, Member& member, const syntax::Member& tree);
  void checkBitsType(const Member& member, const syntax::Member& tree);
  void resolveOwn(Member& member, const syntax::Member& tree);
  void resolveSet(Member& member, const syntax::Member& tree);

  const TypeNames& names_;
  Diagnostics& diagnostics_;
};

}  // namespace tdc
