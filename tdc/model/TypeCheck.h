// What must hold between the members and the flags of one type.
#pragma once

#include "tdc/model/Declared.h"
#include "tdc/syntax/Diagnostics.h"

namespace tdc {

/// Reports keys and parameters out of place, alternatives of one type twice, and flags that the
/// members do not allow. The members must be resolved.
void checkType(const Declared& declared, Diagnostics& diagnostics);

}  // namespace tdc
