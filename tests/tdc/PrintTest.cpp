#include <gtest/gtest.h>

#include "tests/tdc/Scratch.h"

namespace tdc::test {
namespace {

std::string printed(const std::string& path) {
  Result result = runTool({"--print", path});
  EXPECT_EQ(result.code, 0) << result.err;
  return result.out;
}

std::string printedText(const std::string& text) {
  Scratch scratch;
  return printed(scratch.write("Test.tdl", text));
}

TEST(Print, LinesColumnsUpAndKeepsComments) {
  EXPECT_EQ(printedText("// first\n"
                        "module   M record 0123456789ABCDEF order 1; // beside\n"
                        "import A record 0123456789abcdef;\n"
                        "import B record 0123456789abcdef{value B::C bytes 6 order in \"B.h\";}\n"
                        "namespace T;enum E:u8{a=0,b=-0x1}\n"
                        "\n\n\n"
                        "/// Doc.\n"
                        "enum F : u8 {\n  longer = 0, a = 1 // one\n}\n"
                        "value V noargs order reflected hash {\n\n"
                        "  2 field a : u8 // within\n  = 3 fixed unit \"x\" range 1..2;\n"
                        "  // group\n\n\n"
                        "  10 counter bcd : u16;\n"
                        "  258 bits c : a [ 0 ] as bool; // bit\n"
                        "  11 indexed raw[u8] : u8;\n"
                        "  // last\n"
                        "} ;\n"
                        "scope S {}\n"
                        "// end"),
            "// first\n"
            "module M record 0123456789abcdef order 1;  // beside\n"
            "\n"
            "import A record 0123456789abcdef;\n"
            "import B record 0123456789abcdef {\n"
            "    value B::C bytes 6 order in \"B.h\";\n"
            "}\n"
            "\n"
            "namespace T;\n"
            "\n"
            "enum E : u8 { a = 0, b = -0x1 }\n"
            "\n"
            "/// Doc.\n"
            "enum F : u8 {\n"
            "    longer = 0,\n"
            "    a      = 1,  // one\n"
            "}\n"
            "\n"
            "value V hash order reflected noargs {\n"
            "    // within\n"
            "      2 field   a       : u8 = 3  range 1..2  unit \"x\"  fixed;\n"
            "    // group\n"
            "\n"
            "     10 counter bcd     : u16;\n"
            "    258 bits    c       : a[0] as bool;  // bit\n"
            "     11 indexed raw[u8] : u8;\n"
            "    // last\n"
            "}\n"
            "\n"
            "scope S {}\n"
            "\n"
            "// end\n");
}

/// Every description that there is: printing must neither lose nor change anything.
class Descriptions : public testing::TestWithParam<std::string> {};

TEST_P(Descriptions, ArePrintedStably) {
  std::string text = printed(GetParam());
  Scratch scratch;
  EXPECT_EQ(printed(scratch.write("Again.tdl", text)), text);

  auto count = [](const std::string& in, const std::string& what) {
    std::size_t found = 0;
    for (std::size_t at = in.find(what); at != std::string::npos; at = in.find(what, at + 1)) {
      ++found;
    }
    return found;
  };
  std::string source = readAll(GetParam());
  for (const char* what : {"//", ";", "{", "range", "unit", "readonly", "\""}) {
    EXPECT_EQ(count(text, what), count(source, what)) << what;
  }
}

TEST_P(Descriptions, MeanTheSameWhenPrinted) {
  Scratch scratch;
  std::string folder = GetParam().substr(0, GetParam().rfind('/'));
  std::string again = scratch.write("Again.tdl", printed(GetParam()));
  Result before = runTool({"--lock", scratch.path("before"), "-I", folder, GetParam()});
  Result after = runTool({"--lock", scratch.path("after"), "-I", folder, again});
  ASSERT_EQ(before.code, 0) << before.err;
  ASSERT_EQ(after.code, 0) << after.err;
  EXPECT_EQ(readAll(scratch.path("before")), readAll(scratch.path("after")));
}

std::vector<std::string> allDescriptions() {
  std::vector<std::string> paths = descriptionsIn(TDC_TEST_DIR);
  for (const std::string& path : descriptionsIn(TDC_SOURCE_DIR "/Stp")) paths.push_back(path);
  return paths;
}

INSTANTIATE_TEST_SUITE_P(Files, Descriptions, testing::ValuesIn(allDescriptions()),
                         [](const auto& file) {
                           std::string name = file.param.substr(file.param.rfind('/') + 1);
                           return name.substr(0, name.find('.'));
                         });

}  // namespace
}  // namespace tdc::test
