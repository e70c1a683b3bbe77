#include "stptool/text/Suggest.h"

#include <algorithm>

#include "words/EditDistance.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

std::string lowered(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

}  // namespace

std::string nearest(std::string_view wanted, const std::vector<std::string>& known) {
  // Nobody types so much by mistake, and the table would be large.
  constexpr size_t longest = 300;
  if (wanted.size() > longest) return {};
  const std::string typed = lowered(wanted);
  const std::string* best = nullptr;
  size_t bestDistance = std::max<size_t>(2, wanted.size() / 3) + 1;
  for (const std::string& name : known) {
    if (name.size() > longest) continue;
    const std::string lower = lowered(name);
    size_t distance = words::editDistance(typed, lower);
    // People leave out the namespaces.
    for (size_t at = lower.find("::"); at != std::string::npos; at = lower.find("::", at + 2)) {
      const std::string_view behind = std::string_view(lower).substr(at + 2);
      distance = std::min(distance, words::editDistance(typed, behind));
    }
    if (distance < bestDistance) {
      bestDistance = distance;
      best = &name;
    }
  }
  return best ? *best : std::string();
}

std::string suggestion(std::string_view wanted, const std::vector<std::string>& known) {
  return words::didYouMean(nearest(wanted, known));
}

}  // namespace stptool
