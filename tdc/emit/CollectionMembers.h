// What the class of an entity has for each of its collections.
#pragma once

#include <string>
#include <vector>

#include "tdc/emit/ClassParts.h"
#include "tdc/model/Model.h"

namespace tdc {

/// Adds functions to those of a class, which must outlive this.
class CollectionMembers {
 public:
  CollectionMembers(const Type& type, MemberFunctions& functions)
      : space_(type.nameSpace), functions_(functions) {}

  void addOwn(const Member& member);
  void addReference(const Member& member);
  void addValues(const Member& member);

 private:
  std::string keyParameter(const Member& member) const;
  Function collectionFunction(const std::string& doc, const std::string& result,
                              const std::string& name, std::vector<std::string> parameters,
                              const std::string& suffix, const std::string& body) const;
  void addView(const Member& member, const std::string& view);
  void addDelAll(const Member& member);
  std::string ownerArguments(const Member& member) const;

  std::string space_;
  MemberFunctions& functions_;
};

}  // namespace tdc
