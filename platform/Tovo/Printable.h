// Which text may be shown to people as it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tovo {

/// Bytes of the character at the start of the text when it may be shown, else 0. Not shown are what
/// is no UTF-8, controls, and what a reader cannot see but what changes how the rest looks: marks
/// of direction, of joining and of line ends, characters without width, tags.
size_t printableLength(std::string_view text) noexcept;

bool isPrintable(std::string_view text) noexcept;

/// The text with each byte of everything else as `\xHH`, so that it can neither command a terminal
/// nor look like another one.
std::string printable(std::string_view text);

}  // namespace Tovo
