// A page of the model reference, before it is Markdown or HTML.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "stptool/graph/Graph.h"

namespace stptool {

/// A place of the reference; none where `page` is empty.
struct Target {
  std::string page;    ///< name of a page
  std::string anchor;  ///< of a heading in it, or none
};

struct Span {
  std::string text;
  bool code = false;
  Target target = {};
};
using Prose = std::vector<Span>;

struct Heading {
  int level;  ///< 2 for a section of the page
  std::string text;
};
struct Paragraph {
  Prose text;
};
struct Rows {
  std::vector<std::string> columns;
  std::vector<std::vector<Prose>> rows;  ///< as many cells as there are columns
};
struct Picture {
  std::string name;  ///< of the file that Markdown shows
  std::string alternative;
  Graph graph;
};
using Block = std::variant<Heading, Paragraph, Rows, Picture>;

struct Page {
  std::string name;  ///< of its file; "README" is the index
  std::string title;
  std::vector<Block> blocks;
};

/// What a heading is reached by: its letters and digits in small letters, blanks as '-'.
std::string anchorOf(std::string_view heading);

/// Text with parts in `backquotes` as code.
Prose proseOf(std::string_view text);

struct File {
  std::string name;
  std::string text;
};

/// The pages as files in one folder: NAME.md and the pictures beside them, or NAME.html with the
/// pictures inside, the index being index.html.
std::vector<File> markdownFiles(const std::vector<Page>& pages);
std::vector<File> htmlFiles(const std::vector<Page>& pages);

}  // namespace stptool
