// Whatever the bytes, the answer is a module or errors, never a crash.
#include <gtest/gtest.h>

#include "tdc/lock/Lock.h"
#include "tdc/print/Print.h"
#include "tdc/syntax/Parser.h"
#include "tests/tdc/Scratch.h"

namespace tdc::test {
namespace {

/// Through all stages: a module, or errors of a bounded length. What parses can be printed, and
/// what is printed parses.
void expectAnswer(const std::string& text) {
  SCOPED_TRACE(text.substr(0, 100));
  const Loaded loaded(text);
  ASSERT_EQ(loaded.module() != nullptr, loaded.errors().empty());
  ASSERT_LT(loaded.errors().size(), 100000u);
  if (loaded.module() != nullptr) {
    lockText({loaded.module()});
  }
  SourceFiles files;
  Diagnostics diagnostics;
  syntax::File tree = parse(files.add("a", text), diagnostics);
  if (diagnostics.empty()) {
    std::string printed = print(tree);
    syntax::File again = parse(files.add("b", printed), diagnostics);
    ASSERT_TRUE(diagnostics.empty()) << diagnostics.render() << printed;
    ASSERT_EQ(print(again), printed);
  }
}

TEST(Hostile, AnyTokenLeftOutOrDoubledAndCutBehindIt) {
  expectAnswer(everything());
  SourceFiles files;
  Diagnostics diagnostics;
  for (const Token& token : tokens(files.add("a", everything()), diagnostics)) {
    std::string without = everything();
    without.erase(token.span.begin, token.span.end - token.span.begin);
    std::string doubled = everything();
    doubled.insert(token.span.begin, std::string(token.spelling) + " ");
    for (const std::string& text : {without, doubled, everything().substr(0, token.span.end)}) {
      expectAnswer(text);
    }
  }
}

TEST(Hostile, StrangeFiles) {
  auto repeated = [](const std::string& text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
  };
  const std::string head = "module M record 0123456789abcdef order 1; namespace T; ";
  std::string chain = head;
  for (int i = 0; i < 2000; ++i) {
    chain += "value V" + std::to_string(i) + " { 2 field a : V" + std::to_string(i + 1) + "; }\n";
  }
  std::string bytes;
  for (int i = 0; i < 256; ++i) bytes += static_cast<char>(i);
  const std::string texts[] = {
      "",
      "\n",
      "\xEF\xBB\xBF",
      std::string(1000, '\0'),
      bytes,
      repeated(bytes, 100),
      repeated("{", 100000),
      repeated("}", 100000),
      head + repeated("value V {", 100000),
      head + "value V { 2 field a : " + repeated("optional ", 100000) + "bool; }",
      head + "value V { 2 field a : A" + repeated("::A", 100000) + "; }",
      head + "value V { 2 field a : u32 = " + repeated("9", 1000000) + "; }",
      head + "value V { 2 field a : Seconds = 1." + repeated("9", 100000) + "; }",
      head + "value V { 2 field a : String = \"" + repeated("\\", 100001),
      head + "// " + repeated("x", 1000000),
      head + repeated("/// doc\n", 10000),
      head + "enum E : u8 {" + repeated("a = 0, ", 10000) + "}",
      head + repeated("enum E : u8 { a = 0 }", 2000),
      chain,
      chain + "value V2000 { 2 field a : u8; }",
      chain + "value V2000 { 2 field a : V0; }",
      "import import record record; " + repeated("import", 1000),
  };
  for (const std::string& text : texts) expectAnswer(text);
}

TEST(Hostile, LineEndsAndMarksMeanNothing) {
  std::string dos = "\xEF\xBB\xBF";
  for (char c : everything()) dos += c == '\n' ? "\r\n" : std::string(1, c);
  SourceFiles files;
  Diagnostics diagnostics;
  std::string expected = print(parse(files.add("a", everything()), diagnostics));
  EXPECT_EQ(print(parse(files.add("b", dos), diagnostics)), expected);
  EXPECT_TRUE(diagnostics.empty()) << diagnostics.render();
}

}  // namespace
}  // namespace tdc::test
