// What a module's tables say of attributes to tools: defaults, bounds, units, documentation, and
// how what is not simply stored is reached.
#pragma once

#include "tdc/emit/UniqueNames.h"
#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

/// The objects that details point at.
void emitDefaults(Writer& out, const Module& module, UniqueNames& names);
void emitCollections(Writer& out, const Module& module, UniqueNames& names);
/// A row an attribute; the first one is for all that the runtime itself has of an entity.
void emitDetails(Writer& out, const Module& module, UniqueNames& names);

}  // namespace tdc
