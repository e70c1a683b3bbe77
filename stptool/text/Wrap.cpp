#include "stptool/text/Wrap.h"

#include <algorithm>

#include "stptool/text/Table.h"

namespace stptool {

namespace {

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (size_t from = 0; from <= text.size();) {
    const size_t end = std::min(text.find(separator, from), text.size());
    parts.emplace_back(text.substr(from, end - from));
    from = end + 1;
  }
  return parts;
}

}  // namespace

std::vector<std::string> wrapped(const std::vector<std::string>& words, size_t width) {
  std::vector<std::string> lines;
  for (const std::string& word : words) {
    if (lines.empty() || textWidth(lines.back()) + 1 + textWidth(word) > width) {
      lines.push_back(word);
    } else {
      lines.back() += " " + word;
    }
  }
  return lines;
}

std::vector<std::string> wrapped(const std::string& text, size_t width) {
  if (textWidth(text) <= width) return {text};
  return wrapped(split(text, ' '), width);
}

std::vector<std::string> brokenName(std::string_view name, size_t width) {
  std::vector<std::string> lines(1);
  for (size_t from = 0; from < name.size();) {
    size_t end = from + 1;
    while (end < name.size() && !(name[end] >= 'A' && name[end] <= 'Z')) ++end;
    const std::string_view word = name.substr(from, end - from);
    if (!lines.back().empty() && lines.back().size() + word.size() > width) lines.emplace_back();
    lines.back() += word;
    from = end;
  }
  return lines;
}

std::vector<std::string> linesOf(std::string_view text) {
  std::vector<std::string> lines = split(text, '\n');
  if (lines.back().empty()) lines.pop_back();
  return lines;
}

}  // namespace stptool
