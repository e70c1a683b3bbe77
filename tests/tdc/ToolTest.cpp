#include <gtest/gtest.h>

#include <filesystem>

#include "tdc/files/Files.h"
#include "tests/tdc/Scratch.h"

namespace tdc::test {
namespace {

namespace fs = std::filesystem;

TEST(Arguments, WrongOnesAreExplained) {
  struct Case {
    std::vector<std::string> arguments;
    const char* error;
  };
  const Case cases[] = {
      {{}, "give '--out', '--lock', '--check-lock' or '--print'"},
      {{"a.tdl"}, "give '--out'"},
      {{"--print"}, "give a file to read"},
      {{"--print", "a.tdl", "b.tdl"}, "give one file, not 2"},
      {{"--out"}, "'--out' needs a value"},
      {{"--out", "", "a.tdl"}, "'--out' needs a value"},
      {{"--out", "d", "--lock", "f", "a.tdl"}, "on top of another command"},
      {{"--prnit", "a.tdl"}, "did you mean '--print'?"},
      {{"--print", "--depfile", "d", "a.tdl"}, "goes with '--out' only"},
      {{"--print", "absent.tdl"}, "cannot read 'absent.tdl'"},
      {{"--print", "/"}, "it is a folder"},
  };
  for (const Case& c : cases) {
    Result result = runTool(c.arguments);
    EXPECT_EQ(result.code, 2) << c.error;
    EXPECT_NE(result.err.find(c.error), std::string::npos) << c.error << "\n" << result.err;
  }
  EXPECT_EQ(runTool({"--help"}).code, 0);
  EXPECT_NE(runTool({"--help"}).out.find("--check-lock"), std::string::npos);
  EXPECT_EQ(runTool({"--version"}).out.find("tdc "), 0u);
}

const char* const valid =
    "module A record 0123456789abcdef order 1; namespace T; enum E : u8 {a=0}";

TEST(Output, IsWrittenOnlyWhereItChanged) {
  Scratch scratch;
  std::string path = scratch.write("A.tdl", valid);
  std::string out = scratch.path("deep/out");
  ASSERT_EQ(runTool({"--out", out, path}).code, 0);
  EXPECT_EQ(readAll(out + "/A.h"), "header of A");
  EXPECT_EQ(readAll(out + "/A.cpp"), "source of A");

  auto old = fs::file_time_type::clock::now() - std::chrono::hours(1);
  fs::last_write_time(out + "/A.h", old);
  scratch.write("deep/out/A.cpp", "stale");
  ASSERT_EQ(runTool({"--out", out, path}).code, 0);
  EXPECT_EQ(fs::last_write_time(out + "/A.h"), old);
  EXPECT_EQ(readAll(out + "/A.cpp"), "source of A");

  EXPECT_EQ(std::distance(fs::directory_iterator(out), fs::directory_iterator()), 2)
      << "a temporary file is left";
}

TEST(Output, IsNotWrittenWhenThereIsAnError) {
  Scratch scratch;
  std::string path = scratch.write("A.tdl", std::string(valid) + " enum F : u8 {}");
  EXPECT_EQ(runTool({"--out", scratch.path("out"), "--depfile", scratch.path("d"), path}).code, 1);
  EXPECT_EQ(runTool({"--lock", scratch.path("lock"), path}).code, 1);
  EXPECT_FALSE(fs::exists(scratch.path("out")) || fs::exists(scratch.path("d")) ||
               fs::exists(scratch.path("lock")));
}

TEST(Output, ThatCannotBeWrittenIsAnError) {
  Scratch scratch;
  std::string path = scratch.write("A.tdl", valid);
  Result result = runTool({"--out", path, path});
  EXPECT_EQ(result.code, 2);
  EXPECT_NE(result.err.find("cannot write"), std::string::npos);
}

TEST(Depfile, NamesEveryFileReadWithPathsEscaped) {
  Scratch scratch;
  fs::create_directory(scratch.path("a b"));
  std::string imported = scratch.write("a b/A.tdl", valid);
  std::string path = scratch.write("B$.tdl",
                                   "module B record 0123456789abcdef order 2;\n"
                                   "import A record 0123456789abcdef;\n"
                                   "namespace U; enum E : u8 { a = 0 }");
  ASSERT_EQ(runTool({"--depfile", scratch.path("d"), "-I" + scratch.path("a b"), "--out",
                     scratch.path("o"), path})
                .code,
            0);
  EXPECT_EQ(readAll(scratch.path("d")), scratch.path("o/B.h") + " " + scratch.path("o/B.cpp") +
                                            ": \\\n  " + scratch.path("B$$.tdl") + " \\\n  " +
                                            scratch.path("a\\ b/A.tdl") + "\n");
  EXPECT_EQ(makeRule({"x#y"}, {}), "x\\#y:\n");
}

TEST(Files, AreReadOnceUnderAnySpelling) {
  Scratch scratch;
  std::string path = scratch.write("A.tdl", valid);
  Result result = runTool({"--lock", scratch.path("lock"), path, scratch.path("./A.tdl"), path});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(readAll(scratch.path("lock")).find("A 0"), readAll(scratch.path("lock")).rfind("A 0"));
}

}  // namespace
}  // namespace tdc::test
