// The classes by which an entity holds the entries of its collections.
#pragma once

#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

void declareNodes(Writer& out, const Type& type);
/// What reads the keys of owned entities. The maps that use it come behind it.
void defineFunktors(Writer& out, const Type& type);

}  // namespace tdc
