// The Markdown of the tree, as far as tests look at it.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

struct Fence {
  std::string language;
  std::vector<std::string> lines;
  size_t firstLine;  ///< of the lines, counted from 0 in the document
};

struct Link {
  std::string target;
  size_t line;
};

struct Document {
  std::filesystem::path path;
  std::vector<std::string> lines;
  std::vector<Fence> fences;
  std::vector<Link> links;
  std::vector<std::string> anchors;  ///< of the headings

  std::string name() const;  ///< relative to the root
};

/// All Markdown below the root but for builds; by path.
std::vector<Document> documents();

std::vector<std::string> linesOf(const std::filesystem::path& file);
void writeLines(const std::filesystem::path& file, const std::vector<std::string>& lines);

/// Whether expected outputs are to be written instead of compared: STP_UPDATE_GOLDEN is set.
bool isUpdating();
