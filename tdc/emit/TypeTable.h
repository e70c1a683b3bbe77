// The rows by which the runtime knows types.
#pragma once

#include "tdc/emit/AttributeTable.h"
#include "tdc/emit/TypeCodes.h"
#include "tdc/emit/UniqueNames.h"
#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

/// The attributes must have been emitted.
void emitTypes(Writer& out, const Module& module, const TypeCodes& codes,
               const AttributeTable& attributes, UniqueNames& names);

}  // namespace tdc
