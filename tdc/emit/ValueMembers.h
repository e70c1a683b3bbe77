// What the class of a value or a union has for each of its members.
#pragma once

#include <string>

#include "tdc/emit/ClassParts.h"
#include "tdc/model/Model.h"

namespace tdc {

/// Adds functions to those of a class, which must outlive this.
class ValueMembers {
 public:
  ValueMembers(const Type& type, MemberFunctions& functions)
      : space_(type.nameSpace), functions_(functions) {}

  void add(const Member& member);

 private:
  void addGetter(const Member& member, const std::string& doc, const std::string& expression);
  void addField(const Member& member);
  void addList(const Member& member);
  void addBits(const Member& member);
  void addIndexed(const Member& member);
  void addQuery(const Member& member);
  void addAlternative(const Member& member);

  std::string space_;
  MemberFunctions& functions_;
};

}  // namespace tdc
