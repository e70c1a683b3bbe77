// Colour, where somebody sees it.
#pragma once

#include <string>
#include <string_view>

namespace stptool {

enum class Style { plain, name, type, number, added, removed };

/// On by default when standard output is a terminal and NO_COLOR is not set.
bool colourIsOn() noexcept;

std::string styled(Style style, std::string_view text);

}  // namespace stptool
