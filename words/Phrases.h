// Pieces of the messages that every program of the project writes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Hidden: a library that uses them exports none of them.
#pragma GCC visibility push(hidden)

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

/// "1 byte", "2 bytes".
inline std::string counted(uint64_t count, std::string_view one, std::string_view many) {
  return std::to_string(count).append(" ").append(count == 1 ? one : many);
}

/// "; did you mean 'x'?" for the end of a message; nothing for an empty word.
inline std::string didYouMean(std::string_view meant) {
  if (meant.empty()) return {};
  return std::string("; did you mean '").append(meant).append("'?");
}

}  // namespace words

#pragma GCC visibility pop
