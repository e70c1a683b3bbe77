// One file's syntax tree to types and members.
#pragma once

#include "tdc/model/Model.h"
#include "tdc/syntax/Diagnostics.h"
#include "tdc/syntax/Tree.h"

namespace tdc {

/// Fills the module's types from the tree; the imports must be in `module` already. Adds what is
/// wrong to the diagnostics. The tree is needed during the call only.
void resolve(const syntax::File& file, Module& module, Diagnostics& diagnostics);

}  // namespace tdc
