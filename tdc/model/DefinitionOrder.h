// The order in which C++ wants the types of a module.
#pragma once

#include <vector>

#include "tdc/model/Model.h"
#include "tdc/syntax/Diagnostics.h"

namespace tdc {

/// The module's declarations, each behind what must be complete before it. A cycle is an error.
std::vector<const Type*> definitionOrder(const Module& module, Diagnostics& diagnostics);

}  // namespace tdc
