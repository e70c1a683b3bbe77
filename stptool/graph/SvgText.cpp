#include "stptool/graph/SvgText.h"

#include "Tovo/Printable.h"
#include "stptool/text/Markup.h"
#include "stptool/text/Table.h"

namespace stptool {

std::string svgEscaped(const std::string& text) { return markupEscaped(Tovo::printable(text)); }

std::string svgStart(int width, int height) {
  const std::string w = std::to_string(width);
  const std::string h = std::to_string(height);
  return "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + w + "\" height=\"" + h +
         "\" viewBox=\"0 0 " + w + " " + h +
         "\" font-family=\"monospace\">\n<rect width=\"100%\" height=\"100%\" fill=\"#fff\"/>\n";
}

std::string svgRect(int x, int y, int width, int height, int radius,
                    const std::string& attributes) {
  return "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" width=\"" +
         std::to_string(width) + "\" height=\"" + std::to_string(height) + "\" rx=\"" +
         std::to_string(radius) + "\" " + attributes + "/>\n";
}

std::string svgLabel(int x, int y, const char* styleClass, const std::string& text) {
  if (text.empty()) return {};
  return "<text x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y) + "\" class=\"" +
         styleClass + "\" xml:space=\"preserve\">" + svgEscaped(text) + "</text>\n";
}

int svgWidth(const std::string& text, int fontSize) {
  // An advance is six tenths of the size.
  return (static_cast<int>(textWidth(Tovo::printable(text))) * fontSize * 61 + 99) / 100;
}

}  // namespace stptool
