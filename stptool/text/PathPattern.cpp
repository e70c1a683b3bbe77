#include "stptool/text/PathPattern.h"

namespace stptool {

namespace {

// Names and keys; those in brackets without them.
std::vector<std::string> partsOf(std::string_view path) {
  std::vector<std::string> parts;
  bool inKey = false;
  for (size_t at = 0; at < path.size(); ++at) {
    const char c = path[at];
    if (inKey) {
      if (c == ']') {
        inKey = false;
      } else {
        if (c == '\\' && at + 1 < path.size()) ++at;
        parts.back() += path[at];
      }
    } else if (c == '/') {
      // The slash behind a bracket begins a name, as any other one does; one at the end none.
      if (at + 1 < path.size()) parts.emplace_back();
    } else if (c == '[') {
      parts.emplace_back();
      inKey = true;
    } else {
      if (parts.empty()) parts.emplace_back();
      parts.back() += c;
    }
  }
  return parts;
}

}  // namespace

bool matchesGlob(std::string_view text, std::string_view glob) noexcept {
  size_t at = 0;
  size_t in = 0;
  size_t star = std::string_view::npos;  // the last one, and where it began to match
  size_t from = 0;
  while (at < text.size()) {
    if (in < glob.size() && glob[in] == '*') {
      star = in++;
      from = at;
    } else if (in < glob.size() && glob[in] == text[at]) {
      ++in;
      ++at;
    } else if (star != std::string_view::npos) {
      in = star + 1;
      at = ++from;
    } else {
      return false;
    }
  }
  while (in < glob.size() && glob[in] == '*') ++in;
  return in == glob.size();
}

PathPattern::PathPattern(std::string_view pattern) : parts_(partsOf(pattern)) {}

bool PathPattern::matches(std::string_view path) const {
  const std::vector<std::string> names = partsOf(path);
  // reached[i]: the pattern up to where we are matches the first i names.
  std::vector<bool> reached(names.size() + 1, false);
  reached[0] = true;
  for (const std::string& part : parts_) {
    std::vector<bool> next(names.size() + 1, false);
    for (size_t i = 0; i <= names.size(); ++i) {
      if (part == "**") {
        next[i] = reached[i] || (i > 0 && next[i - 1]);
      } else if (i > 0) {
        next[i] = reached[i - 1] && matchesGlob(names[i - 1], part);
      }
    }
    reached = std::move(next);
  }
  for (const bool any : reached) {
    if (any) return true;
  }
  return false;
}

}  // namespace stptool
