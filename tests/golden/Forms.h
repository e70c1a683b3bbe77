// What a type looks like outside this process: lines of the corpus.
#pragma once

#include <map>
#include <string>

#include "Tovo/Module.h"

namespace Golden {

/// "filled log" to the bytes in hexadecimal, and so on, in the order in which they are written.
using Forms = std::map<std::string, std::string>;

/// Default and filling as log bytes, text and JSON; of an entity the whole transfer, a line for
/// each message.
Forms formsOf(Tovo::TovoTypeBase type);

}  // namespace Golden
