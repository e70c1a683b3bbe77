// The generic text form of registered values, printed and read by their descriptors.
#pragma once

#include <cstdint>
#include <string>

#include "Pelmo/String.h"
#include "Tovo/CharRange.h"
#include "Tovo/Types.h"

namespace TovoPelmo {

namespace Impl {

/// "Value('Stp::PortId', portPriority=128, portNumber=5)"; the bare field for a type of one field,
/// "Value('Stp::Constants')" for one without, the held alternative of a union.
Pelmo::String valueToStrep(const Tovo::TovoModule* module, uint32_t index, const void* value);

}  // namespace Impl

void appendValue(std::string& out, Tovo::TovoTypeBase type, const void* value);

/// Reads the same form into a constructed value of the type, field by field. Throws RangeException
/// with the field's name; the value is then to be thrown away.
void parseValue(Tovo::CharRange& text, Tovo::TovoTypeBase type, void* value);

}  // namespace TovoPelmo
