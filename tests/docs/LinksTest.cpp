// Links between the documents, and from them into the tree, lead somewhere.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <regex>

#include "Document.h"

namespace fs = std::filesystem;

TEST(Documents, LinkToWhatIsThere) {
  const std::vector<Document> all = documents();
  ASSERT_GT(all.size(), 10u);
  std::map<fs::path, const Document*> byPath;
  for (const Document& document : all) byPath[document.path] = &document;
  for (const Document& document : all) {
    for (const Link& link : document.links) {
      if (link.target.find("://") != std::string::npos) continue;
      const size_t mark = std::min(link.target.find('#'), link.target.size());
      const std::string file = link.target.substr(0, mark);
      const fs::path path =
          file.empty() ? document.path : (document.path.parent_path() / file).lexically_normal();
      const std::string where = document.name() + ":" + std::to_string(link.line);
      EXPECT_TRUE(fs::exists(path)) << where << " links to " << link.target;
      if (mark == link.target.size() || byPath.count(path) == 0) continue;
      const std::vector<std::string>& anchors = byPath.at(path)->anchors;
      EXPECT_NE(std::find(anchors.begin(), anchors.end(), link.target.substr(mark + 1)),
                anchors.end())
          << where << " links to " << link.target;
    }
  }
}

// What a document calls `folder/File.h` is in the tree. The past may name what has gone, and a name
// in capitals stands for any.
TEST(Documents, NameFilesThatAreThere) {
  const std::regex path("`([a-z]+)(/[A-Za-z0-9_./-]*)`");
  const std::regex anyName("/[A-Z]+(/|$)");
  size_t found = 0;
  for (const Document& document : documents()) {
    if (document.name() == "CHANGELOG.md") continue;
    for (size_t i = 0; i < document.lines.size(); ++i) {
      const std::string& line = document.lines[i];
      for (std::sregex_iterator at(line.begin(), line.end(), path), end; at != end; ++at) {
        const std::string folder = (*at)[1];
        const std::string rest = (*at)[2];
        if (folder == "build" || !fs::is_directory(fs::path(ROOT) / folder)) continue;
        if (std::regex_search(rest, anyName)) continue;
        ++found;
        EXPECT_TRUE(fs::exists(fs::path(ROOT) / (folder + rest)))
            << document.name() << ":" << i + 1 << " names " << folder << rest;
      }
    }
  }
  EXPECT_GT(found, 50u);
}
