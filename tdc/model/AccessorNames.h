// The C++ names that a member occupies in its class.
#pragma once

#include <string>
#include <vector>

#include "tdc/model/Model.h"

namespace tdc {

/// The member's own name first, then those derived from it (`maxAgeIs`, `mcheckVerInc`,
/// `HN_DisabledVlan`, ...).
std::vector<std::string> accessorNames(const Member& member);

/// Names that the class of a type has before its members.
std::vector<std::string> reservedNames(const Type& type);

}  // namespace tdc
