// What the runtime is told of entities beyond their attributes.
#pragma once

#include "tdc/emit/UniqueNames.h"
#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

/// The attributes of each entity that travel together.
void emitRuns(Writer& out, const Module& module, UniqueNames& names);
/// How the runtime makes and sends entities.
void emitHooks(Writer& out, const Module& module, UniqueNames& names);

}  // namespace tdc
