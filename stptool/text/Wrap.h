// Lines that fit.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stptool {

/// Words joined by blanks, broken into lines of at most `width` columns; a word that is longer has
/// a line for itself.
std::vector<std::string> wrapped(const std::vector<std::string>& words, size_t width);

/// A text broken at blanks; unchanged where it fits. At least one line.
std::vector<std::string> wrapped(const std::string& text, size_t width);

/// A name in camel case broken before capitals, into lines of at most `width` columns where its
/// words allow that: "root", "Guard", "Inconsistent".
std::vector<std::string> brokenName(std::string_view name, size_t width);

/// A text without its ends of lines.
std::vector<std::string> linesOf(std::string_view text);

}  // namespace stptool
