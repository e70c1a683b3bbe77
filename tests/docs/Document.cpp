#include "Document.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>

namespace fs = std::filesystem;

namespace {

// As the usual renderers make it of a heading.
std::string anchorOf(const std::string& heading) {
  std::string anchor;
  for (const char c : heading) {
    if (std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_') {
      anchor += static_cast<char>(std::tolower(c));
    } else if (c == ' ') {
      anchor += '-';
    }
  }
  return anchor;
}

void findLinks(Document& document, const std::string& line, size_t number) {
  for (size_t at = line.find("]("); at != std::string::npos; at = line.find("](", at + 1)) {
    const size_t end = line.find(')', at);
    if (end != std::string::npos) {
      document.links.push_back({line.substr(at + 2, end - at - 2), number});
    }
  }
}

Document read(const fs::path& path) {
  Document document{path, linesOf(path), {}, {}, {}};
  bool inFence = false;
  for (size_t i = 0; i < document.lines.size(); ++i) {
    const std::string& line = document.lines[i];
    if (line.starts_with("```")) {
      inFence = !inFence;
      if (inFence) document.fences.push_back({line.substr(3), {}, i + 1});
    } else if (inFence) {
      document.fences.back().lines.push_back(line);
    } else if (line.starts_with("#")) {
      document.anchors.push_back(anchorOf(line.substr(line.find_first_not_of("# "))));
    } else {
      findLinks(document, line, i + 1);
    }
  }
  return document;
}

}  // namespace

std::string Document::name() const { return fs::relative(path, ROOT).string(); }

std::vector<Document> documents() {
  std::vector<fs::path> paths;
  for (auto entry = fs::recursive_directory_iterator(ROOT); entry != fs::end(entry); ++entry) {
    const fs::path& path = entry->path();
    const std::string name = path.filename().string();
    if (entry->is_directory() && (name == "build" || name.starts_with("."))) {
      entry.disable_recursion_pending();
    }
    if (path.extension() == ".md") paths.push_back(path);
  }
  std::sort(paths.begin(), paths.end());
  std::vector<Document> all;
  for (const fs::path& path : paths) all.push_back(read(path));
  return all;
}

std::vector<std::string> linesOf(const fs::path& file) {
  std::ifstream in(file);
  std::vector<std::string> lines;
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

void writeLines(const fs::path& file, const std::vector<std::string>& lines) {
  std::ofstream out(file);
  for (const std::string& line : lines) out << line << '\n';
}

bool isUpdating() { return std::getenv("STP_UPDATE_GOLDEN") != nullptr; }
