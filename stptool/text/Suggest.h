// "Did you mean ...?"
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stptool {

/// The name that is close enough to have been meant, or empty. Case does not count. A name that
/// ends in the wanted text behind "::" counts as close.
std::string nearest(std::string_view wanted, const std::vector<std::string>& known);

/// "; did you mean 'portState'?" for that name, or empty.
std::string suggestion(std::string_view wanted, const std::vector<std::string>& known);

}  // namespace stptool
