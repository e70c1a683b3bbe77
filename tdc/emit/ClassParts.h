// What the classes of values and entities are printed alike with.
#pragma once

#include <string>
#include <vector>

#include "tdc/emit/Function.h"
#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

/// The member functions of a class; those of one attribute stand together.
class MemberFunctions {
 public:
  void add(Function function, const Member* member = nullptr);
  /// Above the functions of each attribute stand the constants that limit it.
  void declare(Writer& out) const;
  void define(Writer& out, const std::string& scope) const;

 private:
  struct Entry {
    const Member* member;
    Function function;
  };
  std::vector<Entry> entries_;
};

/// From the documentation to the nested enumerations; what is public follows. `base` with the
/// keyword, or empty.
void openClass(Writer& out, const Type& type, const std::string& base);
/// The private part, up to the friend who knows the offsets.
void openPrivate(Writer& out, const Type& type);
void closeClass(Writer& out);

}  // namespace tdc
