// What an entity derives from.
#pragma once

#include <vector>

#include "tdc/model/Declared.h"
#include "tdc/model/TypeNames.h"
#include "tdc/syntax/Diagnostics.h"

namespace tdc {

/// Sets the bases, and sorts the types so that each stands behind its base. An entity that derives
/// from itself, or from no entity, is reported and has none.
void resolveBases(std::vector<Declared>& declared, const TypeNames& names,
                  Diagnostics& diagnostics);

}  // namespace tdc
