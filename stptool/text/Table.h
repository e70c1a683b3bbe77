// Aligned columns.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "stptool/text/Style.h"

namespace stptool {

/// How many columns a text takes on a terminal; counts characters, not bytes.
size_t textWidth(std::string_view text) noexcept;
std::string padded(std::string_view text, size_t width);

/// Rows of cells, two blanks apart, without blanks at the ends of lines. A column that is empty in
/// every row is left out.
class Table {
 public:
  /// Styles of the columns, from the first; the rest is plain.
  explicit Table(std::vector<Style> styles = {}) : styles_(std::move(styles)) {}

  /// A first row that is shown only when others follow, and that saves no column. Further calls add
  /// further lines.
  void header(std::vector<std::string> cells) { headers_.push_back(std::move(cells)); }
  void row(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  bool empty() const noexcept { return rows_.empty(); }

  std::string text(std::string_view indent = {}) const;

 private:
  std::vector<Style> styles_;
  std::vector<std::vector<std::string>> headers_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace stptool
