// What a dump says, whatever the log brought, is what a restore makes of it.
#include <gtest/gtest.h>

#include <ctime>
#include <random>

#include "RunningServer.h"
#include "Tovo/Assert.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "Tovo/Collection.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "stptool/json/Dump.h"
#include "stptool/json/Load.h"
#include "stptool/json/ParseFile.h"
#include "stptool/model/ModelLibrary.h"

namespace stptool {
namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::Entity;
using Buffer = std::unique_ptr<Tovo::ValueBuffer>;

class Restore : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    loadModelLibraries({STP_LIBRARY, SAMPLE_LIBRARY});
    Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  }
};

// Values and trees as they come over the log: of any bytes that its reading takes.
class AnyBytes {
 public:
  explicit AnyBytes(uint32_t seed) : random_(seed) {}

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

  Pelmo::Ptr<Entity> entity(Tovo::TovoTypeBase type) {
    const Attribute key = Tovo::keyParameter(type);
    const auto& string = Tovo::primitiveOps(Tovo::PrimitiveCode::string);
    const Buffer name = value(key ? key.ops() : string);
    const std::vector<Buffer> values = parameters(type);
    std::vector<const void*> arguments{name->get()};
    for (const Buffer& parameter : values) arguments.push_back(parameter->get());
    Pelmo::Ptr<Entity> made = Tovo::entityHooks(type)->create(arguments);
    fill(*made);
    return made;
  }

  // Once the tree is mounted, for its references are paths.
  void refer(Entity& entity, const std::vector<Entity*>& all) {
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      const bool isPointer = attribute.kind() == AttributeKind::pointer;
      if (!isPointer && attribute.kind() != AttributeKind::refCollection) return;
      for (Entity* target : all) {
        if (!Tovo::isDerived(target->tovoType(), attribute.type())) continue;
        if (isPointer) {
          Tovo::pointerIs(entity, attribute, target);
        } else {
          Tovo::putReferenceAt(entity, attribute, value(attribute.keyOps())->get(), *target);
        }
      }
    });
  }

 private:
  std::vector<uint8_t> some() {
    std::vector<uint8_t> bytes(256);
    switch (random_() % 4) {
      case 0:  // not a number, the highest number
        std::fill(bytes.begin(), bytes.end(), 0xff);
        break;
      case 1:  // infinity
        bytes[0] = random_() % 2 == 0 ? 0x7f : 0xff;
        bytes[1] = 0xf0;
        break;
      default: {  // mostly small counts, or nothing that is small
        const uint32_t zeros = random_() % 2 == 0 ? 0 : 80;
        for (uint8_t& byte : bytes) {
          const bool small = random_() % 100 < zeros;
          byte = static_cast<uint8_t>(small ? random_() % 10 / 9 * (random_() % 4) : random_());
        }
      }
    }
    return bytes;
  }

  std::vector<Buffer> parameters(Tovo::TovoTypeBase type) {
    std::vector<Buffer> values;
    for (const Attribute parameter : Tovo::constructorParameters(type)) {
      values.push_back(value(parameter.ops()));
    }
    return values;
  }

  void fill(Entity& entity) {
    Tovo::forEachAttribute(entity.tovoType(), [&](Attribute attribute) {
      if (attribute.kind() == AttributeKind::attribute) {
        return Tovo::attributeKept(entity, attribute, value(attribute.ops())->get());
      }
      if (!attribute.isCollection() || attribute.kind() == AttributeKind::refCollection) return;
      for (uint32_t left = random_() % 4; left > 0; --left) {
        const Buffer key = value(attribute.keyOps());
        const Tovo::CollectionOps& ops = Tovo::collectionOps(attribute);
        if (attribute.kind() != AttributeKind::ownCollection) {
          ops.put(entity, key->get(), value(attribute.ops())->get());
        } else if (!Tovo::collectionFind(entity, attribute, key->get())) {
          const std::vector<Buffer> values = parameters(attribute.type());
          std::vector<const void*> arguments;
          for (const Buffer& parameter : values) arguments.push_back(parameter->get());
          fill(*ops.create(entity, key->get(), arguments));
        }
      }
    });
  }

  std::mt19937 random_;
};

std::string dumped(const Tovo::Directory& directory) {
  std::string text;
  dumpDirectory(directory, allLevels, [&](std::string_view part) { text += part; });
  return text;
}

void collect(Entity& entity, std::vector<Entity*>& all) {
  all.push_back(&entity);
  Tovo::forEachChild(entity, [&](Entity& child, Attribute) { collect(child, all); });
}

TEST_F(Restore, MakesOfEveryDumpAnEqualTree) {
  size_t warnings = 0;
  const auto loaded = [&](const std::string& dump, bool restores) {
    Tovo::Directory directory;
    Loader loader(directory);
    if (restores) loader.restores([&](const std::string&) { ++warnings; });
    loader.load(parseJson(dump, "dump"), "dump");
    loader.resolveReferences();
    return dumped(directory);
  };
  size_t refused = 0;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      const Tovo::TovoTypeBase type{module, i};
      if (!Tovo::entityHooks(type)) continue;
      for (uint32_t seed = 0; seed < 6; ++seed) {
        SCOPED_TRACE(std::string(Tovo::typeName(type)) + " " + std::to_string(seed));
        AnyBytes bytes(seed);
        Tovo::Directory directory;
        const Pelmo::Ptr<Entity> root = bytes.entity(type);
        directory.mount("/a/root", root);
        std::vector<Entity*> all;
        collect(*root, all);
        for (Entity* entity : all) bytes.refer(*entity, all);
        const std::string dump = dumped(directory);
        ASSERT_EQ(loaded(dump, true), dump);
        try {
          EXPECT_EQ(loaded(dump, false), dump);
        } catch (const std::exception&) {
          ++refused;
        }
      }
    }
  }
  EXPECT_GT(warnings, 1000U);
  EXPECT_GT(refused, 100U);
}

// Values of all types, also those that no entity holds.
TEST_F(Restore, TakesEveryValueThatTheLogTakes) {
  AnyBytes bytes(1);
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      const ValueShape shape = shapeOf(Tovo::TovoTypeBase{module, i});
      for (int left = shape.ops ? 200 : 0; left > 0; --left) {
        const Buffer value = bytes.value(*shape.ops);
        const Json json = toJson(shape, value->get());
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
    EXPECT_NE(edit.err.find(warning ? warning : "; it "), std::string::npos) << edit.err;
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
    EXPECT_NE(restored.err.find(line), std::string::npos) << restored.err << line;
    EXPECT_NE(restarted.tool().err().find(line), std::string::npos);
  }
  EXPECT_EQ(std::count(restored.err.begin(), restored.err.end(), '\n'), 5) << restored.err;
  const std::string dump = live.dump();
  EXPECT_EQ(restarted.dump(), dump);
  EXPECT_EQ(Json::parse(dump).at("mounts").at("/c").at("forceProtocolVersion"), 77);
  EXPECT_EQ(RunningServer({folder.write("dump.json", dump)}).dump(), dump);

  const Ended edit = live.run({"set", "/c", "migrateTime", "inf"});
  EXPECT_EQ(edit.code, 1);
  EXPECT_NE(edit.err.find("migrateTime: 'inf' is refused: seconds that are not finite"),
            std::string::npos)
      << edit.err;

  // An element that is there with other parameters makes way, as it does for the log.
  const std::string other = folder.write("other.json", R"({"mounts": {"/c": {"stpiConfig":
      {"t": {"mstiConfig": {"i": {"instanceId": 7, "bridgePriority": 4096}}}}}}})");
  EXPECT_EQ(live.run({"load", other}).code, 1);
  const auto watch = live.start({"watch", "/c/stpiConfig", "--count", "3"});
  ASSERT_TRUE(watch->complains("watching"));
  EXPECT_EQ(live.output({"load", other, "--restore"}), "");
  const std::string shown = watch->end().out;
  const size_t gone = shown.find("- /c/stpiConfig/t/mstiConfig/i\n");
  ASSERT_NE(gone, std::string::npos) << shown;
  EXPECT_NE(shown.find("+ /c/stpiConfig/t/mstiConfig/i\n", gone), std::string::npos) << shown;
  EXPECT_EQ(live.output({"get", "/c/stpiConfig/t/mstiConfig/i", "instanceId"}), "7\n");
}

}  // namespace
}  // namespace stptool
