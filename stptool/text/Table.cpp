#include "stptool/text/Table.h"

#include <algorithm>

#include "Tovo/Printable.h"

namespace stptool {

size_t textWidth(std::string_view text) noexcept {
  // Continuation bytes of UTF-8 take no column.
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
  }));
}

std::string padded(std::string_view text, size_t width) {
  const size_t used = textWidth(text);
  return std::string(text) + std::string(used < width ? width - used : 0, ' ');
}

std::string Table::text(std::string_view indent) const {
  std::vector<size_t> widths;
  const auto measure = [&](const std::vector<std::string>& row, bool opens) {
    for (size_t column = 0; column < row.size(); ++column) {
      const size_t width = textWidth(Tovo::printable(row[column]));
      if (widths.size() <= column) widths.resize(column + 1);
      if (opens || widths[column] > 0) widths[column] = std::max(widths[column], width);
    }
  };
  for (const auto& row : rows_) measure(row, true);
  for (const auto& row : headers_) measure(row, false);

  std::string out;
  const auto append = [&](const std::vector<std::string>& row, bool isHeader) {
    std::string line;
    size_t owed = 0;  // blanks, only written when something follows
    bool first = true;
    for (size_t column = 0; column < row.size(); ++column) {
      if (widths[column] == 0) continue;
      if (!first) owed += 2;
      first = false;
      const std::string cell = Tovo::printable(row[column]);
      if (!cell.empty()) {
        line.append(owed, ' ');
        owed = 0;
        const Style style = isHeader                  ? Style::number
                            : column < styles_.size() ? styles_[column]
                                                      : Style::plain;
        line += styled(style, cell);
      }
      owed += widths[column] - textWidth(cell);
    }
    out.append(indent).append(line).append("\n");
  };
  if (!rows_.empty()) {
    for (const auto& row : headers_) append(row, true);
  }
  for (const auto& row : rows_) append(row, false);
  return out;
}

}  // namespace stptool
