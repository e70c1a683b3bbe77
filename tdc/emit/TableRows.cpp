#include "tdc/emit/TableRows.h"

#include <algorithm>

namespace tdc {

// Entities have their name, or only its text, besides what the description says.
size_t ownRows(const Type& type) {
  const bool named = type.isEntity() && !type.base;
  return type.members.size() + (!named ? 0 : type.keyMember() ? 1 : 2);
}

bool hasRuntimeRows(const Module& module) {
  return std::any_of(module.types.begin(), module.types.end(),
                     [](const Type* type) { return type->isEntity() && !type->base; });
}

void wrappedRow(Writer& out, const std::vector<std::string>& items) {
  std::vector<std::string> pieces;
  for (size_t i = 0; i < items.size(); ++i) {
    const std::string& item = items[i];
    const std::string tail = i + 1 == items.size() ? "}," : ",";
    // A text, with or without a name before it.
    const size_t quote = item.starts_with('.') ? item.find("= \"") + 2 : 0;
    const bool isText = quote < item.size() && item[quote] == '"';
    if (!isText || item.size() <= Writer::width - out.indentation() - 4) {
      pieces.push_back(item + tail);
      continue;
    }
    const size_t room = Writer::width - out.indentation() - 8 - quote;
    const std::string text = item.substr(quote + 1, item.size() - quote - 2);
    const std::vector<std::string> lines = wrapped(text, room);
    for (size_t line = 0; line < lines.size(); ++line) {
      const bool end = line + 1 == lines.size();
      pieces.push_back((line == 0 ? item.substr(0, quote) : "") + '"' + lines[line] +
                       (end ? "\"" + tail : " \""));
    }
  }
  if (pieces.empty()) pieces.emplace_back("},");
  wrappedPieces(out, "{", " ", pieces);
}

void wrappedPieces(Writer& out, const std::string& start, const std::string& indent,
                   const std::vector<std::string>& pieces) {
  std::string current = start;
  bool first = true;
  for (const std::string& piece : pieces) {
    if (!first && out.indentation() + current.size() + 1 + piece.size() > Writer::width) {
      out.line(current);
      current = indent + piece;
    } else {
      current += (first ? "" : " ") + piece;
    }
    first = false;
  }
  out.line(current);
}

std::string joinedFlags(const std::vector<std::string>& flags) {
  std::string text;
  for (const std::string& flag : flags) text += (text.empty() ? "" : " | ") + flag;
  return text;
}

}  // namespace tdc
