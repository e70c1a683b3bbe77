// A type that a person names.
#pragma once

#include <string>

#include "Tovo/Module.h"

namespace stptool {

/// By the full name, or by the part behind the namespaces where only one type has it. Throws
/// Failure, with a suggestion.
Tovo::TovoTypeBase findType(const std::string& name);

/// A value type, a union or an enumeration. Throws Failure.
Tovo::TovoTypeBase findValueType(const std::string& name);

/// An entity type. Throws Failure.
Tovo::TovoTypeBase findEntityType(const std::string& name);

}  // namespace stptool
