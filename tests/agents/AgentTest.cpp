#include "agents/linux/Agent.h"

#include <fmt/format.h>
#include <poll.h>

#include <memory>
#include <random>

#include "Lab.h"
#include "Stp/StpConfig.h"
#include "Stp/StpStatus.h"

namespace stplinux {

namespace {

using namespace std::chrono_literals;
using Role = Stp::MstiPortStatus::Role;

class AgentTest : public Lab {
 protected:
  void TearDown() override {
    agent_.reset();
    EXPECT_TRUE(directory_.mounts().empty());
    Lab::TearDown();
  }

  void start(std::set<std::string, std::less<>> bridges = {}) {
    Agent::Options options;
    options.kernel.bridges = std::move(bridges);
    options.kernel.sweep = 500ms;
    options.say = [this](const std::string& line) { said_ += line + '\n'; };
    start(std::move(options));
  }
  void start(Agent::Options options) {
    agent_ = std::make_unique<Agent>(directory_, std::move(options));
    agent_->handle(Agent::Clock::now());
  }

  // Serves until the predicate holds; false after so long.
  bool runUntil(const std::function<bool()>& holds, std::chrono::milliseconds patience = 20s) {
    const auto end = Agent::Clock::now() + patience;
    for (;;) {
      agent_->handle(Agent::Clock::now());
      if (holds()) return true;
      if (Agent::Clock::now() > end) return false;
      pollfd ready{agent_->fd(), POLLIN, 0};
      ::poll(&ready, 1, 50);
    }
  }
  // Until the trees are as ip says. Both move, so that a difference is one when it stays.
  void expectSame() {
    std::string last;
    EXPECT_TRUE(runUntil([&] { return (last = difference(directory_)).empty(); })) << last << said_;
  }

  template <class Root>
  Root& root(const std::string& path) {
    auto* const found = dynamic_cast<Root*>(directory_.mounted(path));
    if (!found) throw std::runtime_error("not mounted: " + path);
    return *found;
  }
  Stp::MstiStatus& instance(const std::string& bridge) {
    auto& status = root<Stp::Status>("/stp/" + bridge + "/status");
    return *status.stpiStatus("Stp")->mstiStatus("Mst0");
  }
  Stp::MstiPortStatus& port(const std::string& bridge, const std::string& name) {
    const auto found = instance(bridge).mstiPortStatus(name);
    if (!found) throw std::runtime_error("no port " + name);
    return *found;
  }
  Stp::Input::Config& input(const std::string& bridge) {
    return root<Stp::Input::Config>("/stp/" + bridge + "/input/cli");
  }
  bool isSettled() {
    const auto counters = instance("br1").counters();
    return counters.blockedPortCount() == 1 && counters.forwardingPortCount() > 0 &&
           counters.listenPortCount() + counters.learningPortCount() == 0;
  }

  Tovo::Directory directory_;
  std::string said_;
  std::unique_ptr<Agent> agent_;
};

// Without a sweep: all of it follows from what the kernel announces.
TEST_F(AgentTest, OnePortBlocksUntilTheCableOfTheOtherIsPulled) {
  Agent::Options options;
  options.kernel.sweep = 0ms;
  start(std::move(options));
  EXPECT_TRUE(directory_.mounts().empty());
  twoBridges();
  // With a port that forwards all the time the bridge itself is not announced.
  ip("link add c1 master br1 type veth peer name c0\nlink set c0 up\nlink set c1 up");
  ASSERT_TRUE(runUntil([&] { return directory_.mounted("/stp/br1/status") && isSettled(); }))
      << difference(directory_);
  EXPECT_EQ(port("br1", "a1").role(), Role::root);
  EXPECT_EQ(port("br1", "b1").role(), Role::alternate);
  EXPECT_EQ(port("br0", "b0").role(), Role::designated);
  EXPECT_EQ(port("br1", "b1").portPriority().bridgeId(), instance("br0").bridgeId());
  const uint32_t before = instance("br1").tcnCount();

  ip("link set a0 down");
  ASSERT_TRUE(runUntil([&] { return port("br1", "b1").state() == Stp::PortState::forwarding; }));
  EXPECT_EQ(port("br1", "a1").role(), Role::disabled);
  EXPECT_EQ(port("br1", "b1").role(), Role::root);
  EXPECT_EQ(instance("br1").rootPort().get(), &port("br1", "b1"));
  EXPECT_GT(instance("br1").lastTopologyChange(), 0);
  EXPECT_EQ(instance("br1").lastTopologyChangePort(), "b1");
  EXPECT_EQ(instance("br1").tcnCount(), before + 2) << "a1 has ended to forward, b1 has begun";

  ip("link set a0 name x0");
  EXPECT_TRUE(runUntil([&] { return instance("br0").mstiPortStatus("x0") != nullptr; }));
}

// ------------------------------------------------------------------------------- coming and going

TEST_F(AgentTest, BridgesPortsAndNamesComeAndGo) {
  start();
  twoBridges();
  expectSame();
  const struct {
    const char* what;
    const char* words;
  } events[] = {
      {"a port is renamed", "link set a1 down\nlink set a1 name c1\nlink set c1 up"},
      {"ports swap their names",
       "link set c1 down\nlink set b1 down\nlink set c1 name x\n"
       "link set b1 name c1\nlink set x name b1"},
      {"a port moves to another bridge", "link set b1 master br0"},
      {"and back", "link set b1 master br1"},
      {"a bridge is renamed", "link set br1 down\nlink set br1 name [br]\nlink set [br] up"},
      {"it gets its name again", "link set [br] down\nlink set [br] name br1\nlink set br1 up"},
      {"bridges swap their names",
       "link set br0 down\nlink set br1 down\nlink set br0 name x\n"
       "link set br1 name br0\nlink set x name br1"},
      {"a tree stops", "link set br1 type bridge stp_state 0"},
      {"and goes on", "link set br1 type bridge stp_state 1\nlink set br1 up"},
      {"a port goes with its cable", "link del a0"},
      {"a bridge goes, its ports stay", "link del br1"},
      {"they find another one", "link set b0 master br0\nlink set c1 master br0"},
      {"all goes", "link del b0\nlink del br0"},
  };
  for (const auto& event : events) {
    SCOPED_TRACE(event.what);
    ip(event.words);
    expectSame();
  }
  EXPECT_TRUE(directory_.mounts().empty());
  EXPECT_EQ(agent_->figures().overruns, 0);
  EXPECT_EQ(said_.find("No such device"), std::string::npos) << said_;
}

TEST_F(AgentTest, PublishesTheBridgesOfTheOptionsAndSaysWhatIsLeftOut) {
  twoBridges(400);
  ip("link set br0 type bridge stp_state 0");
  start({"br1"});
  EXPECT_TRUE(directory_.mounted("/stp/status")) << "one name: no name in the paths";
  EXPECT_TRUE(directory_.mounted("/stp/input/cli"));
  EXPECT_EQ(directory_.mounts().size(), 6);
  agent_.reset();
  start({"br0", "br1", "br7"});
  EXPECT_TRUE(directory_.mounted("/stp/br1/hw"));
  EXPECT_EQ(directory_.mounts().size(), 6);
  EXPECT_EQ(agent_->notes(), (std::vector<std::string>{"br0 is left out: it runs no spanning tree",
                                                       "there is no bridge br7"}));
  ip("link set br0 type bridge stp_state 1");
  EXPECT_TRUE(runUntil([&] { return directory_.mounted("/stp/br0/status") != nullptr; }));
  EXPECT_EQ(agent_->notes(), std::vector<std::string>{"there is no bridge br7"});
}

// Cables, priorities, costs, guards, ports, bridges and names; now and then the trees are compared.
TEST_F(AgentTest, AThousandRandomEventsEndAsIpSays) {
  const char* const given = std::getenv("STP_LINUX_SEED");
  const unsigned seed =
      given ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
  std::cout << "STP_LINUX_SEED=" << seed << std::endl;
  std::mt19937 random(seed);
  const auto below = [&](unsigned count) { return static_cast<unsigned>(random() % count); };
  const auto name = [&](const char* kind, unsigned count) {
    return kind + std::to_string(below(count));
  };
  const auto end = [&] { return name(below(2) == 0 ? "p" : "q", 6); };
  const auto bridge = [&] { return name("br", 3); };
  static constexpr const char* kinds[] = {
      "link add p{number} type veth peer name q{number}",
      "link add p{number} type veth peer name q{number}",
      "link add {bridge} type bridge stp_state 1 forward_delay 200",
      "link add {bridge} type bridge stp_state 1 forward_delay 200",
      "link del {end}",
      "link set {bridge} type bridge stp_state {state}",
      "link set {bridge} type bridge priority {priority}",
      "link set {bridge} type bridge max_age {age}",
      "link set {end} type bridge_slave cost {cost}",
      "link set {end} type bridge_slave priority {lowPriority}",
      "link set {end} type bridge_slave guard {flag} root_block {flag}",
      "link set {end} nomaster",
      "link set {end} down",
      "link set {end} up\nlink set {bridge} up",
      "link set {end} down\nlink set {end} name {other}\nlink set {other} up",
      "link set {end} master {bridge}",
      "link set {end} master {bridge}",
      "link del {bridge}",
      "link set {bridge} down",
  };
  start();
  int events = 0;
  for (int round = 0; events < 1000; ++round) {
    std::string lines;
    const int count = static_cast<int>(1 + below(16));
    for (int i = 0; i < count; ++i) {
      lines += fmt::format(
          fmt::runtime(kinds[below(std::size(kinds))]), fmt::arg("number", below(6)),
          fmt::arg("bridge", bridge()), fmt::arg("end", end()), fmt::arg("other", end()),
          fmt::arg("state", below(4) != 0 ? 1 : 0), fmt::arg("flag", below(3) == 0 ? "on" : "off"),
          fmt::arg("priority", below(65536)), fmt::arg("lowPriority", below(64)),
          fmt::arg("age", 600 + 100 * below(35)), fmt::arg("cost", 1 + below(200)));
      lines += '\n';
    }
    events += count - tryIp(lines);
    // Several rounds may come together.
    if (below(3) != 0) agent_->handle(Agent::Clock::now());
    if (round % 32 == 31) expectSame();
    if (HasFailure()) break;
  }
  expectSame();
  EXPECT_EQ(agent_->figures().overruns, 0);
}

TEST_F(AgentTest, AnOverrunIsRepaired) {
  Agent::Options options;
  options.kernel.sweep = 0ms;
  options.kernel.waitingBytes = 2048;
  start(std::move(options));
  twoBridges();
  // Nothing else ever happens to the port of a bridge that is down.
  ip("link add br2 type bridge stp_state 1\nlink add c0 master br2 type veth peer name c1");
  expectSame();
  std::string lines;
  for (int i = 0; i < 40; ++i) {
    lines += "link set a0 type bridge_slave cost " + std::to_string(100 + i) + "\n" +
             "link set b1 type bridge_slave priority " + std::to_string(i) + "\n";
  }
  ip(lines + "link set b0 nomaster\nlink set c0 type bridge_slave cost 77");
  expectSame();
  EXPECT_GT(agent_->figures().overruns, 0);
}

// ----------------------------------------------------------------------------------- configuration

TEST_F(AgentTest, OnlyWhatIsWrittenGoesDown) {
  twoBridges(400);
  ip("link set br1 type bridge priority 32773\nlink set a1 type bridge_slave cost 77\n"
     "link set b1 type bridge_slave guard on");
  start();
  expectSame();
  auto& asked = input("br1");
  const auto inInstance = asked.stpiConfig("Stp")->mstiConfig("Mst0");
  EXPECT_EQ(inInstance->bridgePriority().value(), 32768);
  asked.portConfig("a1")->extPathCostIs(Stp::PathCost(88));
  asked.portConfig("a1")->portPriorityIs(Stp::PortPriority(64));
  asked.portConfig("b1")->guardIs(Stp::PortConfigBase::IntfGuardState::rootguardEnabled);
  asked.portConfig("b1")->bpduguardIs(
      Stp::PortConfigBase::BpduguardEnabledState::bpduguardDisabled);
  inInstance->bridgePriorityIs(Stp::BridgePriority(0));
  asked.maxAgeIs(12);
  asked.bridgeForwardDelayIs(4);
  asked.bridgeHelloTimeIs(1000);
  expectSame();
  ASSERT_TRUE(
      runUntil([&] { return instance("br1").bridgeId() == instance("br1").designatedRoot(); }));
  EXPECT_EQ(instance("br1").bridgeId().systemId().value(), 5) << "the lower bits stay";
  EXPECT_EQ(instance("br1").rootTimes().maxAge(), Stp::TimerVal(12, 0));
  EXPECT_EQ(instance("br1").rootTimes().fwdDelay(), Stp::TimerVal(4, 0));
  EXPECT_EQ(instance("br1").rootTimes().helloTime(), Stp::TimerVal(1, 0));
  EXPECT_EQ(port("br1", "a1").portId().portPriority().value(), 64);
  // Others configure as well; what was not refused follows them.
  ip("link set a1 type bridge_slave cost 99\nlink set br1 type bridge hello_time 300");
  ASSERT_TRUE(runUntil([&] { return asked.portConfig("a1")->extPathCost().value() == 99; }));
  ASSERT_TRUE(runUntil([&] { return asked.bridgeHelloTime() == 3000; }));
  EXPECT_EQ(said_, "");
  // The end of the agent, and its next beginning, change nothing.
  agent_.reset();
  start();
  expectSame();
  EXPECT_EQ(input("br1").portConfig("a1")->portPriority().value(), 64);
  EXPECT_EQ(said_, "");
}

TEST_F(AgentTest, WhatTheKernelRefusesStaysAsItWasWrittenAndIsSaid) {
  twoBridges();
  start();
  expectSame();
  auto& asked = input("br1");
  EXPECT_EQ(asked.bridgeForwardDelay(), 15) << "2 s are outside of what it may hold";
  const std::string delay =
      "/stp/br1/input/cli/bridgeForwardDelay: 15 is kept: the kernel has 2.00 s, outside of 4 to "
      "30 s";
  EXPECT_NE(said_.find(delay), std::string::npos) << said_;
  const auto& status = root<Stp::Status>("/stp/br1/status");
  EXPECT_EQ(status.overriddenBy(), "kernel: " + delay);
  ip("link set br0 type bridge forward_delay 400");
  ASSERT_TRUE(runUntil([&] { return asked.bridgeForwardDelay() == 4; }));
  EXPECT_EQ(status.overriddenBy(), "");

  said_.clear();
  const auto port = asked.portConfig("a1");
  port->extPathCostIs(Stp::PathCost(70000));
  port->portPriorityIs(Stp::PortPriority(130));
  port->guardIs(Stp::PortConfigBase::IntfGuardState::loopguardEnabled);
  asked.bridgeHelloTimeIs(2005);
  asked.stpiConfig("Stp")->mstiConfig("Mst0")->bridgePriorityIs(Stp::BridgePriority(4097));
  asked.maxHopsIs(7);
  const uint32_t before = status.overrideCount();
  agent_->handle(Agent::Clock::now());
  for (const char* line :
       {"/stp/br1/input/cli/portConfig/a1/extPathCost: 70000 is refused by the kernel: "
        "Numerical result out of range",
        "/stp/br1/input/cli/portConfig/a1/portPriority: 130 is no multiple of 4",
        "/stp/br1/input/cli/portConfig/a1/guard: loopguardEnabled is nothing that the kernel has",
        "/stp/br1/input/cli/bridgeHelloTime: 2005 is no multiple of 10 ms",
        "/stp/br1/input/cli/stpiConfig/Stp/mstiConfig/Mst0/bridgePriority: 4097 is no multiple of "
        "4096",
        "/stp/br1/input/cli/maxHops is nothing that the kernel has: it stays as written and "
        "changes "
        "nothing"}) {
    EXPECT_NE(said_.find(line), std::string::npos) << line << "\nin\n" << said_;
  }
  EXPECT_EQ(status.overrideCount(), before + 5);
  EXPECT_NE(status.overriddenBy().view().find("(and 4 more)"), std::string_view::npos)
      << status.overriddenBy();
  // It stays while others configure, until the kernel has it or it is taken back.
  ip("link set a1 type bridge_slave cost 55");
  ASSERT_TRUE(runUntil([&] { return this->port("br1", "a1").operIntPathCost().value() == 55; }));
  EXPECT_EQ(port->extPathCost().value(), 70000);
  port->extPathCostIs(Stp::PathCost(56));
  port->portPriorityIs(Stp::PortPriority(128));
  port->guardIs(Stp::PortConfigBase::IntfGuardState::guardDefault);
  asked.bridgeHelloTimeIs(2000);
  asked.stpiConfig("Stp")->mstiConfig("Mst0")->bridgePriorityIs(Stp::BridgePriority(32768));
  expectSame();
  EXPECT_EQ(status.overriddenBy(), "");
  EXPECT_EQ(this->port("br1", "a1").operIntPathCost().value(), 56);
}

TEST_F(AgentTest, TimesThatAreNotInForceStayAsTheyWereWritten) {
  twoBridges();
  start();
  ASSERT_TRUE(runUntil([&] { return isSettled(); }));
  auto& asked = input("br1");
  asked.maxAgeIs(11);
  ip("link set br0 type bridge max_age 3000");
  ASSERT_TRUE(runUntil([&] { return instance("br1").rootTimes().maxAge().seconds() == 30; }));
  EXPECT_EQ(asked.maxAge(), 11);
  ip("link set a1 nomaster\nlink set b1 nomaster");
  ASSERT_TRUE(runUntil([&] { return instance("br1").rootTimes().maxAge().seconds() == 11; }));
  EXPECT_EQ(asked.maxAge(), 11);
}

TEST_F(AgentTest, ElementsOfPortsComeAndGoWithThemOrWaitForThem) {
  twoBridges();
  start();
  auto& asked = input("br1");
  const auto early = asked.portConfigIs("c1");
  early->extPathCostIs(Stp::PathCost(17));
  asked.portfastBpduguardIs(true);
  agent_->handle(Agent::Clock::now());
  ip("link add c0 type veth peer name c1\nlink set c1 master br1");
  expectSame();
  EXPECT_EQ(early->extPathCost().value(), 17);
  EXPECT_EQ(early->portPriority().value(), 128) << "what was not written is the kernel's";
  EXPECT_EQ(asked.portConfig("a1")->bpduguard(),
            Stp::PortConfigBase::BpduguardEnabledState::bpduguardDefault);
  asked.portConfigDel("a1");
  ip("link set a1 type bridge_slave cost 5");
  ip("link set c1 nomaster");
  ASSERT_TRUE(runUntil([&] { return !asked.portConfig("c1"); }));
  EXPECT_FALSE(asked.portConfig("a1"));
  asked.portConfigIs("a1")->extPathCostIs(Stp::PathCost(6));
  ASSERT_TRUE(runUntil([&] { return port("br1", "a1").operIntPathCost().value() == 6; }));
}

}  // namespace

}  // namespace stplinux
