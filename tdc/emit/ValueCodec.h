// How values go to the attribute log and come from there.
#pragma once

#include <vector>

#include "tdc/emit/Function.h"
#include "tdc/model/Model.h"

namespace tdc {

/// The constructor from the log.
Function logConstructor(const Type& type);
/// The members of a value of fixed size; none for others.
std::vector<Function> codecMembers(const Type& type);
/// The functions beside a value of variable size; none for others.
std::vector<Function> codecFunctions(const Type& type);

}  // namespace tdc
