// Pieces of SVG.
#pragma once

#include <string>

namespace stptool {

/// The opening tag and a white page.
std::string svgStart(int width, int height);
std::string svgRect(int x, int y, int width, int height, int radius, const std::string& attributes);
/// A text of a class of the style sheet.
std::string svgLabel(int x, int y, const char* styleClass, const std::string& text);
std::string svgEscaped(const std::string& text);
/// Pixels that a text takes in a monospaced font of a size.
int svgWidth(const std::string& text, int fontSize);

}  // namespace stptool
