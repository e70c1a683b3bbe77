#include "tdc/lock/Lock.h"

#include <gtest/gtest.h>

#include "tests/tdc/Scratch.h"

namespace tdc::test {
namespace {

TEST(Lock, HasALineForEverythingThatPeersShare) {
  Scratch scratch;
  std::string second = scratch.write(
      "B.tdl",
      "module B record 0123456789abcdef order 2; namespace T;\n"
      "enum E : u8 { red = 0, green = 0x2 }\n"
      "value V hash { 2 field a : u16 = low range low..9 unit \"1/256 s\"; 3 const low : u16 = 1; "
      "}\n"
      "value W {\n"
      "  2 field e : optional E = none wire u32; 3 field s : String = \"a b\\x00\\x7f\";\n"
      "  4 field v : V; 5 field t : Seconds = 0.1 fixed; 6 field b : u8; 258 bits x : b[1..2] as "
      "u8;\n"
      "  7 field u : Seconds = 30.0; 8 field w : Seconds = -100000.0;\n"
      "  9 field x1 : Seconds = 300000000000000000000.0; 10 field y : Seconds = 0.00003; }\n"
      "entity X factory { 258 param p : u8; 259 attr on : bool = true readonly; 260 attr e : E = "
      "green; }\n"
      "entity Y : X { 386 own z : X(p) key name nocompare;\n"
      "  387 map m : V key V; 388 ptr c : const X; }\n"
      "value I hash identity order declared noargs { 2 field value : u8; }\n");
  std::string first = scratch.write(
      "A.tdl",
      "module A record 0123456789abcdef order 1; namespace T; scope S {enum E : i32 { a = "
      "-1 }}");
  ASSERT_EQ(runTool({"--lock", scratch.path("lock"), second, first}).code, 0);
  EXPECT_EQ(readAll(scratch.path("lock")),
            "# Id list, form 2, by tdc --lock: every line is part of what peers must agree on.\n"
            "A record 0123456789abcdef\n"
            "A 0 T::S::E enum:i32 4 hash,order -\n"
            "A T::S::E -1 a\n"
            "B record 0123456789abcdef\n"
            "B 0 T::E enum:u8 1 hash,order -\n"
            "B T::E 0 red\n"
            "B T::E 2 green\n"
            "B 1 T::V value 2 hash -\n"
            "B T::V 2 a field u16 low=1 low=1..9 - \"1/256\\x20s\"\n"
            "B T::V 3 low const u16 1 - - -\n"
            "B 2 T::W value - - -\n"
            "B T::W 2 e field optional:T::E:u32 none - - -\n"
            "B T::W 3 s field String \"a\\x20b\\x00\\x7f\" - - -\n"
            "B T::W 4 v field T::V - - - -\n"
            "B T::W 5 t field Seconds 0.1 - fixed -\n"
            "B T::W 6 b field u8 - - - -\n"
            "B T::W 258 x bits u8:b[1..2] - - - -\n"
            "B T::W 7 u field Seconds 30 - - -\n"
            "B T::W 8 w field Seconds -100000 - - -\n"
            "B T::W 9 x1 field Seconds 3e+20 - - -\n"
            "B T::W 10 y field Seconds 0.00003 - - -\n"
            "B 3 T::X entity - factory -\n"
            "B T::X 258 p param u8 - - - -\n"
            "B T::X 259 on attr bool true - readonly -\n"
            "B T::X 260 e attr T::E green - - -\n"
            "B 4 T::Y entity - - T::X\n"
            "B T::Y 386 z own String->T::X(p) - - nocompare -\n"
            "B T::Y 387 m map T::V->T::V - - - -\n"
            "B T::Y 388 c ptr T::X - - const -\n"
            "B 5 T::I value 1 identityhash,order,noargs -\n"
            "B T::I 2 value field u8 - - - -\n");
}

TEST(Lock, CheckSaysWhatDiffersAndWhichCommandAcceptsIt) {
  Scratch scratch;
  auto module = [&](const char* members) {
    return scratch.write("A.tdl", std::string("module A record 0123456789abcdef order 1; "
                                              "namespace T; value V {") +
                                      members + "}");
  };
  std::string path = module("2 field a : u8; 3 field b : u8;");
  std::string lock = scratch.path("ids.lock");
  EXPECT_EQ(runTool({"--check-lock", lock, path}).code, 1) << "there is no list yet";
  ASSERT_EQ(runTool({"--lock", lock, path}).code, 0);
  EXPECT_EQ(runTool({"--check-lock", lock, path}).code, 0);

  scratch.write("ids.lock", "# Written by tdc --lock\nA 0 T::V value 2\n");
  const Result earlier = runTool({"--check-lock", lock, path});
  EXPECT_EQ(earlier.code, 1);
  EXPECT_NE(earlier.err.find("an earlier tdc"), std::string::npos) << earlier.err;
  ASSERT_EQ(runTool({"--lock", lock, path}).code, 0);

  module("2 field a : u16; 3 field b : u8;");
  Result result = runTool({"--check-lock", lock, "-I", "x", path});
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err,
            "-A 0 T::V value 2 - -\n"
            "-A T::V 2 a field u8 - - - -\n"
            "+A 0 T::V value 3 - -\n"
            "+A T::V 2 a field u16 - - - -\n"
            "'" +
                lock +
                "' is out of date. If every line above is meant, accept them with\n"
                "    tdc --lock " +
                lock + " -I x " + path + "\n");
}

TEST(Difference, IsEmptyOnlyForEqualTexts) {
  struct Case {
    const char* before;
    const char* after;
    const char* difference;
  };
  for (const Case& c :
       {Case{"", "", ""}, Case{"a\nb\n", "a\nb\n", ""}, Case{"a\nb\n", "b\n", "-a\n"},
        Case{"b\n", "a\nb\nc\n", "+a\n+c\n"}, Case{"a\nb\n", "b\na\n", "-a\n+b\n-b\n+a\n"},
        Case{"a\na\n", "a\n", "-a\n"}}) {
    EXPECT_EQ(difference(c.before, c.after), c.difference) << c.before << "->" << c.after;
  }
  EXPECT_NE(difference("a", "a\n"), "");
}

}  // namespace
}  // namespace tdc::test
