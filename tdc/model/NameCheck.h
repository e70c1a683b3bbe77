// Names that would clash in C++.
#pragma once

#include "tdc/model/Model.h"
#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// Refuses names of namespaces, types and members that generated code cannot have beside those that
/// it has already. The types of the members must be resolved.
void checkNames(const syntax::File& file, const Module& module, Diagnostics& diagnostics);

}  // namespace tdc
