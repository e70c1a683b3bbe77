#include "stptool/text/Suggest.h"

#include <algorithm>

namespace stptool {

namespace {

char lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

}  // namespace

size_t editDistance(std::string_view a, std::string_view b) {
  // Three rows of the usual table: row i holds the distances from a's first i characters.
  std::vector<size_t> beforeLast(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const bool same = lower(a[i - 1]) == lower(b[j - 1]);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same ? 0 : 1)});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) &&
          lower(a[i - 2]) == lower(b[j - 1])) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
    beforeLast.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

std::string nearest(std::string_view wanted, const std::vector<std::string>& known) {
  // Nobody types so much by mistake, and the table would be large.
  constexpr size_t longest = 300;
  if (wanted.size() > longest) return {};
  const std::string* best = nullptr;
  size_t bestDistance = std::max<size_t>(2, wanted.size() / 3) + 1;
  for (const std::string& name : known) {
    if (name.size() > longest) continue;
    size_t distance = editDistance(wanted, name);
    // People leave out the namespaces.
    for (size_t at = name.find("::"); at != std::string::npos; at = name.find("::", at + 2)) {
      distance = std::min(distance, editDistance(wanted, std::string_view(name).substr(at + 2)));
    }
    if (distance < bestDistance) {
      bestDistance = distance;
      best = &name;
    }
  }
  return best ? *best : std::string();
}

std::string suggestion(std::string_view wanted, const std::vector<std::string>& known) {
  const std::string meant = nearest(wanted, known);
  return meant.empty() ? meant : "; did you mean '" + meant + "'?";
}

}  // namespace stptool
