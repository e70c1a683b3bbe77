// stp-linux as a process: served, written to, killed and started again.
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <optional>
#include <random>
#include <sstream>

#include "../stptool/Holds.h"
#include "Lab.h"
#include "Mirror/Link.h"
#include "Stp/StpConfig.h"
#include "Stp/StpStatus.h"

namespace {

using Tovo::NboAttrLog::Link;

// Counts what is published, by the name of the attribute.
class Counter : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change& change) override {
    const Tovo::Entity& entity = Tovo::entityOf(change.source);
    ++changes[std::string(Tovo::attributeById(entity.tovoType(), change.attribute).name())];
  }
  std::map<std::string, int> changes;
};

class ProgramTest : public Lab {
 protected:
  void TearDown() override {
    link_.reset();
    program_.reset();
    while (!mirror_.mounts().empty()) mirror_.unmount(mirror_.mounts().begin()->first);
    Lab::TearDown();
  }

  void start(std::vector<std::string> options = {"--configure"}) {
    options.insert(options.end(), {"--socket", socket(), "--sweep", "0.5"});
    program_ = std::make_unique<Tool>(options);
    ASSERT_TRUE(program_->says("serving ")) << program_->err();
  }
  void mirror(bool readOnly) {
    Tovo::NboAttrLog::LinkOptions options;
    options.firstWait = std::chrono::milliseconds(10);
    options.longestWait = std::chrono::milliseconds(100);
    link_ = std::make_unique<Link>(socket(), mirror_, options);
    link_->mountAll(readOnly);
  }
  bool runUntil(const std::function<bool()>& holds, int milliseconds = 20000) {
    return link_->runUntil(holds, milliseconds);
  }
  void expectSame() {
    std::string last;
    const auto isSame = [&] {
      if (link_->state() != Tovo::NboAttrLog::LinkState::synced) return false;
      return (last = difference(mirror_)).empty();
    };
    bool same = false;
    for (int i = 0; i < 200 && !same; ++i) {
      same = isSame();
      if (!same) runUntil([] { return false; }, 100);
    }
    EXPECT_TRUE(same) << last << program_->err();
  }
  std::string socket() const { return folder_.file("socket"); }

  TemporaryFolder folder_;
  std::unique_ptr<Tool> program_;
  Tovo::Directory mirror_;
  std::unique_ptr<Link> link_;
};

TEST_F(ProgramTest, ReadersOfAnAgentThatIsKilledSeeDifferencesOnly) {
  twoBridges(400);
  start();
  mirror(true);
  expectSame();
  auto* const status = mirror_.mounted("/stp/br1/status");
  const auto port =
      dynamic_cast<Stp::Status&>(*status).stpiStatus("Stp")->mstiStatus("Mst0")->mstiPortStatus(
          "b1");
  std::vector<std::unique_ptr<Counter>> counters;
  for (const auto& [path, root] : mirror_.mounts()) {
    counters.push_back(std::make_unique<Counter>());
    counters.back()->observeRecursive(root->publisher());
  }
  program_->signal(SIGKILL);
  EXPECT_EQ(program_->end().code, -SIGKILL);
  start();
  expectSame();
  EXPECT_EQ(mirror_.mounted("/stp/br1/status"), status);
  EXPECT_TRUE(port->parent()) << "an element stays, too";
  // What moves by itself, and the moment of the start.
  const std::vector<std::string> expected = words(
      "lastRestart counterUpdateTime counters portTimes state learn forward portState "
      "transitionsToForwardingCount tcnCount lastTopologyChange lastTopologyChangePort "
      "topologyChangeInProgress");
  for (const auto& counter : counters) {
    for (const auto& [attribute, times] : counter->changes) {
      EXPECT_EQ(std::count(expected.begin(), expected.end(), attribute), 1)
          << attribute << ", " << times << " times";
    }
  }
}

// While it reads for the first time, while events come, while clients come: it is killed anywhere.
TEST_F(ProgramTest, IsRightAgainWhereverItIsKilled) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  twoBridges();
  const std::vector<std::string> options = {"--configure", "--socket", socket(), "--sweep", "0.5"};
  mirror(true);
  for (int i = 0; i < 40; ++i) {
    program_ = std::make_unique<Tool>(options);
    const std::string cost = std::to_string(1 + random() % 1000);
    const std::string end = i % 2 == 0 ? "a0" : "b1";
    runUntil([] { return false; }, static_cast<int>(random() % 60));
    ip("link set " + end + " type bridge_slave cost " + cost + "\nlink set " + end +
       (i % 3 == 0 ? " nomaster" : " type bridge_slave priority 7") + "\nlink set " + end +
       " master br" + end.substr(1));
    runUntil([] { return false; }, static_cast<int>(random() % 20));
    program_->signal(SIGKILL);
    program_->end();
  }
  start();
  expectSame();
}

TEST_F(ProgramTest, ServesWhatMayBeWrittenAndSaysWhatMayNot) {
  twoBridges(400);
  start();
  mirror(false);
  expectSame();
  const auto whyReadOnly = [&](const char* path) {
    return std::string(link_->connection()->guest().whyReadOnly(path));
  };
  EXPECT_EQ(whyReadOnly("/stp/br1/status"), "it is what the kernel does");
  EXPECT_EQ(whyReadOnly("/stp/br1/input/cli"), "");
  auto& asked = dynamic_cast<Stp::Input::Config&>(*mirror_.mounted("/stp/br1/input/cli"));
  const auto& status = dynamic_cast<Stp::Status&>(*mirror_.mounted("/stp/br1/status"));
  asked.portConfig("a1")->extPathCostIs(Stp::PathCost(4321));
  ASSERT_TRUE(runUntil([&] {
    return status.stpiStatus("Stp")->stpiPortStatus("a1")->operExtPathCost().value() == 4321;
  }));
  asked.portConfig("b1")->extPathCostIs(Stp::PathCost(70000));
  ASSERT_TRUE(runUntil([&] { return !status.overriddenBy().empty(); }));
  const std::string refusal =
      "/stp/br1/input/cli/portConfig/b1/extPathCost: 70000 is refused by the kernel: "
      "Numerical result out of range";
  EXPECT_EQ(status.overriddenBy(), "kernel: " + refusal);
  EXPECT_TRUE(program_->complains("stp-linux: " + refusal));
  const uint32_t answers = link_->connection()->questions().statuses();
  link_->connection()->questions().askStatus();
  ASSERT_TRUE(runUntil([&] { return link_->connection()->questions().statuses() > answers; }));
  EXPECT_EQ(nlohmann::json::parse(link_->connection()->questions().remoteStatus())["notes"],
            nlohmann::json::array({refusal}));
  // Its end changes nothing in the kernel, and removes the socket.
  const Ended ended = program_->stop();
  EXPECT_EQ(ended.code, 0) << ended.err;
  EXPECT_NE(::access(socket().c_str(), F_OK), 0);
  start({});
  expectSame();
  EXPECT_EQ(whyReadOnly("/stp/br1/input/cli"), "stp-linux runs without --configure");
}

TEST(Program, RefusesWrongOptionsInOneLine) {
  for (const auto& [options, wanted] :
       std::vector<std::pair<std::vector<std::string>, std::string>>{
           {{}, "--socket is required"},
           {{"--socket", "/tmp/x", "--sweep", "-1"}, "--sweep"},
           {{"--socket", "/tmp/x", "--mode", "0999"}, "'0999' is no octal number"},
           {{"--socket", "/tmp/x", "--allow-write", "me"}, "me"},
           {{"--socket", "/tmp/x", "br0"}, "br0"}}) {
    const Ended ended = runTool(options);
    EXPECT_TRUE(complains(ended, 2, wanted));
    EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
  }
}

// Each option stands in the manual.
TEST(Program, HasAManual) {
  std::ifstream file(MANUAL);
  std::stringstream page;
  page << file.rdbuf();
  const std::string help = runTool({"--help"}).out;
  size_t options = 0;
  for (size_t at = 0; (at = help.find("  --", at)) != std::string::npos; at += 4) {
    std::string option;
    for (const char c : help.substr(at + 2, help.find_first_of(" ,\n", at + 2) - at - 2)) {
      option += c == '-' ? "\\-" : std::string(1, c);
    }
    EXPECT_TRUE(holds(page.str(), option));
    ++options;
  }
  EXPECT_GT(options, 5u);
}

}  // namespace
