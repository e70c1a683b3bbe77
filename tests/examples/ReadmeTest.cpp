// The README shows a program and what it prints; both are to stay true.
#include <gtest/gtest.h>
#include <stdio.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <string>

namespace {

std::string fileText(const char* path) {
  std::ifstream in(path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string programOutput(const char* command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command, "r"), &::pclose);
  std::string output;
  char buffer[256];
  while (pipe && ::fgets(buffer, sizeof buffer, pipe.get())) output += buffer;
  return output;
}

// The text of the first block that is opened so, from a position on; moves the position behind it.
std::string block(const std::string& text, const std::string& opened, size_t& from) {
  const size_t start = text.find("\n" + opened + "\n", from) + opened.size() + 2;
  const size_t end = text.find("\n```\n", start) + 1;
  from = end + 3;
  return text.substr(start, end - start);
}

TEST(Readme, showsTheQuickStartAndItsOutput) {
  const std::string readme = fileText(README);
  size_t at = readme.find("## Twenty lines");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(block(readme, "```cpp", at), fileText(QUICK_START_SOURCE));
  EXPECT_EQ(block(readme, "```", at), programOutput(QUICK_START_PROGRAM));
}

}  // namespace
