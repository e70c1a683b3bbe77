#include <gtest/gtest.h>

#include <algorithm>

#include "tests/tdc/Scratch.h"

namespace tdc::test {
namespace {

class Everything : public testing::Test {
 protected:
  const Type& type(const std::string& name) { return loaded_.type(name); }
  const Member& member(const std::string& type, const std::string& name) {
    return loaded_.member(type, name);
  }

  Loaded loaded_{everything()};
};

TEST_F(Everything, LoadsAndKeepsTheHead) {
  const Module* module = loaded_.module();
  ASSERT_NE(module, nullptr) << loaded_.errors();
  EXPECT_EQ(module->name, "Everything");
  EXPECT_EQ(module->record, "00112233445566ff");
  EXPECT_EQ(module->order, 7u);
  EXPECT_EQ(module->doc, "Documentation of the module.");
  ASSERT_EQ(module->imports.size(), 1u);
  EXPECT_TRUE(module->imports[0]->external);
  EXPECT_EQ(module->imports[0]->types[1]->qualifiedName, "Ext::Mode");
  EXPECT_EQ(module->imports[0]->types[1]->header, "Ext/Mode.h");
}

TEST_F(Everything, EncodedSizes) {
  struct Case {
    const char* type;
    std::optional<std::uint64_t> size;
  };
  for (const Case& c : {Case{"Test::Version", 4}, Case{"Test::Color", 1}, Case{"Test::Priority", 2},
                        Case{"Test::Record", {}}, Case{"Test::Either", 3}, Case{"Test::Base", {}},
                        Case{"Test::Input::Held", 2}}) {
    EXPECT_EQ(type(c.type).encodedSize, c.size) << c.type;
  }
  Loaded wide(
      "module Test record 0123456789abcdef order 1; namespace T;\n"
      "enum E : u8 { a = 0 } value V { 2 field e : E wire u32; 3 field t : Seconds; }");
  EXPECT_EQ(wide.type("T::V").encodedSize, 12u);
}

TEST_F(Everything, TypeFlags) {
  const Type& record = type("Test::Record");
  EXPECT_TRUE(record.noArguments && record.handParse && record.handOrder && !record.hashable);
  EXPECT_EQ(record.order, Order::reflected);
  EXPECT_TRUE(type("Test::Id").hashable && type("Test::Id").identityHash);
  EXPECT_EQ(type("Test::Id").order, Order::declared);
  const Type& leaf = type("Test::Input::Leaf");
  EXPECT_TRUE(leaf.factory && leaf.revalidates);
  EXPECT_EQ(leaf.base, &type("Test::Base"));
  EXPECT_EQ(leaf.depth, 1u);
}

TEST_F(Everything, Defaults) {
  using Kind = Default::Kind;
  const Default& value = member("Test::Priority", "value").initial;
  EXPECT_EQ(value.kind, Kind::number);
  EXPECT_EQ(value.number, 0x8000);
  EXPECT_EQ(value.origin, &member("Test::Priority", "defaultPriority"));
  EXPECT_EQ(value.spelling, "defaultPriority");

  const Default& color = member("Test::Record", "color").initial;
  EXPECT_EQ(color.kind, Kind::enumerator);
  EXPECT_EQ(color.literal, type("Test::Color").findLiteral("green"));
  EXPECT_EQ(member("Test::Record", "flag").initial.kind, Kind::absent);
  EXPECT_EQ(member("Test::Record", "time").initial.real, 3.5);
  EXPECT_EQ(member("Test::Record", "text").initial.text, std::string("a\\b\"c\0d", 7));
  EXPECT_EQ(member("Test::Record", "address").initial.text, "ff:ff:ff:ff:ff:ff");
  EXPECT_EQ(member("Test::Record", "mode").initial.number, 2u);
  EXPECT_EQ(member("Test::Record", "id").initial.kind, Kind::implicit);
  EXPECT_EQ(member("Test::Base", "sameAge").initial.origin, &member("Test::Base", "age"));
  EXPECT_EQ(member("Test::Base", "sameAge").initial.number, 20u);
}

TEST_F(Everything, MembersReferToMembers) {
  const Member& role = member("Test::Flags", "role");
  EXPECT_EQ(role.field, &member("Test::Flags", "value"));
  EXPECT_EQ(role.lowBit, 2u);
  EXPECT_EQ(role.highBit, 3u);
  EXPECT_EQ(role.type.type, &type("Test::Flags::Role"));

  const Member& age = member("Test::Base", "age");
  ASSERT_TRUE(age.range.has_value());
  EXPECT_EQ(age.range->low.constant, &member("Test::Base", "low"));
  EXPECT_EQ(age.range->high.value, 40u);
  EXPECT_EQ(member("Test::Priority", "value").range->low.constant, nullptr);
  EXPECT_EQ(member("Test::Priority", "value").unit, "a \"unit\"");

  const Member& leaf = member("Test::Input::Root", "leaf");
  EXPECT_EQ(leaf.key, builtIn("String"));
  EXPECT_EQ(leaf.keyMember, nullptr);
  EXPECT_TRUE(leaf.nocompare);
  ASSERT_EQ(leaf.parameters.size(), 1u);
  EXPECT_EQ(leaf.parameters[0], &member("Test::Base", "nonce"));

  const Member& keyed = member("Test::Input::Root", "keyed");
  EXPECT_EQ(keyed.keyMember, &member("Test::Input::Keyed", "id"));
  EXPECT_EQ(keyed.key, &type("Test::Id"));
  EXPECT_EQ(member("Test::Input::Root", "either").key, &type("Test::Id"));
  EXPECT_EQ(member("Test::Input::Root", "byLeaf").key, &type("Test::Id"));
  EXPECT_TRUE(member("Test::Input::Leaf", "root").constTarget);
  EXPECT_FALSE(member("Test::Input::Root", "self").constTarget);
}

TEST(Documentation, IsJoinedAndHasThreeSlashes) {
  Loaded loaded(
      "module Test record 0123456789abcdef order 1; namespace T;\n"
      "//// A rule.\n/// Two lines\n/// of text.\nenum E : u8 { a = 0 }");
  EXPECT_EQ(loaded.type("T::E").doc, "Two lines\nof text.");
}

TEST(Names, AreFoundFromWithinOutwards) {
  Loaded loaded(
      "module Test record 0123456789abcdef order 1;\n"
      "namespace A; enum E : u8 { a = 0 } enum F : u8 { f = 0 }\n"
      "namespace A::B; enum E : u8 { b = 0 }\n"
      "entity Base { enum E : u8 { c = 0 } }\n"
      "entity X { enum E : u8 { d = 0 } 258 attr e : E; 259 attr f : F; 260 attr full : A::E; }\n"
      "entity Y : Base { 386 attr e : E; }\n"
      "entity Z { 258 attr e : E; 259 attr outer : B::E; 260 attr optional : Optional; }\n"
      "value Optional { 2 field range : u8 range 0..1; 3 field key : optional bool; }");
  ASSERT_NE(loaded.module(), nullptr) << loaded.errors();
  struct Case {
    const char* type;
    const char* member;
    const char* found;
  };
  for (const Case& c : {Case{"A::B::X", "e", "A::B::X::E"}, Case{"A::B::Z", "outer", "A::B::E"},
                        Case{"A::B::X", "f", "A::F"}, Case{"A::B::X", "full", "A::E"},
                        Case{"A::B::Y", "e", "A::B::Base::E"}, Case{"A::B::Z", "e", "A::B::E"},
                        Case{"A::B::Z", "optional", "A::B::Optional"}}) {
    EXPECT_EQ(loaded.member(c.type, c.member).type.type->qualifiedName, c.found)
        << c.type << "::" << c.member;
  }
}

TEST(Imports, AreTransitiveAndDescribedModulesMayBeNamedShortly) {
  Scratch scratch;
  const std::string ext =
      "import Ext record 0123456789abcdef { value Ext::Addr bytes 6 in \"Ext/Addr.h\"; }\n";
  scratch.write("One.tdl", "module One record 1111111111111111 order 1;\n" + ext +
                               "namespace T; value A { 2 field a : Ext::Addr; }");
  scratch.write("Two.tdl",
                "module Two record 2222222222222222 order 2;\n" + ext +
                    "import One record 1111111111111111;\nnamespace T; value B { 2 field a : A; }");
  std::string path = scratch.write("Three.tdl",
                                   "module Three record 3333333333333333 order 3;\n"
                                   "import Ext record 0123456789abcdef;\n"
                                   "import Two record 2222222222222222;\n"
                                   "namespace T; value C { 2 field a : A; 3 field b : B; "
                                   "4 field c : Ext::Addr; }");
  SourceFiles files;
  Diagnostics diagnostics;
  Program program(files, diagnostics, {});
  const Module* three = program.load(path);
  ASSERT_NE(three, nullptr) << diagnostics.render();
  std::vector<std::string> names;
  for (const Module* module : three->reachable) names.push_back(module->name);
  EXPECT_EQ(names, (std::vector<std::string>{"Ext", "One", "Two"}));
  EXPECT_EQ(three->find("T::C")->encodedSize, 18u);
  EXPECT_EQ(files.all().size(), 3u);
}

TEST(Definitions, PointersMayFormCyclesAndOtherUsesDoNotForceThem) {
  Loaded loaded(
      "module Test record 0123456789abcdef order 1; namespace T;\n"
      "entity A { 258 ptr b : B; 259 own c : C key name; }\n"
      "entity B { 258 ptr a : A; 259 attr v : V; }\n"
      "entity C { 258 ref a : A key String; }\n"
      "value V { 2 const w : W = 1; 3 field a : u8; }\n"
      "value W { 2 field a : u8; 3 const other : W = 2; }\n");
  ASSERT_NE(loaded.module(), nullptr) << loaded.errors();
  const std::vector<const Type*>& order = loaded.module()->definitions;
  auto place = [&](const char* name) {
    return std::find(order.begin(), order.end(), &loaded.type(name)) - order.begin();
  };
  EXPECT_EQ(order.size(), 5u);
  EXPECT_LT(place("T::W"), place("T::V"));
  EXPECT_LT(place("T::V"), place("T::B"));
}

TEST(Ids, EachLevelHasItsOwn) {
  Loaded loaded(
      "module Test record 0123456789abcdef order 1; namespace T;\n"
      "entity C : B { 514 attr c : u8; } entity B : A { 386 attr b : u8; }\n"
      "entity A { 258 attr a : u8; }");
  ASSERT_NE(loaded.module(), nullptr) << loaded.errors();
  EXPECT_EQ(loaded.member("T::C", "c").id, 514u);
  EXPECT_EQ(loaded.member("T::C", "a").id, 258u);
}

}  // namespace
}  // namespace tdc::test
