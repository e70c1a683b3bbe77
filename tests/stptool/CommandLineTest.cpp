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

TEST(Completion, KnowsWhatCanComeNext) {
  RunningServer server;
  const std::string port = portPath("Ethernet1");
  const std::string socket = "--socket=" + server.socket();
  server.output({"new", "/config", "Stp::Config"});
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
      {{"get", socket, port + "/ac"}, {port + "/active"}},
      {{"get", socket, "/config/maxAg"}, {"/config/maxAge"}},  // and not the constants
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
    EXPECT_TRUE(holds(page, "\\fBstptool " + command + "\\fR"));
    const Ended help = runTool({command, "--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_TRUE(holds(help.out, "\n  stptool " + command)) << "no example";
    for (const std::string& option : complete({command, "--"})) {
      EXPECT_TRUE(holds(help.out + global.out, option));
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
  EXPECT_TRUE(holds(text, "/c: maxAge: '50' is refused"));
  EXPECT_TRUE(holds(text, "allowed: 6 to 40 s; default: 20"));

  const struct {
    Words arguments;
    int code;
    const char* suggestion;
  } cases[] = {
      {{"get", "/stp/hw/mstiHw/mst1"}, 1, "Mst1"},
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
  for (const auto& wrong : cases) EXPECT_TRUE(complains(runTool(wrong.arguments), 2, wrong.says));
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
  const std::string port = portPath("Ethernet1");
  for (const std::string& odd :
       {std::string(100000, 'x'), std::string("\x01\xff\x80[]'\\%n"), std::string()}) {
    for (const Words& line : {Words{"get", odd},
                              {"get", port, odd},
                              {"set", port, "portState", odd},
                              {"set", port, odd, "1"},
                              {"new", port + "/" + odd},
                              {"new", "/" + odd, odd},
                              {"del", port + "/x" + odd},
                              {"load", odd},
                              {"watch", odd + "x", "--for", "0"}}) {
      const Ended ended = server.run(line);
      EXPECT_GT(ended.code, 0) << line[0] << " " << odd.substr(0, 20) << ended.out;
      EXPECT_LT(ended.err.size(), 6000u);
      EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    }
  }
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
  const auto states = server.watch({"/stp/**/Ethernet1", "--attribute", "*State", "--count", "1"});
  const auto roots = server.watch({"/stp/lab*", "--count", "2"});
  const auto rates = server.watch({"--rate", "--json", "--count", "3"});
  server.output({"set", portPath("Ethernet2"), "portState", "learning"});
  server.output({"set", portPath("Ethernet1"), "active", "false"});
  server.output({"set", portPath("Ethernet1"), "portState", "learning"});
  const Ended shown = states->end();
  EXPECT_EQ(shown.code, 0) << shown.err;
  EXPECT_TRUE(holds(shown.out, "Ethernet1  portState  forwarding -> learning"));
  EXPECT_EQ(std::count(shown.out.begin(), shown.out.end(), '\n'), 1) << shown.out;

  const Ended counted = rates->end();
  EXPECT_EQ(counted.code, 0) << counted.err;
  const size_t last = counted.out.rfind("{\"time\"");
  const Json total = Json::parse(counted.out.substr(last));
  EXPECT_EQ(total.at("total"), true);
  EXPECT_EQ(total.at("changes"), 3);
  EXPECT_EQ(total.at("top").size(), 3u);
  const std::string seconds = server.run({"watch", "--rate", "--json", "--for", "1.5"}).out;
  EXPECT_EQ(std::count(seconds.begin(), seconds.end(), '\n'), 2)
      << "one second and all: " << seconds;

  server.output({"new", "/stp/lab1", "Stp::Hw"});
  server.output({"new", "/stp/lab1/mstiHw/Mst0"});
  const Ended made = roots->end();
  EXPECT_TRUE(holds(made.out, "+ /stp/lab1\n"));
  EXPECT_TRUE(holds(made.out, "+ /stp/lab1/mstiHw/Mst0\n"));
}

}  // namespace
