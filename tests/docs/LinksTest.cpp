// Links between the documents, and from them into the tree, lead somewhere.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

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
