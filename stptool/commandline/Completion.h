// What could be typed next.
#pragma once

#include <string>
#include <vector>

#include "stptool/commandline/Description.h"

namespace stptool {

/// The words behind "stptool", the last one being the one to complete. A candidate a line, with a
/// tab and a few words about it where there is something to say; one that ends in '/' goes on. The
/// line ":file" asks the shell for file names. Nothing, and no message, when nothing is known: no
/// server, no library, a path that leads nowhere.
std::string completions(const ToolDescription& tool, const std::vector<std::string>& words);

}  // namespace stptool
