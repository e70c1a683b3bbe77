// A member or free function of the C++ that is emitted: one object, from which both its declaration
// and its definition are printed.
#pragma once

#include <string>
#include <vector>

#include "tdc/emit/Writer.h"

namespace tdc {

struct Function {
  std::string doc;
  std::string prefix;  ///< "explicit", "static constexpr", ... in the declaration only
  std::string result;  ///< empty for constructors
  std::string name;
  std::vector<std::string> parameters;
  std::string suffix;     ///< "const noexcept", ...
  std::string override_;  ///< "override", in the declaration only
  std::vector<std::string> initializers;
  std::vector<std::string> body;
  enum class Place {
    header,  ///< defined where it is declared
    source,
    hand,  ///< defined in a file that is written by hand
    defaulted,
  } place = Place::header;
};

void printDeclaration(Writer& out, const Function& function);
/// The definition in the source; nothing for functions that have none there. `scope` is the class.
void printDefinition(Writer& out, const Function& function, const std::string& scope);

}  // namespace tdc
