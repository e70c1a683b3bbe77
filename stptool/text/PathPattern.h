// Paths with wildcards.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace stptool {

/// `*` stands for any number of characters, in `text` as a whole.
bool matchesGlob(std::string_view text, std::string_view glob) noexcept;

/// "/stp/**/Mst1/*": between slashes, `*` stands for any characters of one name or key, and `**`
/// alone for any number of names and keys. A key in brackets counts as one between slashes.
class PathPattern {
 public:
  explicit PathPattern(std::string_view pattern);

  static bool isPattern(std::string_view path) noexcept {
    return path.find('*') != std::string_view::npos;
  }

  /// True for what the pattern names, and for everything below. Cost: the product of both lengths.
  bool matches(std::string_view path) const;

 private:
  std::vector<std::string> parts_;
};

}  // namespace stptool
