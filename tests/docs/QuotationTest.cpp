// Code in the documents is a quotation of a file that the build compiles.
#include <gtest/gtest.h>

#include <algorithm>

#include "Document.h"

namespace fs = std::filesystem;

namespace {

struct Source {
  fs::path path;
  std::vector<std::string> lines;
};

// Lines without what they are all indented by.
std::vector<std::string> flush(std::vector<std::string> lines) {
  size_t least = std::string::npos;
  for (const std::string& line : lines) {
    if (!line.empty()) least = std::min(least, line.find_first_not_of(' '));
  }
  for (std::string& line : lines) {
    if (!line.empty()) line.erase(0, least);
  }
  return lines;
}

bool holds(const Source& source, const std::vector<std::string>& quotation) {
  for (size_t i = 0; i + quotation.size() <= source.lines.size(); ++i) {
    const auto first = source.lines.begin() + static_cast<std::ptrdiff_t>(i);
    const auto last = first + static_cast<std::ptrdiff_t>(quotation.size());
    if (flush({first, last}) == quotation) return true;
  }
  return false;
}

std::vector<Source> sources() {
  std::vector<Source> all;
  for (const char* folder : {"/examples", "/Stp", "/tests"}) {
    for (const auto& entry : fs::recursive_directory_iterator(std::string(ROOT) + folder)) {
      const std::string extension = entry.path().extension().string();
      if (extension == ".cpp" || extension == ".h" || extension == ".tdl" ||
          entry.path().filename() == "CMakeLists.txt") {
        all.push_back({entry.path(), linesOf(entry.path())});
      }
    }
  }
  return all;
}

}  // namespace

TEST(Quotations, StandInASourceLineByLine) {
  const std::vector<Source> all = sources();
  size_t quotations = 0;
  for (const Document& document : documents()) {
    for (const Fence& fence : document.fences) {
      if (fence.language != "cpp" && fence.language != "tdl" && fence.language != "cmake") continue;
      ++quotations;
      const std::vector<std::string> quotation = flush(fence.lines);
      EXPECT_TRUE(std::any_of(all.begin(), all.end(),
                              [&](const Source& source) { return holds(source, quotation); }))
          << document.name() << ":" << fence.firstLine
          << " quotes what no file of examples/, Stp/ or tests/ has";
    }
  }
  EXPECT_GT(quotations, 5u);
}
