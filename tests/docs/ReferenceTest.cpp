// docs/model/ is what the tool writes today; ./dev golden writes it again.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>

#include "Document.h"

namespace fs = std::filesystem;

namespace {

using Files = std::map<std::string, std::vector<std::string>>;

Files filesOf(const fs::path& folder) {
  Files files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    files[entry.path().filename().string()] = linesOf(entry.path());
  }
  return files;
}

void writeReference(const fs::path& folder, const std::string& options = {}) {
  const std::string command =
      std::string(PROGRAMS) + "/stptool reference " + folder.string() + options;
  ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

class Reference : public testing::Test {
 protected:
  ~Reference() override { fs::remove_all(folder_); }

  const fs::path folder_ =
      fs::temp_directory_path() / ("stp-reference-" + std::to_string(::getpid()));
};

}  // namespace

TEST_F(Reference, IsWhatTheModelSaysToday) {
  const fs::path kept = std::string(ROOT) + "/docs/model";
  if (isUpdating()) {
    fs::remove_all(kept);
    writeReference(kept);
    return;
  }
  writeReference(folder_);
  const Files now = filesOf(folder_);
  const Files before = filesOf(kept);
  for (const auto& [name, lines] : now) {
    const auto old = before.find(name);
    ASSERT_NE(old, before.end()) << name << " is new; ./dev golden writes it";
    for (size_t i = 0; i < std::max(lines.size(), old->second.size()); ++i) {
      ASSERT_TRUE(i < lines.size() && i < old->second.size() && lines[i] == old->second[i])
          << "docs/model/" << name << ":" << i + 1 << " is out of date; ./dev golden writes it";
    }
  }
  EXPECT_EQ(now.size(), before.size()) << "docs/model/ has a file too many";
}

TEST_F(Reference, LeadsSomewhereInHtmlToo) {
  writeReference(folder_, " --html");
  const Files pages = filesOf(folder_);
  size_t links = 0;
  for (const auto& [name, lines] : pages) {
    for (const std::string& line : lines) {
      constexpr std::string_view opened = "<a href=\"";
      for (size_t at = line.find(opened); at != std::string::npos; at = line.find(opened, at + 1)) {
        const std::string target = line.substr(
            at + opened.size(), line.find('"', at + opened.size()) - at - opened.size());
        const size_t mark = std::min(target.find('#'), target.size());
        const auto page = pages.find(target.substr(0, mark));
        ASSERT_NE(page, pages.end()) << name << " links to " << target;
        ++links;
        if (mark == target.size()) continue;
        const std::string id = " id=\"" + target.substr(mark + 1) + "\"";
        EXPECT_TRUE(
            std::any_of(page->second.begin(), page->second.end(),
                        [&](const auto& each) { return each.find(id) != std::string::npos; }))
            << name << " links to " << target;
      }
    }
  }
  EXPECT_GT(links, 100u);
}
