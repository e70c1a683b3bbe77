// The order in which people expect names.
#pragma once

#include <string_view>

namespace stptool {

/// True when `a` comes first: runs of digits count as numbers, so Ethernet2 comes before
/// Ethernet10. A strict order over all texts.
bool naturalLess(std::string_view a, std::string_view b) noexcept;

}  // namespace stptool
