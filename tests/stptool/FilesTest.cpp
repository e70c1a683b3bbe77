// Trees as files: what is dumped loads again, what is wrong with a file is said and loads nothing.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;

TEST(Dump, LoadsAgainAsTheSameTree) {
  RunningServer first;
  const std::string dump = first.dump();
  EXPECT_EQ(Json::parse(dump), Json::parse(readFile(EXAMPLE)));
  RunningServer second({first.folder().write("dump.json", dump)});
  EXPECT_EQ(second.dump(), dump);
}

TEST(Dump, KeepsNamesThatAreHardToWrite) {
  const TemporaryFolder folder;
  // A quote that nothing closes is one like any other character.
  RunningServer server({folder.write("names.json", R"({"mounts": {"/hw": {"type": "Stp::Hw",
      "mstiHw": {"a/b[c]\\d": {}, "'\\'quoted\\''": {}, " blank ": {}, "\u00e4": {}, "~1": {},
                 "'\\xff\\x0a'": {}, "'open": {}, "'it's'": {}}}}})")});
  const std::string dump = server.dump();
  const Json names = Json::parse(dump).at("mounts").at("/hw").at("mstiHw");
  EXPECT_EQ(names.size(), 8u);
  EXPECT_TRUE(names.contains("'\\'open'") && names.contains("'\\'it\\'s\\''")) << names;
  EXPECT_EQ(server.output({"get", "/hw/mstiHw['\\\\xff\\\\x0a']", "name"}), "'\\xff\\x0a'\n");
  RunningServer second({folder.write("dump.json", dump)});
  EXPECT_EQ(second.dump(), dump);
}

TEST(Dump, OfAPartLoadsIntoATreeThatHasTheRest) {
  RunningServer server;
  const std::string whole = server.dump();
  const std::string instance = server.output({"dump", "/stp/hw/mstiHw/Mst2"});
  const std::string port = server.output({"dump", portPath("Ethernet1", 2)});
  const Json expected = Json::parse(
      R"({"mounts":{"/stp/hw":{"type":"Stp::Hw","name":"hw","mstiHw":{"Mst2":{"mstiPortHw":)"
      R"({"Ethernet1":{"portState":"forwarding","active":true}}}}}}})");
  EXPECT_EQ(Json::parse(port), expected);
  EXPECT_EQ(server.output({"del", "/stp/hw/mstiHw/Mst2"}), "");
  EXPECT_EQ(server.output({"load", server.folder().write("part.json", instance)}), "");
  EXPECT_EQ(server.dump(), whole);
}

TEST(Load, MergesUnlessItReplaces) {
  RunningServer server;
  const std::string file = server.folder().write("part.json", R"({"mounts": {
      "/stp/hw": {"mstiHw": {"Mst0": {"mstiPortHw": {"Ethernet1": {"active": false}}}}},
      "/stp/new": {"type": "Stp::ProtoStatus", "overrideCount": 7}}})");
  EXPECT_EQ(server.output({"load", file}), "");
  EXPECT_EQ(server.output({"get", portPath("Ethernet1"), "active"}), "false\n");
  EXPECT_EQ(server.output({"get", portPath("Ethernet1"), "portState"}), "forwarding\n");
  EXPECT_EQ(server.output({"get", portPath("Ethernet2"), "active"}), "true\n");
  EXPECT_EQ(server.output({"get", "/stp/new", "overrideCount"}), "7\n");
  EXPECT_EQ(server.output({"load", file, "--replace"}), "");
  EXPECT_EQ(server.output({"get", "/stp/hw/mstiHw"}), "Mst0\n");
  EXPECT_EQ(server.output({"get", "/stp/hw/mstiHw/Mst0/mstiPortHw"}), "Ethernet1\n");
  // However the key is written, what is mentioned stays what it is.
  const std::string quoted = server.folder().write("quoted.json", R"({"mounts": {
      "/stp/hw": {"mstiHw": {"'Mst0'": {"mstiPortHw": {"'Ethernet1'": {}}}}}}})");
  EXPECT_EQ(server.output({"load", quoted, "--replace"}), "");
  EXPECT_EQ(server.output({"get", portPath("Ethernet1"), "active"}), "false\n");
}

struct WrongFile {
  const char* what;
  const char* text;
  const char* message;  // behind the file's name
};

const std::string nested(100000, '[');

const WrongFile wrongFiles[] = {
    {"nested", nested.c_str(), ": objects and arrays are nested deeper than 100 levels"},
    {"empty", "", ":1:1: "},
    {"cut short", "{\n  \"mounts\": {", ":2:14: "},
    {"comma", "{\"mounts\": {},}", ":1:15: "},
    {"huge number", R"({"mounts": {"/p": {"type": "Stp::ProtoStatus", "overrideCount": 1e999}}})",
     ":1:70: number overflow parsing '1e999'"},
    {"no object", "[]", ": /: found []"},
    {"no mounts", "{}", R"(: /: lacks the member "mounts")"},
    {"other member", R"({"mounts": {}, "extra": 1})", ": /extra: unknown member"},
    {"mounts a list", R"({"mounts": []})", ": /mounts: found []"},
    {"root a number", R"({"mounts": {"/p": 1}})", ": /mounts/~1p: found 1"},
    {"no type", R"({"mounts": {"/p": {}}})", R"(: /mounts/~1p: lacks "type")"},
    {"unknown type", R"({"mounts": {"/p": {"type": "Stp::ProtoState"}}})",
     ": /mounts/~1p/type: 'Stp::ProtoState' is no entity type; did you mean 'Stp::ProtoStatus'?"},
    {"value type", R"({"mounts": {"/p": {"type": "Stp::PortState"}}})",
     ": /mounts/~1p/type: 'Stp::PortState' is no entity type"},
    {"bad mount path", R"({"mounts": {"p": {"type": "Stp::ProtoStatus"}}})", ": /mounts/p: 'p'"},
    {"mount below mount", R"({"mounts": {"/p": {"type": "Stp::Hw"}, "/p/q": {"type": "Stp::Hw"}}})",
     ": /mounts/~1p~1q: "},
    {"unknown attribute", R"({"mounts": {"/p": {"type": "Stp::ProtoStatus", "runmode": 1}}})",
     ": /mounts/~1p/runmode: Stp::ProtoStatus has no 'runmode'; did you mean 'runMode'?"},
    {"twice", R"({"mounts": {"/p": {"type": "Stp::ProtoStatus", "runMode": 1, "runMode": 1}}})",
     ": /mounts/~1p/runMode: stands twice"},
    {"twice in two ways",
     R"({"mounts": {"/p": {"type": "Stp::Hw", "mstiHw": {"'lit'": {}, "a": {}, "lit": {}}}}})",
     ": /mounts/~1p/mstiHw/lit: is the same key as /mounts/~1p/mstiHw/'lit'"},
    {"twice in a list", R"({"mounts": {"/p": [1, {"a": [{}, {"b": 1, "c": 2, "b": 3}]}]}})",
     ": /mounts/~1p/1/a/1/b: stands twice"},
    {"another key of its own",
     R"({"mounts": {"/p": {"type": "Stp::OCMstiStateDir", "state": {"5": {"mstId": 6}}}}})",
     ": /mounts/~1p/state/5: the value's own key is not '5'"},
    {"list for a collection", R"({"mounts": {"/p": {"type": "Stp::Hw", "mstiHw": ["Mst0"]}}})",
     R"(: /mounts/~1p/mstiHw: found ["Mst0"])"},
    {"type in an element",
     R"({"mounts": {"/p": {"type": "Stp::Hw", "mstiHw": {"Mst0": {"type": "Stp::MstiHw"}}}}})",
     ": /mounts/~1p/mstiHw/Mst0/type: Stp::MstiHw has no 'type'"},
    {"deep down",
     R"({"mounts": {"/p": {"type": "Stp::Hw", "mstiHw": {"Mst0": {"mstiPortHw":
        {"Ethernet3/1": {"portState": true}}}}}}})",
     ": /mounts/~1p/mstiHw/Mst0/mstiPortHw/Ethernet3~11/portState: found true"},
    // The good half of a file is not loaded either.
    {"second of two",
     R"({"mounts": {"/good": {"type": "Stp::Hw"}, "/p": {"type": "Stp::Hw", "x": 1}}})",
     ": /mounts/~1p/x: Stp::Hw has no 'x'"},
};

TEST(Load, SaysWhatIsWrongWithAFileAndLoadsNothing) {
  RunningServer server;
  const std::string before = server.dump();
  for (const WrongFile& wrong : wrongFiles) {
    SCOPED_TRACE(wrong.what);
    const std::string file = server.folder().write("wrong.json", wrong.text);
    const std::string socket = server.folder().file("socket2");
    const std::string message = "stptool: " + file + wrong.message;
    const Ended served = runTool({"serve", "--socket", socket, "--load", file});
    EXPECT_EQ(served.code, 1);
    EXPECT_EQ(served.out, "");
    EXPECT_TRUE(served.err.starts_with(message)) << served.err << message;
    EXPECT_NE(access(socket.c_str(), F_OK), 0) << "a socket was made";

    // A root that is there already needs no type; everything else is the same.
    const Ended loaded = server.run({"load", file});
    EXPECT_EQ(loaded.code, 1);
    EXPECT_TRUE(loaded.err.starts_with(message)) << loaded.err << message;
    EXPECT_EQ(std::count(loaded.err.begin(), loaded.err.end(), '\n'), 1) << loaded.err;
  }
  EXPECT_EQ(server.dump(), before);
}

TEST(Load, SaysWhatDoesNotFitTheLiveTree) {
  RunningServer server;
  const std::string before = server.dump();
  const std::string file =
      server.folder().write("wrong.json", R"({"mounts": {"/stp/good": {"type": "Stp::Hw"},
                                   "/stp/hw": {"type": "Stp::ProtoStatus"}}})");
  EXPECT_TRUE(complains(server.run({"load", file}), 1,
                        "/mounts/~1stp~1hw/type: found \"Stp::ProtoStatus\", but /stp/hw is a "
                        "Stp::Hw already"));
  EXPECT_EQ(server.dump(), before);
  EXPECT_EQ(server.run({"load", server.folder().file("none.json")}).code, 1);
  EXPECT_EQ(server.run({"load", "/"}).code, 1) << "a folder";
}

// A tree with references, records, lists, a union, optionals, keys of all kinds.
TEST(Load, TakesReferencesForwardAndBetweenFiles) {
  const TemporaryFolder folder;
  const std::string file = folder.write("config.json", R"({"mounts": {"/c": {
      "type": "Stp::Config", "name": "c", "maxAge": 6, "mstConfigSpec": {"regionId": "r"},
      "backupToBackupIntfConfig": {"Ethernet1": "/c/backupIntfConfig/Ethernet1",
                                   "Ethernet2": "/c/backupIntfConfig/Ethernet1"},
      "backupIntfConfig": {"Ethernet1": {"backupIntfName": "Ethernet2",
                                         "backupPreferredVlans": {"10": true, "9": false}}},
      "disabledVlan": {"7": true}}}})");
  RunningServer server({file});
  EXPECT_EQ(server.output({"get", "/c/backupToBackupIntfConfig/Ethernet2"}),
            "/c/backupIntfConfig/Ethernet1\n");
  EXPECT_TRUE(holds(server.output({"tree", "/c"}), "Config  Ethernet1,Ethernet2=Ethernet1\n"));
  const auto watch = server.watch({"--count", "1"});
  server.output({"del", "/c/backupToBackupIntfConfig/Ethernet2"});
  EXPECT_TRUE(holds(watch->end().out, "[Ethernet2]  /c/backupIntfConfig/Ethernet1\n"));
  const auto back = server.watch({"--count", "1"});
  server.output(
      {"set", "/c", "backupToBackupIntfConfig[Ethernet2]", "/c/backupIntfConfig/Ethernet1"});
  EXPECT_TRUE(holds(back->end().out, "[Ethernet2]  /c/backupIntfConfig/Ethernet1\n"));
  EXPECT_EQ(server.output({"get", "/c/backupIntfConfig/Ethernet1", "backupIntfName"}),
            "Ethernet2\n");
  EXPECT_EQ(server.output({"get", "/c/backupIntfConfig/Ethernet1/backupPreferredVlans/9"}),
            "false\n");
  EXPECT_EQ(server.output({"set", "/c", "disabledVlan[8]", "true", "disabledVlan[7]", "false"}),
            "");
  EXPECT_EQ(server.output({"get", "--json", "/c", "disabledVlan"}),
            "{\n  \"disabledVlan\": {\"7\": false, \"8\": true}\n}\n");
  const Ended range = server.run({"set", "/c", "maxAge", "41"});
  EXPECT_TRUE(complains(range, 1, "/c: maxAge: '41' is refused; allowed: 6 to 40 s"));

  const std::string dump = server.dump();
  RunningServer second({folder.write("dump.json", dump)});
  EXPECT_EQ(second.dump(), dump);

  const struct {
    const char* change;
    const char* message;
  } wrong[] = {
      {R"("maxAge": -1)", ": /mounts/~1c/maxAge: found -1; allowed: 6 to 40 s"},
      {R"("maxAge": "20")", ": /mounts/~1c/maxAge: found \"20\"; allowed: 6 to 40 s"},
      {R"("maxAgeLow": 7)", ": /mounts/~1c/maxAgeLow: found 7; it is a constant and is 6"},
      {R"("backupToBackupIntfConfig": {"E": "/c/backupIntfConfig/E"})",
       ": /mounts/~1c/backupToBackupIntfConfig/E: "},
      {R"("backupToBackupIntfConfig": {"E": "/c"})", ": /mounts/~1c/backupToBackupIntfConfig/E: "},
      {R"("backupToBackupIntfConfig": {"E": null})",
       ": /mounts/~1c/backupToBackupIntfConfig/E: found null"},
      {R"("backupIntfConfig": {"E": {}})",
       ": /mounts/~1c/backupIntfConfig/E: lacks 'backupIntfName'"},
      {R"("disabledVlan": {"65536": true})", ": /mounts/~1c/disabledVlan/65536: found '65536'"},
      {R"("disabledVlan": {"1": 1})", ": /mounts/~1c/disabledVlan/1: found 1; allowed: true or"},
      {R"("mstConfigSpec": {"configRevision": 65536})",
       ": /mounts/~1c/mstConfigSpec/configRevision: found 65536"},
  };
  for (const auto& [change, message] : wrong) {
    const std::string bad = folder.write(
        "bad.json", std::string(R"({"mounts": {"/c": {"type": "Stp::Config", )") + change + "}}}");
    for (const Ended& ended : {server.run({"load", bad}),
                               runTool({"serve", "--socket", folder.file("s"), "--load", bad})}) {
      EXPECT_TRUE(complains(ended, 1, bad + message));
    }
  }
  EXPECT_EQ(server.dump(), dump);
}

}  // namespace
