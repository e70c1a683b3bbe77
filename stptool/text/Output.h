// Standard output, written whole.
#pragma once

#include <string>
#include <string_view>

namespace stptool {

/// Writes all of a text to standard output. False when the reader has gone, which is no error: a
/// pipe into `head` ends that way. Throws Failure for other trouble, such as a full disk.
bool writeOut(std::string_view text);

/// Columns of the terminal that standard output is, or 120.
size_t outputWidth() noexcept;

/// One line "stptool: message" on standard error.
void complain(std::string_view message);

/// Writes a file as a whole: it appears complete or not at all. Throws Failure.
void writeFile(const std::string& file, std::string_view text);

}  // namespace stptool
