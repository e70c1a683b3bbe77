// "Did you mean ...?"
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stptool {

/// Insertions, deletions, replacements and swaps of neighbours between two texts; case does
/// not count.
size_t editDistance(std::string_view a, std::string_view b);

/// The name that is close enough to have been meant, or empty. A name that ends in the wanted text
/// behind "::" counts as close.
std::string nearest(std::string_view wanted, const std::vector<std::string>& known);

/// "; did you mean 'portState'?" for that name, or empty.
std::string suggestion(std::string_view wanted, const std::vector<std::string>& known);

}  // namespace stptool
