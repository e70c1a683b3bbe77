// What the tool says of itself: completion, help, manual; and what it says of errors to programs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "RunningServer.h"
#include "stptool/json/Json.h"
#include "stptool/text/PathPattern.h"

namespace {

using stptool::Json;
using Words = std::vector<std::string>;

// The candidates, without what is said about them.
Words complete(const Words& words) {
  Words arguments{"complete"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  const Ended ended = runTool(arguments);
  EXPECT_EQ(ended.code, 0);
  EXPECT_EQ(ended.err, "") << "in the middle of somebody's line";
  Words candidates;
  std::istringstream stream(ended.out);
  for (std::string line; std::getline(stream, line);) {
    candidates.push_back(line.substr(0, line.find('\t')));
  }
  return candidates;
}

bool contains(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

TEST(Completion, KnowsWhatCanComeNext) {
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  const std::string socket = "--socket=" + server.socket();
  const struct {
    Words words;
    Words expected;
  } exact[] = {
      {{"wa"}, {"watch"}},
      {{"tree", "--de"}, {"--depth"}},
      {{"types", "Stp::StpiPortSta"},
       {"Stp::StpiPortStatus", "Stp::StpiPortStatus::ProtocolMigrationState"}},
      {{"encode", "Stp::MstiPortH"}, {}},  // an entity type has no bytes
      {{"graph", "--types", "Stp::MstiPortH"}, {"Stp::MstiPortHw"}},
      {{"tree", socket, "/stp/h"}, {"/stp/hw/"}},
      {{"tree", socket, "/stp/hw/m"}, {"/stp/hw/mstiHw/"}},
      {{"tree", "--socket", server.socket(), "/stp/hw/mstiHw/Mst"},
       {"/stp/hw/mstiHw/Mst0/", "/stp/hw/mstiHw/Mst1/", "/stp/hw/mstiHw/Mst2/",
        "/stp/hw/mstiHw/Mst3/"}},
      {{"del", socket, portPath("Ethernet4")}, {}},
      {{"get", socket, port + "/ac"}, {port + "/active"}},
      {{"set", socket, port, "port"}, {"portState"}},
      {{"set", socket, port, "portState", ""}, {"discarding", "learning", "forwarding"}},
      {{"set", socket, port, "portState", "learning", "active", "t"}, {"true"}},
      {{"new", socket, "/stp/new", "Stp::Quiesce"}, {"Stp::QuiesceConfig", "Stp::QuiesceStatus"}},
      {{"load", ""}, {":file"}},
      // nothing is known: nothing is said
      {{"tree", socket, "/stp/hw/nothing/"}, {}},
      {{"tree", "--socket=/nowhere", "/"}, {}},
      {{"set", "--socket=/nowhere", port, ""}, {}},
      {{"nonsense", ""}, complete({""})},
      {{"tree", "--library", "/nowhere.so", "/"}, {}},
  };
  for (const auto& line : exact) {
    std::string trace;
    for (const std::string& word : line.words) trace += word + " ";
    Words found = complete(line.words);
    Words expected = line.expected;
    if (trace.find("Ethernet4") != std::string::npos) {
      EXPECT_TRUE(contains(found, portPath("Ethernet4")));
      EXPECT_TRUE(contains(found, portPath("Ethernet40")));
      continue;
    }
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(found, expected) << trace;
  }
  EXPECT_EQ(server.tool().stop().err, "") << "the server is not bothered";
}

// The shells' own part, with the words that they cut at colons.
TEST(Completion, ComesThroughTheShell) {
  const TemporaryFolder folder;
  const auto completed = [&](const std::string& line) {
    const std::string script = folder.write("script", std::string("source '") + COMPLETION +
                                                          "'\nCOMP_LINE='" + STPTOOL + line +
                                                          "'\nCOMP_POINT=${#COMP_LINE}\n_stptool\n"
                                                          "printf '%s\\n' \"${COMPREPLY[@]}\" >" +
                                                          folder.file("out") + "\n");
    EXPECT_EQ(std::system(("bash " + script).c_str()), 0);
    return readFile(folder.file("out"));
  };
  EXPECT_EQ(completed(" wa"), "watch\n");
  EXPECT_EQ(completed(" types Stp::MstiPortH"), "MstiPortHw\n");
  EXPECT_EQ(completed(" graph --types=Stp::MstiPortH"), "MstiPortHw\n");
  EXPECT_EQ(completed(" load " + folder.file("scr")), folder.file("script") + "\n");
}

TEST(Manual, HasEveryCommandAndOptionOfTheHelp) {
  const std::string page = runTool({"man"}).out;
  EXPECT_TRUE(page.starts_with(".TH STPTOOL 1")) << page.substr(0, 200);
  const Ended global = runTool({"--help"});
  for (const std::string& command : complete({""})) {
    EXPECT_NE(page.find("\\fBstptool " + command + "\\fR"), std::string::npos) << command;
    const Ended help = runTool({command, "--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("\n  stptool " + command), std::string::npos) << "no example";
    for (const std::string& option : complete({command, "--"})) {
      EXPECT_NE((help.out + global.out).find(option), std::string::npos)
          << command << " " << option;
      std::string roff;
      for (const char c : option) roff += c == '-' ? "\\-" : std::string(1, c);
      EXPECT_TRUE(option == "--help" || page.find(roff) != std::string::npos) << option;
    }
  }
}

Json errorOf(const Ended& ended) {
  EXPECT_EQ(ended.out, "");
  return Json::parse(ended.err).at("error");
}

TEST(Errors, AreFieldsForPrograms) {
  RunningServer server;
  server.output({"new", "/c", "Stp::Config"});
  const Json range = errorOf(server.run({"set", "/c", "maxAge", "50", "--json"}));
  const Json expected{{"path", "/c"},           {"attribute", "maxAge"}, {"value", "50"},
                      {"allowed", "6 to 40 s"}, {"unit", "s"},           {"default", "20"}};
  for (const auto& [name, value] : expected.items()) EXPECT_EQ(range.at(name), value) << range;
  EXPECT_EQ(range.at("exitCode"), 1);
  const std::string text = server.run({"set", "/c", "maxAge", "50"}).err;
  EXPECT_NE(text.find("/c: maxAge: '50' is refused"), std::string::npos) << text;
  EXPECT_NE(text.find("allowed: 6 to 40 s; default: 20"), std::string::npos) << text;

  const struct {
    Words arguments;
    int code;
    const char* suggestion;
  } cases[] = {
      {{"get", "/stp/hw/mstihw"}, 1, "mstiHw"},
      {{"get", "/stp/hw/mstiHw/mst1"}, 1, "Mst1"},
      {{"get", portPath("Ethernet1"), "portstate"}, 1, "portState"},
      {{"set", portPath("Ethernet1"), "portState", "forwardin"}, 1, "forwarding"},
      {{"new", "/x", "Stp::Config1"}, 1, "Stp::Config"},
      {{"tree", "--dept", "1"}, 2, "--depth"},
      {{"help"}, 2, "--help"},
      {{"watch", "--attribute", "portstat"}, 1, "portState"},
  };
  for (const auto& wrong : cases) {
    Words arguments = wrong.arguments;
    arguments.emplace_back("--json");
    const Ended ended = server.run(arguments);
    EXPECT_EQ(ended.code, wrong.code);
    EXPECT_EQ(errorOf(ended).value("didYouMean", ""), wrong.suggestion) << ended.err;
  }
  EXPECT_EQ(errorOf(runTool({"tre", "--json"})).at("didYouMean"), "tree");
  EXPECT_EQ(errorOf(runTool({"tree", "--socket", "/nowhere", "--json"})).at("exitCode"), 3);
}

TEST(Errors, NameNumbersAndPlacesOfOptions) {
  const struct {
    Words arguments;
    const char* says;
  } cases[] = {
      {{"watch", "--timeout", "abc"}, "--timeout: 'abc' is refused; allowed: 0.001 to 86400"},
      {{"watch", "--for", "nan"}, "--for: 'nan' is refused; allowed: 0 to 1000000000"},
      {{"watch", "--top", "1.5"}, "--top: '1.5' is refused; allowed: 1 to 100000"},
      {{"watch", "--count", "-1"}, "--count: '-1' is refused; allowed: 1 to 1000000000000"},
      {{"--socket", "s", "tree"}, "'--socket' stands behind the command 'tree'"},
  };
  for (const auto& wrong : cases) {
    const Ended ended = runTool(wrong.arguments);
    EXPECT_EQ(ended.code, 2) << wrong.says;
    EXPECT_NE(ended.err.find(wrong.says), std::string::npos) << ended.err;
  }
}

// What is printed must not go into the socket, which would get the number of the closed stream.
TEST(Errors, OutputThatIsClosed) {
  RunningServer server;
  const std::string err = server.folder().file("err");
  const std::string line = std::string("'") + STPTOOL + "' dump --socket '" + server.socket() +
                           "' >&- 2>'" + err + "' <&-";
  const int status = std::system(line.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 5);
  EXPECT_EQ(readFile(err), "stptool: cannot write to standard output: Bad file descriptor\n");
  EXPECT_EQ(server.output({"status"}).find("message-size"), std::string::npos);
}

TEST(Commands, BearWhateverIsTyped) {
  RunningServer server;
  const std::string before = server.dump();
  const std::string huge(100000, 'x');
  const std::string binary = "\x01\xff\x80[]'\\%n";
  std::string deep = R"({"mounts": {"/p": {"type": "Stp::Hw", "mstiHw": )";
  deep += std::string(100000, '[') + std::string(100000, ']') + "}}}";
  const std::string file = server.folder().write("deep.json", deep);
  const std::string port = portPath("Ethernet1");
  for (const std::string& odd : {huge, binary, std::string()}) {
    const Words lines[] = {{"get", odd},
                           {"get", port, odd},
                           {"set", port, "portState", odd},
                           {"set", port, odd, "1"},
                           {"set", odd, "portState", "learning"},
                           {"new", port + "/" + odd},
                           {"new", "/" + odd, odd},
                           {"del", port + "/x" + odd},
                           {"types", odd + "x"},
                           {"parse", "Stp::PortId", odd},
                           {"decode", "Stp::PortId", odd},
                           {"load", odd},
                           {"graph", odd + "x"},
                           {"watch", odd + "x", "--for", "0"},
                           {odd}};
    for (const Words& line : lines) {
      Ended ended{};
      if (line[0] == "types" || line[0] == "parse" || line[0] == "decode" || line.size() == 1) {
        ended = runTool(line);
      } else {
        ended = server.run(line);
      }
      EXPECT_GT(ended.code, 0) << line[0] << " " << odd.substr(0, 20) << ended.out;
      EXPECT_LT(ended.err.size(), 6000u);
      EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    }
  }
  const Ended nested = server.run({"load", file});
  EXPECT_EQ(nested.code, 1);
  EXPECT_NE(nested.err.find("nested deeper than"), std::string::npos) << nested.err.substr(0, 500);
  EXPECT_EQ(server.dump(), before);
}

TEST(PathPattern, MatchesNamesKeysAndWhatIsBelow) {
  const struct {
    const char* pattern;
    const char* path;
    bool matches;
  } cases[] = {
      {"/a/b", "/a/b", true},
      {"/a/b", "/a/b/c/d", true},
      {"/a/b", "/a/bc", false},
      {"/a/*/c", "/a/b/c", true},
      {"/a/*/c", "/a/b/b/c", false},
      {"/a/**/c", "/a/c", true},
      {"/a/**/c", "/a/b/b/c/x", true},
      {"/**/Eth*/state", "/a/b[Ethernet3/1]/state", true},
      {"/**/Eth*1/state", "/a/b[Ethernet3/2]/state", false},
      {"/a/b[Ethernet3/1]", "/a/b[Ethernet3/1]/state", true},
      {"/a/b/", "/a/b/c", true},
      {"**/x", "/a/b/x", true},
      {"/a/*", "/a", false},
      {"/**/**/**/**/**/**/**/**/z", "/a/b/c/d/e/f/g/h/i/j/k/l/m/n/o/p", false},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(stptool::PathPattern(one.pattern).matches(one.path), one.matches)
        << one.pattern << " " << one.path;
  }
  EXPECT_TRUE(stptool::matchesGlob("portState", "*tate"));
  EXPECT_TRUE(stptool::matchesGlob("abcabd", "a*b*d"));
  EXPECT_FALSE(stptool::matchesGlob(std::string(5000, 'a'), "*a*a*a*a*a*b"));
}

TEST(Watch, FiltersAndCounts) {
  RunningServer server;
  const auto states =
      server.start({"watch", "/stp/**/Ethernet1", "--attribute", "*State", "--count", "1"});
  const auto roots = server.start({"watch", "/stp/lab*", "--count", "2"});
  const auto rates = server.start({"watch", "--rate", "--json", "--count", "3"});
  for (const auto* watch : {&states, &roots, &rates}) ASSERT_TRUE((*watch)->complains("watching"));
  server.output({"set", portPath("Ethernet2"), "portState", "learning"});
  server.output({"set", portPath("Ethernet1"), "active", "false"});
  server.output({"set", portPath("Ethernet1"), "portState", "learning"});
  const Ended shown = states->end();
  EXPECT_EQ(shown.code, 0) << shown.err;
  EXPECT_NE(shown.out.find("Ethernet1  portState  forwarding -> learning"), std::string::npos);
  EXPECT_EQ(std::count(shown.out.begin(), shown.out.end(), '\n'), 1) << shown.out;

  const Ended counted = rates->end();
  EXPECT_EQ(counted.code, 0) << counted.err;
  const size_t last = counted.out.rfind("{\"time\"");
  const Json total = Json::parse(counted.out.substr(last));
  EXPECT_EQ(total.at("total"), true);
  EXPECT_EQ(total.at("changes"), 3);
  EXPECT_EQ(total.at("top").size(), 3u);

  server.output({"new", "/stp/lab1", "Stp::Hw"});
  server.output({"new", "/stp/lab1/mstiHw/Mst0"});
  const Ended made = roots->end();
  EXPECT_NE(made.out.find("+ /stp/lab1\n"), std::string::npos) << made.out << made.err;
  EXPECT_NE(made.out.find("+ /stp/lab1/mstiHw/Mst0\n"), std::string::npos) << made.out;
}

}  // namespace
