#include "stptool/reference/Page.h"

namespace stptool {

namespace {

std::string withoutMarkup(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\n') {
      out += ' ';
      continue;
    }
    if (std::string_view("\\`*_[]<>|").find(c) != std::string_view::npos) out += '\\';
    out += c;
  }
  return out;
}

// A table's cell ends at a bar even inside code.
std::string inCode(const std::string& text) {
  std::string out = "`";
  for (const char c : text) out += c == '|' ? std::string("\\|") : std::string(1, c);
  return out + "`";
}

struct MarkdownText {
  const std::string& page;  // that links start from

  std::string spanText(const Span& span) const {
    std::string text = span.code ? inCode(span.text) : withoutMarkup(span.text);
    const Target& target = span.target;
    if (target.page.empty()) return text;
    text = "[" + text + "](";
    if (target.page != page || target.anchor.empty()) text += target.page + ".md";
    if (!target.anchor.empty()) text += "#" + target.anchor;
    return text + ")";
  }
  std::string proseText(const Prose& prose) const {
    std::string text;
    for (const Span& span : prose) text += spanText(span);
    return text;
  }

  std::string operator()(const Heading& heading) const {
    return std::string(static_cast<size_t>(heading.level), '#') + " " + heading.text + "\n";
  }
  std::string operator()(const Paragraph& paragraph) const {
    return proseText(paragraph.text) + "\n";
  }
  std::string operator()(const Rows& table) const {
    std::string text = "|";
    for (const std::string& column : table.columns) text += " " + column + " |";
    text += "\n|";
    for (size_t i = 0; i < table.columns.size(); ++i) text += "---|";
    for (const std::vector<Prose>& row : table.rows) {
      text += "\n|";
      for (const Prose& cell : row) text += cell.empty() ? " |" : " " + proseText(cell) + " |";
    }
    return text + "\n";
  }
  std::string operator()(const Picture& picture) const {
    return "![" + withoutMarkup(picture.alternative) + "](" + picture.name + ".svg)\n";
  }
};

}  // namespace

std::vector<File> markdownFiles(const std::vector<Page>& pages) {
  std::vector<File> files;
  for (const Page& page : pages) {
    std::string text = "# " + page.title + "\n";
    for (const Block& block : page.blocks) {
      text += "\n" + std::visit(MarkdownText{page.name}, block);
      if (const auto* picture = std::get_if<Picture>(&block)) {
        files.push_back({picture->name + ".svg", svgText(picture->graph)});
      }
    }
    files.push_back({page.name + ".md", std::move(text)});
  }
  return files;
}

}  // namespace stptool
