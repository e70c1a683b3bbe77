// Names for what stands in a module's tables, where types of all namespaces meet.
#pragma once

#include <map>
#include <set>
#include <string>

#include "tdc/model/Model.h"

namespace tdc {

class UniqueNames {
 public:
  /// Of what belongs to a type; `what` is one of `TableNames`.
  std::string ofTable(const Type& type, const std::string& what) { return unique(type, "/", what); }
  /// Of what belongs to a member.
  std::string ofMember(const Type& type, const Member& member) {
    return unique(type, "::", member.name);
  }

 private:
  /// Underscores join the parts; where other parts gave that name already, more of them end it.
  std::string unique(const Type& type, const std::string& separator, const std::string& name);

  std::map<std::string, std::string> names_;
  std::set<std::string> taken_;
};

}  // namespace tdc
