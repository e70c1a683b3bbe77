// Every error, with the expectation in the input:
//
//     //! error 5 text          on the next line, in column 5, containing the text
//     //! error FILE:3:5 text   elsewhere
//     //! note text             the error above has a note with that text
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/tdc/Scratch.h"

namespace tdc::test {
namespace {

struct Message {
  std::string place;  // file:line:column; nothing for a note
  std::string text;
  bool note = false;
};

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::vector<Message> expectedIn(const std::string& text, const std::string& file) {
  static const std::regex pattern(R"( *//! (error|note) (?:([\w./]+:\d+:\d+) |(\d+) )?(.*))");
  std::vector<Message> expected;
  std::vector<std::string> lines = linesOf(text);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    std::smatch match;
    if (!std::regex_match(lines[i], match, pattern)) continue;
    std::size_t next = i + 1;
    while (next < lines.size() && std::regex_match(lines[next], pattern)) ++next;
    bool note = match[1] == "note";
    std::string place = match[2].matched ? match[2].str()
                        : note           ? ""
                               : file + ":" + std::to_string(next + 1) + ":" + match[3].str();
    expected.push_back({place, match[4], note});
  }
  return expected;
}

std::vector<Message> reported(const std::string& errors, const std::string& folder) {
  static const std::regex pattern(R"((.*:\d+:\d+): (error|note): (.*))");
  std::vector<Message> messages;
  for (const std::string& line : linesOf(errors)) {
    std::smatch match;
    if (std::regex_match(line, match, pattern)) {
      std::string place = match[1];
      place = place.compare(0, folder.size(), folder) == 0 ? place.substr(folder.size()) : place;
      bool note = match[2] == "note";
      messages.push_back({note ? "" : place, match[3], note});
    }
  }
  return messages;
}

std::string shown(const Message& message) {
  return (message.note ? "note: " : message.place + " ") + message.text;
}

bool answers(const Message& expected, const Message& found) {
  return expected.note == found.note && expected.place == found.place &&
         found.text.find(expected.text) != std::string::npos;
}

class Errors : public testing::TestWithParam<std::string> {};

TEST_P(Errors, AreThoseThatTheFileExpects) {
  const std::string folder = TDC_TEST_DIR "/errors/";
  SourceFiles files;
  Diagnostics diagnostics;
  Program program(files, diagnostics, {folder + "modules", folder});
  EXPECT_EQ(program.load(folder + GetParam()), nullptr);

  std::vector<Message> expected = expectedIn(readAll(folder + GetParam()), GetParam());
  std::vector<Message> found = reported(diagnostics.render(), folder);
  ASSERT_FALSE(expected.empty());
  for (std::size_t i = 0; i < std::max(expected.size(), found.size()); ++i) {
    ASSERT_LT(i, expected.size()) << "not expected: " << shown(found[i]);
    ASSERT_LT(i, found.size()) << "not reported: " << shown(expected[i]);
    ASSERT_TRUE(answers(expected[i], found[i]))
        << "expected: " << shown(expected[i]) << "\n   found: " << shown(found[i]);
  }
}

std::vector<std::string> errorFiles() {
  std::vector<std::string> names;
  for (const std::string& path : descriptionsIn(TDC_TEST_DIR "/errors")) {
    names.push_back(std::filesystem::path(path).filename().string());
  }
  return names;
}

INSTANTIATE_TEST_SUITE_P(Files, Errors, testing::ValuesIn(errorFiles()), [](const auto& file) {
  return file.param.substr(0, file.param.find('.'));
});

std::string generated(const char* head, int from, int to, const char* pattern, const char* tail) {
  std::string text =
      std::string("module Test record 0123456789abcdef order 1;\nnamespace T;\n") + head;
  for (int i = from; i < to; ++i) {
    text += std::regex_replace(pattern, std::regex("#"), std::to_string(i)) + "\n";
  }
  return text + tail;
}

TEST(Limits, AreReported) {
  struct Case {
    std::string text;
    const char* error;
  };
  std::string bases;
  for (int i = 0; i < 260; ++i) {
    bases +=
        "entity E" + std::to_string(i) + (i == 0 ? "" : " : E" + std::to_string(i - 1)) + " {}\n";
  }
  std::string longText(100000, 'x');
  const Case cases[] = {
      {generated("entity E {\n", 258, 387, "# attr a# : u8;", "}"),
       "'E' has no room for 'a386'; its ids end at 385"},
      {generated("value V {\n", 2, 259, "# field a# : u8;", "}"),
       "'V' has no room for 'a258'; its ids end at 257"},
      {generated("", 0, 4097, "enum E# : u8 { a = 0 }", ""), "a module has at most 4096 types"},
      {generated("", 0, 1, bases.c_str(), ""), "an entity has at most 250 bases"},
      {generated("", 0, 200, "value V# { 2 field a : Nothing; }", ""),
       "100 more errors are not shown"},
      {generated("", 0, 1, ("value V { 2 field a : " + longText + "; }").c_str(), ""),
       "there is no type 'xxxx"},
  };
  for (const Case& c : cases) {
    EXPECT_NE(Loaded(c.text).errors().find(c.error), std::string::npos)
        << c.error << "\n"
        << Loaded(c.text).errors().substr(0, 500);
  }
}

TEST(Limits, NestedImportsAreCounted) {
  Scratch scratch;
  for (int i = 0; i < 70; ++i) {
    std::string number = std::to_string(i);
    scratch.write("M" + number + ".tdl", "module M" + number +
                                             " record 0123456789abcdef order 1;\nimport M" +
                                             std::to_string(i + 1) + " record 0123456789abcdef;");
  }
  Result result = runTool({"--out", scratch.path("out"), scratch.path("M0.tdl")});
  EXPECT_EQ(result.code, 1);
  EXPECT_NE(result.err.find("imports are nested more than 64 deep"), std::string::npos);
}

TEST(Rendering, ShowsLineCaretAndOtherPlace) {
  Scratch scratch;
  std::string path = scratch.write("Example.tdl",
                                   "module Example record 0123456789abcdef order 1;\r\n"
                                   "namespace Test;\r\n"
                                   "entity ConfigBase {\r\n"
                                   "\t258 const low : u32 = 6; // h\xC3\xA9\r\n"
                                   "    263 attr maxAge : u32 = low;\r\n"
                                   "}\r\n");
  EXPECT_EQ(runTool({"--out", scratch.path("out"), path}).err,
            path +
                ":5:5: error: id 263 is out of sequence; the next id of 'ConfigBase' is 259\n"
                "    263 attr maxAge : u32 = low;\n"
                "    ^~~\n" +
                path +
                ":4:2: note: 'low' has id 258\n"
                "\t258 const low : u32 = 6; // h\xC3\xA9\n"
                "\t^~~\n");
}

TEST(Suggestions, AreNearWords) {
  const std::vector<std::string> words = {"field", "counter", "list"};
  struct Case {
    const char* wrong;
    const char* nearest;
  };
  for (const Case& c : {Case{"feild", "field"}, Case{"fields", "field"}, Case{"conuter", "counter"},
                        Case{"lst", "list"}, Case{"attr", ""}, Case{"", ""}}) {
    EXPECT_EQ(nearest(c.wrong, words), c.nearest) << c.wrong;
  }
  EXPECT_EQ(nearest(std::string(1000000, 'f'), words), "");
  EXPECT_EQ(nearest("x", {"y"}), "") << "nothing of it is the same";
}

}  // namespace
}  // namespace tdc::test
