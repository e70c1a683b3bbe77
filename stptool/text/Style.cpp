#include "stptool/text/Style.h"

#include <unistd.h>

#include <cstdlib>

namespace stptool {

bool colourIsOn() noexcept {
  static const bool on = [] {
    const char* off = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (!off || !*off) && isatty(STDOUT_FILENO) != 0 && terminal &&
           std::string_view(terminal) != "dumb";
  }();
  return on;
}

std::string styled(Style style, std::string_view text) {
  if (style == Style::plain || text.empty() || !colourIsOn()) return std::string(text);
  const char* code = "";
  switch (style) {
    case Style::plain:
      break;
    case Style::name:
      code = "\033[1m";
      break;
    case Style::type:
      code = "\033[36m";
      break;
    case Style::number:
      code = "\033[2m";
      break;
    case Style::added:
      code = "\033[32m";
      break;
    case Style::removed:
      code = "\033[31m";
      break;
  }
  return code + std::string(text) + "\033[0m";
}

}  // namespace stptool
