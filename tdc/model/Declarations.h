// The types that a file declares, with the literals of enumerations.
#pragma once

#include <optional>
#include <vector>

#include "tdc/model/Declared.h"
#include "tdc/model/TypeNames.h"
#include "tdc/syntax/Diagnostics.h"

namespace tdc {

/// Gives the module its types, which have no bases and no members yet. None where there are too
/// many, which is reported.
std::optional<std::vector<Declared>> declareTypes(const syntax::File& file, Module& module,
                                                  TypeNames& names, Diagnostics& diagnostics);

}  // namespace tdc
