#include "stptool/reference/Page.h"
#include "stptool/text/Markup.h"

namespace stptool {

namespace {

constexpr const char* style = R"(
body { font: 15px/1.5 sans-serif; color: #222; max-width: 75rem; margin: 0 auto;
  padding: 0 1.5rem 4rem; }
nav { padding: .8rem 0; border-bottom: 1px solid #ccc; font-size: 13px; }
nav a { margin-right: .9rem; white-space: nowrap; }
h1 { font-size: 1.7rem; }
h2 { font-size: 1.25rem; margin-top: 2.6rem; padding-top: .6rem; border-top: 1px solid #ddd; }
h3 { font-size: 1rem; margin: 1.4rem 0 .4rem; }
a { color: #1a5296; text-decoration: none; }
a:hover { text-decoration: underline; }
code { font: 13px/1.4 monospace; background: #f4f5f7; padding: 0 .2em; border-radius: 2px; }
p code { overflow-wrap: anywhere; }
.wide { overflow-x: auto; margin: .8rem 0; }
table { border-collapse: collapse; font-size: 13.5px; }
th, td { text-align: left; vertical-align: top; padding: .25rem .7rem .25rem 0;
  border-bottom: 1px solid #e4e4e4; }
th { color: #666; font-weight: normal; border-bottom-color: #999; }
)";

std::string pageFile(const std::string& page) {
  return page == "README" ? "index.html" : page + ".html";
}

std::string spanText(const Span& span) {
  std::string text = markupEscaped(span.text);
  if (span.code) text = "<code>" + text + "</code>";
  if (span.target.page.empty()) return text;
  std::string address = pageFile(span.target.page);
  if (!span.target.anchor.empty()) address += "#" + span.target.anchor;
  return "<a href=\"" + markupEscaped(address) + "\">" + text + "</a>";
}

std::string proseText(const Prose& prose) {
  std::string text;
  for (const Span& span : prose) text += spanText(span);
  return text;
}

struct HtmlText {
  std::string operator()(const Heading& heading) const {
    const std::string tag = "h" + std::to_string(heading.level);
    return "<" + tag + " id=\"" + anchorOf(heading.text) + "\">" + markupEscaped(heading.text) +
           "</" + tag + ">\n";
  }
  std::string operator()(const Paragraph& paragraph) const {
    return "<p>" + proseText(paragraph.text) + "</p>\n";
  }
  std::string operator()(const Rows& table) const {
    std::string text = "<div class=\"wide\"><table>\n<tr>";
    for (const std::string& column : table.columns) {
      text += "<th>" + markupEscaped(column) + "</th>";
    }
    text += "</tr>\n";
    for (const std::vector<Prose>& row : table.rows) {
      text += "<tr>";
      for (const Prose& cell : row) text += "<td>" + proseText(cell) + "</td>";
      text += "</tr>\n";
    }
    return text + "</table></div>\n";
  }
  std::string operator()(const Picture& picture) const {
    return "<div class=\"wide\" role=\"img\" aria-label=\"" + markupEscaped(picture.alternative) +
           "\">\n" + svgText(picture.graph) + "</div>\n";
  }
};

}  // namespace

std::vector<File> htmlFiles(const std::vector<Page>& pages) {
  std::string navigation = "<nav>\n";
  for (const Page& page : pages) {
    navigation += "<a href=\"" + markupEscaped(pageFile(page.name)) + "\">" +
                  markupEscaped(page.title) + "</a>\n";
  }
  navigation += "</nav>\n";
  std::vector<File> files;
  for (const Page& page : pages) {
    const std::string title = markupEscaped(page.title);
    std::string text =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width\">\n<title>" +
        title + "</title>\n<style>" + style + "</style>\n</head>\n<body>\n" + navigation + "<h1>" +
        title + "</h1>\n";
    for (const Block& block : page.blocks) text += std::visit(HtmlText(), block);
    files.push_back({pageFile(page.name), text + "</body>\n</html>\n"});
  }
  return files;
}

}  // namespace stptool
