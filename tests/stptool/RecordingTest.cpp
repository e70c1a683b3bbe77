// record, decode, replay: what went over a connection, kept and played again.
#include <gtest/gtest.h>

#include <csignal>
#include <sstream>

#include "RunningServer.h"
#include "stptool/json/Json.h"

namespace {

using stptool::Json;

std::vector<Json> objects(const std::string& text) {
  std::vector<Json> result;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) result.push_back(Json::parse(line));
  return result;
}

// A server's tree, a few changes, a root that comes and goes; ended by the tool, or killed.
struct Recorded {
  explicit Recorded(bool killed = false) : file(server.folder().file("some.rec")) {
    const auto record = server.start({"record", file});
    EXPECT_TRUE(record->complains("recording everything"));
    server.output({"set", portPath("Ethernet1"), "portState", "learning", "active", "false"});
    server.output({"del", portPath("Ethernet2")});
    server.output({"new", "/stp/lab", "Stp::Hw"});
    server.output({"del", "/stp/lab"});
    server.output({"new", "/stp/lab", "Stp::Hw"});
    server.output({"new", "/stp/lab/mstiHw/Mst7"});
    server.output({"new", "/stp/lab/mstiHw/Mst7/mstiPortHw/Ethernet9"});
    server.output({"set", portPath("Ethernet1"), "portState", "discarding"});
    server.run({"watch", "/stp/lab", "--for", "0"});
    server.output({"del", "/stp/lab"});
    server.output({"get", "/stp/hw", "name"});  // what was written before has been sent to all
    dump = server.dump();
    if (killed) {
      record->signal(SIGKILL);
      record->end();
    } else {
      const Ended ended = record->stop();
      EXPECT_EQ(ended.code, 0) << ended.err;
    }
  }

  RunningServer server;
  std::string file;
  std::string dump;
};

TEST(Record, IsDecodedMessageByMessage) {
  const Recorded recorded;
  const Ended decoded = runTool({"decode", recorded.file});
  EXPECT_EQ(decoded.code, 0) << decoded.err;
  EXPECT_EQ(decoded.err, "");
  for (const char* part : {"modules  ", "StpHw 32be5a5bd5db8b19", "/stp/hw  mounted  Stp::Hw",
                           "/mstiPortHw/Ethernet1  portState  discarding -> forwarding\n",
                           "/mstiPortHw/Ethernet9  portState = discarding, active = false\n",
                           "/mstiPortHw/Ethernet1  portState  forwarding -> learning\n",
                           "/mstiPortHw/Ethernet1  active  true -> false\n",
                           "- /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet2\n",
                           "/stp/hw  mstiHw  all of it follows\n", "end  stopped by a signal\n"}) {
    EXPECT_TRUE(holds(decoded.out, part));
  }

  const Ended json = runTool({"decode", recorded.file, "--json"});
  uint64_t offset = 8;
  bool changed = false;
  std::string values;  // of a port, when it was new
  for (const Json& message : objects(json.out)) {
    EXPECT_EQ(message.at("offset"), offset) << message;
    offset += message.at("bytes").get<uint64_t>();
    if (values.empty() && message.at("message") == "values" &&
        message.at("path") == portPath("Ethernet1")) {
      values = message.at("note");
    }
    for (const Json& change : message.at("changes")) {
      if (change.value("new", Json()) != "learning") continue;
      changed = true;
      EXPECT_EQ(change.at("path"), portPath("Ethernet1"));
      EXPECT_EQ(change.at("attribute"), "portState");
      EXPECT_EQ(change.at("old"), "forwarding");
      EXPECT_TRUE(message.at("time").get<std::string>().ends_with("Z"));
    }
  }
  EXPECT_TRUE(changed);
  EXPECT_EQ(values, "portState = forwarding, active = true");
  EXPECT_EQ(offset, readFile(recorded.file).size());
}

TEST(Replay, MakesAnotherServersTreesTheRecordedOnes) {
  const Recorded recorded;
  RunningServer second(std::vector<std::string>{});
  second.output({"new", "/stp/hw", "Stp::Hw"});
  second.output({"new", "/stp/hw/mstiHw/Mst99"});
  const Ended into = runTool({"replay", recorded.file, "--into", second.socket(), "--fast"});
  EXPECT_EQ(into.code, 0) << into.err;
  EXPECT_EQ(second.dump(), recorded.dump) << "without what was removed";

  const Ended printed = runTool({"replay", recorded.file, "--fast", "--json"});
  EXPECT_EQ(printed.code, 0) << printed.err;
  EXPECT_EQ(objects(printed.out).back().at("new"), "discarding");

  // Another type under the path is said, not replaced.
  RunningServer third(std::vector<std::string>{});
  third.output({"new", "/stp/hw", "Stp::ProtoStatus"});
  EXPECT_TRUE(complains(runTool({"replay", recorded.file, "--into", third.socket(), "--fast"}), 1,
                        "the server has a Stp::ProtoStatus there"));
}

// Where the farewell is missing, all that is there is shown or made; then it is said.
TEST(Record, IsReadableWhenItsRecorderWasKilled) {
  const Recorded recorded(true);
  const std::string why =
      "byte " + std::to_string(readFile(recorded.file).size()) + ": ends without a farewell";
  for (const char* command : {"decode", "replay"}) {
    const Ended shown = runTool({command, recorded.file});
    EXPECT_EQ(shown.code, 4) << shown.err;
    EXPECT_TRUE(holds(shown.out, "learning -> discarding"));
    EXPECT_TRUE(holds(shown.err, why));
  }
  const RunningServer second(std::vector<std::string>{});
  EXPECT_TRUE(
      complains(runTool({"replay", recorded.file, "--into", second.socket(), "--fast"}), 4, why));
  EXPECT_EQ(Json::parse(second.dump()).at("mounts").at("/stp/hw"),
            Json::parse(recorded.dump).at("mounts").at("/stp/hw"));

  // Cut anywhere: everything before is shown, then where and why it ends.
  const std::string bytes = readFile(recorded.file);
  const std::string cut = recorded.server.folder().write("cut", bytes.substr(0, bytes.size() - 5));
  const Ended shown = runTool({"decode", cut, "--json"});
  EXPECT_EQ(shown.code, 4);
  const Json last = objects(shown.out).back();
  const uint64_t end = last.at("offset").get<uint64_t>() + last.at("bytes").get<uint64_t>();
  const Json error = Json::parse(shown.err.substr(shown.err.rfind("{\"error\""))).at("error");
  EXPECT_EQ(error.at("byte"), end);
  EXPECT_EQ(error.at("file"), cut);
  EXPECT_EQ(error.at("exitCode"), 4);
  EXPECT_TRUE(holds(error.at("message").get<std::string>(), "the file ends inside a message"));

  const std::string json = recorded.server.folder().write("json", "{}");
  EXPECT_EQ(runTool({"decode", json}).code, 4);
  EXPECT_TRUE(holds(runTool({"replay", json}).err, "byte 0: this is no recording"));
}

TEST(Replay, EndsWithItsServer) {
  const Recorded recorded;
  RunningServer second(std::vector<std::string>{});
  Tool replay({"replay", recorded.file, "--into", second.socket(), "--speed", "0.001"});
  const auto has = [&] { return !second.output({"tree"}).empty(); };
  for (int tries = 0; tries < 1000 && !has(); ++tries) continue;
  second.tool().stop();
  EXPECT_TRUE(complains(replay.end(), 1, "the connection has ended"));
}

TEST(Record, EndsWhenItsReaderGoes) {
  RunningServer server;
  Tool record(Tool::Script{"\"$STPTOOL\" record --force /dev/stdout --socket " + server.socket() +
                           " | head -c 1 >/dev/null; exit ${PIPESTATUS[0]}"});
  ASSERT_TRUE(record.complains("recording everything"));
  for (const char* active : {"false", "true", "false"}) {
    server.output({"set", portPath("Ethernet1"), "active", active});
  }
  EXPECT_EQ(record.end().code, 0) << record.err();
}

TEST(Record, OverwritesOnlyWhenTold) {
  RunningServer server;
  const std::string file = server.folder().write("precious", "precious");
  EXPECT_TRUE(complains(server.run({"record", file, "--for", "0"}), 1, "--force"));
  EXPECT_EQ(readFile(file), "precious");
  EXPECT_EQ(server.run({"record", file, "--force", "--until-idle", "0.2", "--json"}).code, 0);
  EXPECT_EQ(runTool({"decode", file}).code, 0);
}

}  // namespace
