// Which type a name stands for.
#pragma once

#include <map>
#include <string>

#include "tdc/model/Model.h"
#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// The types that a module can name: its own and those that it imports, directly or not.
class TypeNames {
 public:
  explicit TypeNames(Diagnostics& diagnostics) : diagnostics_(diagnostics) {}

  /// A name that stands already is reported at `where`. The type must outlive this.
  void declare(const Type& type, Span where);
  /// What `name` means in `user`: a built-in type, one within `user` or its bases, or one of the
  /// namespaces around it, the innermost first. Null where there is none, which is reported.
  const Type* lookUp(const syntax::Word& name, const Type& user) const;

 private:
  const Type* named(const std::string& qualifiedName) const;

  Diagnostics& diagnostics_;
  std::map<std::string, const Type*> byName_;
};

}  // namespace tdc
