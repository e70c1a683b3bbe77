// How a module's tables name types: by the code of a primitive, or by the place in the list of
// types that the module refers to.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tdc/model/Model.h"

namespace tdc {

class TypeCodes {
 public:
  explicit TypeCodes(const Module& module);

  /// The expression for a type; "0" for none.
  std::string of(const Type* type) const;
  /// The type by which a member's elements are addressed.
  std::string ofKey(const Member& member) const;
  /// The types that are referred to, in the order of their codes.
  const std::vector<const Type*>& references() const { return order_; }

 private:
  void add(const Type& type);

  std::map<const Type*, size_t> places_;
  std::vector<const Type*> order_;
};

}  // namespace tdc
