#include "stptool/reference/Page.h"

namespace stptool {

std::string anchorOf(std::string_view heading) {
  std::string anchor;
  for (const char c : heading) {
    if (c >= 'A' && c <= 'Z') {
      anchor += static_cast<char>(c - 'A' + 'a');
    } else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
      anchor += c;
    } else if (c == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

Prose proseOf(std::string_view text) {
  Prose prose;
  bool code = false;
  while (!text.empty()) {
    const size_t end = std::min(text.find('`'), text.size());
    if (end > 0) prose.push_back({std::string(text.substr(0, end)), code});
    text.remove_prefix(std::min(end + 1, text.size()));
    code = !code;
  }
  return prose;
}

}  // namespace stptool
