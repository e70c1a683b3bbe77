#include "Tovo/Directory.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "Pelmo/Ptr.h"
#include "SampleModule.h"
#include "Support.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Path.h"

namespace Tovo {
namespace {

using namespace platform::test;
using Sample::Thing;

Pelmo::Ptr<Entity> thing(const char* name) { return Pelmo::Ptr<Thing>::adopt(new Thing(name)); }

TEST(Directory, TakesWellFormedPathsThatDoNotOverlap) {
  Directory directory;
  const auto root = thing("root");
  for (const char* path :
       {"", "/", "a", "a/b", "/a/", "/a//b", "//a", "/a[b", "/a]", "/a\nb", "/\x7f"}) {
    SCOPED_TRACE(path);
    thrownBy<PathException>([&] { directory.mount(path, root); });
  }
  EXPECT_TRUE(directory.mounts().empty());

  directory.mount("/stp/hw", root);
  for (const char* path : {"/stp/hw", "/stp", "/stp/hw/below"}) {
    const std::string said = saidBy<PathException>([&] { directory.mount(path, thing("other")); });
    EXPECT_NE(said.find("'/stp/hw'"), std::string::npos) << path << said;
  }
  directory.mount("/stp/hw2", thing("beside"));
  directory.mount("/stp/h", root);  // a second time, under another path
  directory.mount("/s p\xc3\xa4", thing("odd"));
  EXPECT_EQ(directory.mounts().size(), 4u);
  EXPECT_EQ(directory.mounted("/stp/hw"), root.get());
  EXPECT_EQ(directory.mounted("/stp"), nullptr);
  EXPECT_EQ(directory.unmount("/stp/hw"), root);
  EXPECT_EQ(directory.unmount("/stp/hw"), nullptr);
  EXPECT_EQ(*directory.mountPath(*root), "/stp/h");
  // Why a root may not be written goes with it.
  directory.mount("/stp/hw", thing("fixed"), "it is fixed");
  EXPECT_EQ(directory.whyReadOnly("/stp/hw"), "it is fixed");
  directory.unmount("/stp/hw");
  directory.mount("/stp/hw", thing("free"));
  EXPECT_EQ(directory.whyReadOnly("/stp/hw"), "");
}

TEST(Directory, MakesEntitiesByTheNameOfTheirType) {
  Directory directory;
  const auto made = directory.newEntity("/a/b c", "Sample::Thing");
  EXPECT_EQ(made->name(), "b c");
  EXPECT_EQ(directory.mounted("/a/b c"), made.get());
  const int argument = 0;
  const void* const arguments[] = {&argument};
  thrownBy<TypeException>([&] { directory.newEntity("/x", "Sample::None"); });
  thrownBy<TypeException>([&] { directory.newEntity("/x", "Nelka::EthAddr"); });
  thrownBy<NewEntityArgsException>([&] { directory.newEntity("/x", "Sample::Thing", arguments); });
  thrownBy<PathException>([&] { directory.newEntity("/a/b c", "Sample::Thing"); });
  thrownBy<PathException>([&] { directory.newEntity("x", "Sample::Thing"); });
  EXPECT_EQ(directory.mounts().size(), 1u);
}

// Roots end with their directory, one after the other; whoever hears of it finds it in order.
TEST(Directory, IsUsableUntilItsLastRootIsGone) {
  struct Watcher : Pelmo::Observer {
    explicit Watcher(Directory& where) : directory(where) {}
    void handleChange(const Pelmo::Change&) override {}
    void handlePublisherGone() override {
      told = true;
      for (const char* path : {"/a", "/b", "/c", "/late"}) directory.unmount(path);
      directory.mount("/late", thing("late"));
    }
    Directory& directory;
    bool told = false;
  };
  auto directory = std::make_unique<Directory>();
  Watcher a(*directory), b(*directory), c(*directory);
  a.observe(directory->newEntity("/a", "Sample::Thing")->publisher());
  b.observe(directory->newEntity("/b", "Sample::Thing")->publisher());
  c.observe(directory->newEntity("/c", "Sample::Thing")->publisher());
  delete directory.release();  // known by its address to the end
  EXPECT_TRUE(a.told && b.told && c.told);
}

TEST(Path, OfARootIsWhereItIsMounted) {
  const auto root = thing("root");
  EXPECT_EQ(pathOf(*root), "(Sample::Thing root)");
  auto first = std::make_unique<Directory>();
  auto second = std::make_unique<Directory>();
  auto third = std::make_unique<Directory>();
  first->mount("/first", thing("other"));
  second->mount("/second", root);
  third->mount("/third", thing("other"));
  EXPECT_EQ(pathOf(*root), "/second");
  EXPECT_EQ(pathOf(*root, "attribute"), "/second/attribute");
  // Directories leave the process's list in any order.
  third.reset();
  first.reset();
  EXPECT_EQ(pathOf(*root), "/second");
  second.reset();
  EXPECT_EQ(pathOf(*root), "(Sample::Thing root)");
  EXPECT_EQ(Directory::first(), nullptr);
}

TEST(Path, ResolvesMountsAndSaysWhatThereIs) {
  Directory directory;
  thrownBy<PathException>([&] { resolvePath(directory, "/a"); });
  const auto root = directory.newEntity("/a/b", "Sample::Thing");
  for (const char* path : {"/a/b", "/a/b/"}) {
    const PathTarget target = resolvePath(directory, path);
    EXPECT_EQ(target.entity, root);
    EXPECT_FALSE(target.attribute);
  }
  for (const char* path : {"", "/", "/a", "/a/bc", "/a/b/none", "/a/b//", "/a/b[x]"}) {
    SCOPED_TRACE(path);
    thrownBy<PathException>([&] { resolvePath(directory, path); });
  }
  thrownBy<PathException>([&] { resolveNewElement(directory, "/a/b"); });
  EXPECT_EQ(saidBy<PathException>([&] { resolvePath(directory, "/x"); }),
            "nothing is mounted at '/x'; mounted: /a/b");
  for (int i = 10; i < 26; ++i) directory.mount("/" + std::to_string(i), thing("more"));
  EXPECT_TRUE(saidBy<PathException>([&] { resolvePath(directory, "/x"); }).ends_with("/25, ..."));
}

TEST(Path, KeysAreQuotedWhereTheyMustBe) {
  const std::pair<const char*, const char*> cases[] = {
      {"Mst1", "/Mst1"},    {"a b", "/a b"},    {"Ethernet3/1", "[Ethernet3/1]"},
      {"", "[]"},           {" a", "[ a]"},     {"a ", "[a ]"},
      {"a]b[", "[a\\]b[]"}, {"a\\", "[a\\\\]"}, {"/", "[/]"},
  };
  for (const auto& [key, expected] : cases) {
    std::string path;
    appendKey(path, key);
    EXPECT_EQ(path, expected);
  }
}

}  // namespace
}  // namespace Tovo
