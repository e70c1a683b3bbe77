// How many bytes values take in the attribute log.
#pragma once

#include "tdc/model/Model.h"

namespace tdc {

/// Sets the sizes of a module's enumerations, values and unions where every instance has the same.
/// The order of definitions must be known.
void setEncodedSizes(Module& module);

}  // namespace tdc
