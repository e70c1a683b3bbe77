// The members of a type as they are written, and their ids.
#pragma once

#include "tdc/model/Declared.h"
#include "tdc/syntax/Diagnostics.h"

namespace tdc {

/// Gives a type its members, without what they say of types and other members. The type's base must
/// be known, since ids go on behind those of the base; an id out of sequence is reported.
void declareMembers(Declared& declared, Diagnostics& diagnostics);

}  // namespace tdc
