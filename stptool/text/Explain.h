// Why a value is refused, and what is allowed instead.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Module.h"

namespace stptool {

/// What an attribute, or a value of a collection, can be set to: "6 to 40 s", "one of discarding,
/// learning, forwarding", "true or false", "0 to 65535".
std::string allowedText(Tovo::Attribute attribute);

/// "portState: 'blocking' is refused: ...; allowed: ...".
std::string refusedText(Tovo::Attribute attribute, std::string_view value,
                        const Tovo::RangeException& error);

/// The names of a type's attributes, for suggestions; those of constants only on request.
std::vector<std::string> attributeNames(Tovo::TovoTypeBase type, bool withConstants = false);

/// "Stp::MstiPortHw has no 'portstate'; did you mean 'portState'?", or with all names.
std::string unknownAttributeText(Tovo::TovoTypeBase type, std::string_view name);

/// The first sentence of a documentation text.
std::string firstSentence(const char* doc);

}  // namespace stptool
