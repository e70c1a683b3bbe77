// What a dump says, whatever the log brought, is what a restore makes of it.
#include <gtest/gtest.h>

#include <ctime>
#include <random>

#include "RunningServer.h"
#include "Tovo/Assert.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "fuzz/Hand.h"
#include "stptool/json/Dump.h"
#include "stptool/json/Load.h"
#include "stptool/json/ParseFile.h"
#include "stptool/model/ModelLibrary.h"

namespace stptool {
namespace {

using Tovo::Entity;
using Buffer = std::unique_ptr<Tovo::ValueBuffer>;

class Restore : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    loadModelLibraries({STP_LIBRARY, SAMPLE_LIBRARY});
    Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  }

  // A value as it comes over the log: of any bytes that its reading takes.
  Buffer value(const Tovo::ValueOps& ops) {
    for (int tries = 0; tries < 500; ++tries) {
      const std::vector<uint8_t> bytes = some();
      Tovo::NboAttrLog::In in(bytes);
      auto read = std::make_unique<Tovo::ValueBuffer>(ops);
      try {
        read->read(in);
        return read;
      } catch (const Tovo::StreamException&) {
        continue;
      } catch (const Tovo::AssertionError&) {
        continue;
      }
    }
    auto initial = std::make_unique<Tovo::ValueBuffer>(ops);
    initial->constructDefault();
    return initial;
  }

  // All ones, which are no number; infinity; mostly zeros, for counts are small; or anything.
  std::vector<uint8_t> some() {
    std::vector<uint8_t> bytes(256);
    const uint32_t kind = random_() % 4;
    if (kind == 0) std::fill(bytes.begin(), bytes.end(), 0xff);
    if (kind == 1) bytes[0] = random_() % 2 == 0 ? 0x7f : 0xff;
    if (kind == 1) bytes[1] = 0xf0;
    if (kind == 2) {
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_() % 16 == 0 ? random_() : 0);
    }
    if (kind == 3) {
      for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random_());
    }
    return bytes;
  }

  std::mt19937 random_{1};
};

std::string dumped(const Tovo::Directory& directory) {
  std::string text;
  dumpDirectory(directory, allLevels, [&](std::string_view part) { text += part; });
  return text;
}

// Trees of every type with references; what a setter refuses has come over the log.
TEST_F(Restore, MakesOfEveryDumpAnEqualTree) {
  size_t warnings = 0;
  for (const Tovo::TovoTypeBase type : fuzz::Hand::types()) {
    SCOPED_TRACE(Tovo::typeName(type));
    std::vector<uint8_t> decisions(3000);
    for (uint8_t& byte : decisions) byte = static_cast<uint8_t>(random_());
    fuzz::Input input(decisions.data(), decisions.size());
    fuzz::Hand hand(input);
    Tovo::Directory directory;
    const Pelmo::Ptr<Entity> root = hand.make(type);
    directory.mount("/a/root", root);
    while (!input.empty()) {
      fuzz::Entities all;
      fuzz::addTree(all, *root);
      try {
        hand.change(*all[input.below(all.size())], all);
      } catch (const std::exception&) {
        continue;
      }
    }
    fuzz::Entities all;
    fuzz::addTree(all, *root);
    for (Entity* entity : all) {
      fuzz::Hand::clearDangling(*entity);
      Tovo::forEachAttribute(entity->tovoType(), [&](Tovo::Attribute attribute) {
        if (attribute.kind() != Tovo::AttributeKind::attribute || random_() % 2 == 0) return;
        Tovo::attributeKept(*entity, attribute, value(attribute.ops())->get());
      });
    }
    const std::string dump = dumped(directory);
    Tovo::Directory again;
    Loader loader(again);
    loader.restores([&](const std::string&) { ++warnings; });
    loader.load(parseJson(dump, "dump"), "dump");
    loader.resolveReferences();
    ASSERT_EQ(dumped(again), dump);
  }
  EXPECT_GT(warnings, 100U);
}

// Values of all types, also those that no entity holds.
TEST_F(Restore, TakesEveryValueThatTheLogTakes) {
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      const ValueShape shape = shapeOf(Tovo::TovoTypeBase{module, i});
      for (int left = shape.ops ? 200 : 0; left > 0; --left) {
        const Json json = toJson(shape, value(*shape.ops)->get());
        const Json read = parseJson(jsonText(json), "value");
        const auto back = fromJson(shape, read, JsonPlace(), [](const JsonError&) {});
        EXPECT_EQ(toJson(shape, back->get()), json) << module->types[i].name;
      }
    }
  }
}

// Of processor time. Where each member is looked for among those before it, this takes far longer.
TEST_F(Restore, TakesTimeInProportionToTheFile) {
  std::string text = R"({"mounts": {"/hw": {"type": "Stp::Hw", "mstiHw": {"": {})";
  for (int i = 0; i < 100000; ++i) text += ", \"Mst" + std::to_string(i) + "\": {}";
  text += "}}}}";
  const std::clock_t start = std::clock();
  Tovo::Directory directory;
  Loader loader(directory);
  loader.replaces(true);
  for (int times = 2; times > 0; --times) loader.load(parseJson(text, "file"), "file");
  EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 10);
}

// The same by the tool, of each kind one.
TEST_F(Restore, WarnsOfWhatAnEditRefuses) {
  const TemporaryFolder folder;
  const struct {
    const char* attribute;
    const char* warning;
  } kept[] = {
      {R"("maxAge": 41)", "/maxAge: found 41; allowed: 6 to 40 s"},
      {R"("forceProtocolVersion": 77)",
       "/forceProtocolVersion: found 77; allowed: one of \"none\""},
      {R"("migrateTime": "nan")", "/migrateTime: found \"nan\"; allowed: a number of seconds"},
      {R"("defaultForceProtocolVersion": "stp")", nullptr},  // only its owner sets it
      {R"("name": "other")", nullptr},                       // fixed when it is made
      {R"("stpiConfig": {"t": {"mstiConfig": {"i": {"instanceId": 5000, "bridgePriority": 65535}}}})",
       "/stpiConfig/t/mstiConfig/i/instanceId: found 5000; allowed: 0 to 4095"},
  };
  std::string members;
  for (const auto& [attribute, warning] : kept) {
    const std::string one =
        std::string(R"({"mounts": {"/c": {"type": "Stp::Config", )") + attribute + "}}}";
    const std::string file = folder.write("one.json", one);
    RunningServer empty(std::vector<std::string>{});
    const Ended edit = empty.run({"load", file});
    EXPECT_EQ(edit.code, 1) << attribute;
    EXPECT_TRUE(holds(edit.err, warning ? warning : "; it "));
    EXPECT_EQ(empty.output({"tree"}), "");
    members += std::string(", ") + attribute;
  }
  const std::string file =
      folder.write("all.json", R"({"mounts": {"/c": {"type": "Stp::Config")" + members + "}}}");

  RunningServer restarted({file});
  RunningServer live(std::vector<std::string>{});
  const Ended restored = live.run({"load", file, "--restore"});
  EXPECT_EQ(restored.code, 0) << restored.err;
  for (const auto& [attribute, warning] : kept) {
    if (!warning) continue;
    const std::string line = file + ": /mounts/~1c" + warning;
    EXPECT_TRUE(holds(restored.err, line));
    EXPECT_TRUE(holds(restarted.tool().err(), line));
  }
  EXPECT_EQ(std::count(restored.err.begin(), restored.err.end(), '\n'), 5) << restored.err;
  const std::string dump = live.dump();
  EXPECT_EQ(restarted.dump(), dump);
  EXPECT_EQ(Json::parse(dump).at("mounts").at("/c").at("forceProtocolVersion"), 77);
  EXPECT_EQ(RunningServer({folder.write("dump.json", dump)}).dump(), dump);

  EXPECT_TRUE(complains(live.run({"set", "/c", "migrateTime", "inf"}), 1,
                        "migrateTime: 'inf' is refused: seconds that are not finite"));

  // An element that is there with other parameters makes way, as it does for the log.
  const std::string other = folder.write("other.json", R"({"mounts": {"/c": {"stpiConfig":
      {"t": {"mstiConfig": {"i": {"instanceId": 7, "bridgePriority": 4096}}}}}}})");
  EXPECT_EQ(live.run({"load", other}).code, 1);
  const auto watch = live.watch({"/c/stpiConfig", "--count", "3"});
  EXPECT_EQ(live.output({"load", other, "--restore"}), "");
  const std::string shown = watch->end().out;
  const size_t gone = shown.find("- /c/stpiConfig/t/mstiConfig/i\n");
  ASSERT_NE(gone, std::string::npos) << shown;
  EXPECT_TRUE(holds(shown.substr(gone), "+ /c/stpiConfig/t/mstiConfig/i\n"));
  EXPECT_EQ(live.output({"get", "/c/stpiConfig/t/mstiConfig/i", "instanceId"}), "7\n");
}

}  // namespace
}  // namespace stptool
