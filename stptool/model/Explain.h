// Why a value or a path is refused, and what is allowed instead.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Tovo/Directory.h"
#include "Tovo/Entity.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Module.h"
#include "stptool/output/Failure.h"

namespace stptool {

/// What an attribute, or a value of a collection, can be set to: "6 to 40 s", "one of discarding,
/// learning, forwarding", "true or false", "0 to 65535".
std::string allowedText(Tovo::Attribute attribute);

/// "/path: helloTime: '11' is refused: why; allowed: 1 to 10 s; default: 2", with all of it as
/// fields too. `reason` may be empty.
Failure refusal(const std::string& path, Tovo::Attribute attribute, std::string_view value,
                const std::string& reason);
/// The reason that a range exception of this attribute gives; empty where it only says that the
/// value is out of the range.
std::string reasonOf(Tovo::Attribute attribute, const Tovo::RangeException& error);

/// The names of a type's attributes, for suggestions; those of constants only on request.
std::vector<std::string> attributeNames(Tovo::TovoTypeBase type, bool withConstants = false);

/// "Stp::MstiPortHw has no 'portstate'; did you mean 'portState'?", or with all names.
std::string unknownAttributeText(Tovo::TovoTypeBase type, std::string_view name);
Failure unknownAttribute(const std::string& path, Tovo::TovoTypeBase type, std::string_view name);

/// A path that leads nowhere, with the name that was perhaps meant.
Failure withSuggestion(const Tovo::PathException& error);

/// The first sentence of a documentation text.
std::string firstSentence(const char* doc);

}  // namespace stptool
