// Defaults, constants and ranges.
#pragma once

#include <set>

#include "tdc/model/Model.h"
#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// Resolves the values of a module's members. Members come constants first, bases before what
/// derives from them, and in the order of declaration, which decides what a default may name.
class Values {
 public:
  explicit Values(Diagnostics& diagnostics) : diagnostics_(diagnostics) {}

  void resolve(Member& member, const syntax::Member& tree);
  /// Checks what a member starts from against the ranges. All members must be resolved.
  void check(const Member& member, const syntax::Member& tree);

 private:
  void resolveDefault(Member& member, const syntax::Default& tree);
  void resolveWord(Member& member, const syntax::Default& tree);
  void resolveNumber(Member& member, const syntax::Default& tree);
  bool takeFrom(Member& member, const Member& origin, const syntax::Default& tree);
  void resolveRange(Member& member, const syntax::Range& tree);
  bool resolveBound(const Member& member, const syntax::Bound& tree, Bound& bound);
  void reportOutside(const Member& member, const Member& checked, uint64_t number,
                     const syntax::Member& tree);
  bool known(const Member& member, const Member& origin) const;
  void mismatch(const Member& member, Span where, const std::string& found);

  Diagnostics& diagnostics_;
  std::set<const Member*> resolved_;
};

}  // namespace tdc
