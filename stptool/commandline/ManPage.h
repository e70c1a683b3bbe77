// The manual.
#pragma once

#include <string>

#include "stptool/commandline/Description.h"

namespace stptool {

/// A page for man(1).
std::string manPage(const ToolDescription& tool);

}  // namespace stptool
