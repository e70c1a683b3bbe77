// Pieces of the messages that every program of the project writes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace words {

/// The words with a separator between each two: "a, b, c".
inline std::string joined(const std::vector<std::string>& parts,
                          std::string_view separator = ", ") {
  std::string text;
  for (const std::string& part : parts) {
    if (&part != &parts.front()) text += separator;
    text += part;
  }
  return text;
}

/// "; did you mean 'x'?" for the end of a message; nothing for an empty word.
inline std::string didYouMean(std::string_view meant) {
  if (meant.empty()) return {};
  return std::string("; did you mean '").append(meant).append("'?");
}

}  // namespace words
