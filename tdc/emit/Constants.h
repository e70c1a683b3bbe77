// The constants of a class, and the messages of its ranges.
#pragma once

#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

void declareConstants(Writer& out, const Type& type);
/// What a class has no room for in its header.
void defineConstants(Writer& out, const Type& type);

}  // namespace tdc
