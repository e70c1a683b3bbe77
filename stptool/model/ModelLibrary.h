// The libraries that bring types into the process.
#pragma once

#include <string>
#include <vector>

namespace stptool {

/// Loads model libraries; with none named, the standard one. A name without a slash is searched for
/// next to the tool and where the system keeps libraries. Throws Failure.
void loadModelLibraries(const std::vector<std::string>& files);

}  // namespace stptool
