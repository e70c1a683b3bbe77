// The constants of a class, and the messages of its ranges.
#pragma once

#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

/// Those that stand beside no attribute.
void declareConstants(Writer& out, const Type& type);
/// The bounds and the start of an attribute or field, as far as they have names and stand beside no
/// earlier one, and what is said when a number is refused.
void declareConstantsBeside(Writer& out, const Member& member);
/// What a class has no room for in its header.
void defineConstants(Writer& out, const Type& type);

}  // namespace tdc
