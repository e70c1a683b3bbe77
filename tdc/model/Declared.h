// A type that is being resolved, beside what the file says of it.
#pragma once

#include <vector>

#include "tdc/model/Model.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// Of a value, union, entity or scope; enumerations are complete when they are declared.
struct Declared {
  Type* type = nullptr;
  const syntax::Type* tree = nullptr;
  /// What the type's members are made from, in the same order.
  std::vector<const syntax::Member*> memberTrees;
};

}  // namespace tdc
