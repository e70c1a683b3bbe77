#include "tdc/emit/Writer.h"

#include <algorithm>

namespace tdc {

void Writer::line(std::string_view text) {
  if (text.empty()) {
    const bool nothingAbove = text_.empty() || text_.ends_with(" public:\n");
    if (!nothingAbove && !text_.ends_with("\n\n")) text_ += '\n';
    return;
  }
  text_.append(indentation_, ' ').append(text) += '\n';
}

void Writer::code(std::string_view statement) {
  const size_t open = statement.find('(');
  if (indentation_ + statement.size() <= width || open == std::string_view::npos) {
    line(statement);
    return;
  }
  std::vector<std::string> items;
  size_t start = open + 1;
  int depth = 0;
  size_t at = start;
  for (; at < statement.size() && depth >= 0; ++at) {
    const char c = statement[at];
    if (c == '(' || c == '{') ++depth;
    if (c == ')' || c == '}') --depth;
    if (c == ',' && depth == 0) {
      items.emplace_back(statement.substr(start, at - start));
      start = at + 2;
    }
  }
  items.emplace_back(statement.substr(start, at - 1 - start));
  const std::string_view head = statement.substr(0, open + 1);
  const std::string_view tail = statement.substr(at - 1);
  list(head, items, tail);
}

void Writer::declaration(std::string_view type, std::string_view name) {
  const std::string end = std::string(name) + ";";
  if (indentation_ + type.size() + 1 + end.size() <= width) {
    line(std::string(type) + " " + end);
  } else {
    line(type);
    line("    " + end);
  }
}

void Writer::assignment(std::string_view name, std::string_view value) {
  if (value.empty()) {
    line(std::string(name) + ";");
    return;
  }
  const std::string whole = std::string(name) + " = " + std::string(value) + ";";
  if (indentation_ + whole.size() <= width) {
    line(whole);
  } else {
    line(std::string(name) + " =");
    line("    " + std::string(value) + ";");
  }
}

void Writer::doc(std::string_view text) {
  for (const std::string& part : wrapped(text, width - indentation_ - 4)) line("/// " + part);
}

void Writer::list(std::string_view head, const std::vector<std::string>& items,
                  std::string_view tail) {
  constexpr std::string_view continuationIndent = "    ";
  if (items.empty() && indentation_ + head.size() + tail.size() > width) {
    // Behind the parenthesis that closes at once.
    line(std::string(head) + std::string(tail.substr(0, 1)));
    line(std::string(continuationIndent) + std::string(tail.substr(2)));
    return;
  }
  const bool aligned = std::all_of(items.begin(), items.end(), [&](const std::string& item) {
    const size_t end = &item == &items.back() ? tail.size() : 1;
    return indentation_ + head.size() + item.size() + end <= width;
  });
  const auto linesFrom = [&](size_t start) {
    size_t lines = 1;
    size_t column = indentation_ + start;
    for (const std::string& item : items) {
      const size_t size = item.size() + (&item == &items.back() ? tail.size() : 1);
      if (&item != &items.front() && column + 1 + size > width) {
        ++lines;
        column = indentation_ + start;
      } else if (&item != &items.front()) {
        ++column;
      }
      column += size;
    }
    return lines;
  };
  const bool shorterBelow = 1 + linesFrom(continuationIndent.size()) < linesFrom(head.size());
  if ((!aligned || shorterBelow) && head != continuationIndent) {
    line(head);
    list(continuationIndent, items, tail);
    return;
  }
  std::string current(head);
  const std::string continuation(head.size(), ' ');
  for (size_t i = 0; i < items.size(); ++i) {
    const bool last = i + 1 == items.size();
    const std::string item = items[i] + (last ? std::string(tail) : ",");
    const bool first = current.size() == head.size();
    if (!first && indentation_ + current.size() + 1 + item.size() > width) {
      line(current);
      current = continuation + item;
    } else {
      current += (first ? "" : " ") + item;
    }
  }
  if (items.empty()) current += tail;
  line(current);
}

void Writer::text(std::string_view value, std::string_view tail) {
  constexpr size_t around = 8;  // indentation, quotes, a blank, the tail
  const std::vector<std::string> lines = wrapped(value, width - indentation_ - around);
  for (size_t i = 0; i < lines.size(); ++i) {
    const bool last = i + 1 == lines.size();
    line("    " + literal(lines[i] + (last ? "" : " ")) + (last ? std::string(tail) : ""));
  }
}

std::vector<std::string> wrapped(std::string_view text, size_t width) {
  std::vector<std::string> lines;
  size_t at = 0;
  while (at < text.size()) {
    const size_t end = std::min(text.find_first_of(" \n", at), text.size());
    const std::string_view word = text.substr(at, end - at);
    if (lines.empty() || lines.back().size() + 1 + word.size() > width) {
      lines.emplace_back(word);
    } else {
      lines.back().append(" ").append(word);
    }
    at = end + 1;
  }
  return lines;
}

std::string literal(std::string_view text) {
  static constexpr char digits[] = "0123456789abcdef";
  std::string out = "\"";
  bool afterHex = false;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool hexDigit =
        (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    if (afterHex && hexDigit) out += "\" \"";
    afterHex = false;
    if (c == '\n') {
      out += ' ';  // descriptions are one paragraph
    } else if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (byte < 0x20 || byte >= 0x7f) {
      out += "\\x";
      out += digits[byte >> 4];
      out += digits[byte & 15];
      afterHex = true;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

}  // namespace tdc
