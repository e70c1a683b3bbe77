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
    const bool last = i + 1 == items.size();
    const std::string tail = last ? "}," : ",";
    if (items[i].size() <= Writer::width - out.indentation() - 4 || items[i].front() != '"') {
      pieces.push_back(items[i] + tail);
      continue;
    }
    const std::string text = items[i].substr(1, items[i].size() - 2);
    const std::vector<std::string> lines = wrapped(text, Writer::width - out.indentation() - 8);
    for (size_t line = 0; line < lines.size(); ++line) {
      const bool end = line + 1 == lines.size();
      pieces.push_back("\"" + lines[line] + (end ? "\"" + tail : " \""));
    }
  }
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
  return text.empty() ? "0" : text;
}

}  // namespace tdc
