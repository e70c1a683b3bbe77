// What reflection says of the registered modules, as pages.
#pragma once

#include <vector>

#include "stptool/reference/Page.h"

namespace stptool {

/// The index, then a page for each module in the order of registration.
std::vector<Page> modelPages();

}  // namespace stptool
