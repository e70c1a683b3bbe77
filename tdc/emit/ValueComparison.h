// When values are equal, and which is less.
#pragma once

#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

void declareComparison(Writer& out, const Type& type);

}  // namespace tdc
