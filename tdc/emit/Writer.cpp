#include "tdc/emit/Writer.h"

#include <algorithm>

namespace tdc {

void Writer::line(std::string_view text) {
  if (text.empty()) {
    if (!text_.empty() && !text_.ends_with("\n\n")) text_ += '\n';
    return;
  }
  text_.append(indentation_, ' ').append(text) += '\n';
}

void Writer::doc(std::string_view text) {
  for (const std::string& part : wrapped(text, width - indentation_ - 4)) line("/// " + part);
}

void Writer::list(std::string_view head, const std::vector<std::string>& items,
                  std::string_view tail) {
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

void Writer::block(const std::string& text) {
  size_t start = 0;
  while (start < text.size()) {
    const size_t end = text.find('\n', start);
    line(std::string_view(text).substr(start, end - start));
    start = end + 1;
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
