// What becomes of one type: declarations for the header, definitions for the source.
#pragma once

#include <string>

#include "tdc/emit/Writer.h"
#include "tdc/model/Model.h"

namespace tdc {

/// The two files under way, and the namespace that is open in both.
struct Output {
  Writer header;
  Writer source;
};

/// An enumeration; a nested one inside its class, with `inClass`.
void declareEnumeration(Writer& out, const Type& type);
/// The functions by number and name; members of the enclosing class for a nested one.
void declareInstanceFunctions(Writer& out, const Type& type);
/// The free functions, behind the class.
void declareEnumerationFunctions(Writer& out, const Type& type);
void defineEnumeration(Writer& out, const Type& type);

void emitScope(Output& out, const Type& type);
void emitValue(Output& out, const Type& type);
void emitEntity(Output& out, const Type& type);

/// The descriptor tables and the module's record.
void emitTables(Writer& out, const Module& module);

}  // namespace tdc
