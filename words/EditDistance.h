// How far a word is from another one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

// Hidden: a library that uses them exports none of them.
#pragma GCC visibility push(hidden)

namespace words {

/// How many insertions, deletions, replacements and swaps of neighbours make one text the other.
/// Costs time by the product of both lengths; callers limit what they compare.
inline size_t editDistance(std::string_view a, std::string_view b) {
  // Three rows of the usual table: row i holds the distances from a's first i characters.
  std::vector<size_t> beforeLast(b.size() + 1);
  std::vector<size_t> last(b.size() + 1);
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
    beforeLast.swap(last);
    last.swap(row);
  }
  return last[b.size()];
}

}  // namespace words

#pragma GCC visibility pop
