// Text inside HTML and SVG.
#pragma once

#include <string>
#include <string_view>

namespace stptool {

/// Safe between tags and in quoted attributes.
std::string markupEscaped(std::string_view text);

}  // namespace stptool
