// The rows by which the runtime knows attributes.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tdc/emit/TypeCodes.h"
#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

class AttributeTable {
 public:
  void emit(Writer& out, const Module& module, const TypeCodes& codes);

  /// Where the rows of a type begin; 0 for a type without any. After emit(), as the names.
  size_t firstRow(const Type& type) const;
  /// The names that rows point at, in order.
  const std::vector<std::string>& names() const { return names_; }

 private:
  /// Where a name stands among the others; all of them end with a zero.
  size_t nameOffset(const std::string& name);

  std::map<std::string, size_t> nameOffsets_;
  std::vector<std::string> names_;
  size_t nameBytes_ = 0;
  std::map<const Type*, size_t> firstRows_;
};

}  // namespace tdc
