#include "Lab.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpProtoStatus.h"
#include "Stp/StpStatus.h"
#include "Tovo/AllocTrack.h"

namespace {

using Json = nlohmann::json;

struct Ran {
  int status;
  std::string out;
};

Ran run(const std::string& command) {
  FILE* const pipe = ::popen(("exec 2>&1\n" + command).c_str(), "r");
  if (!pipe) throw std::runtime_error("cannot run " + command);
  std::string out;
  std::array<char, 4096> bytes;
  for (size_t count; (count = std::fread(bytes.data(), 1, bytes.size(), pipe)) > 0;) {
    out.append(bytes.data(), count);
  }
  return {::pclose(pipe), out};
}

// Root's way, or that of a user whom the system lets be root in a namespace of users.
bool enterNamespace() {
  if (::unshare(CLONE_NEWNET) == 0) return true;
  const std::string user = std::to_string(::geteuid());
  const std::string group = std::to_string(::getegid());
  if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) return false;
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/uid_map") << "0 " + user + " 1";
  std::ofstream("/proc/self/gid_map") << "0 " + group + " 1";
  return true;
}

Json jsonOf(const std::string& command) {
  const std::string out = run(command).out;
  return out.empty() ? Json::array() : Json::parse(out);
}

// "8001.0:0:5e:0:53:1"
Stp::BridgeId identifier(const std::string& text) {
  unsigned number[7] = {};
  if (std::sscanf(text.c_str(), "%x.%x:%x:%x:%x:%x:%x", &number[0], &number[1], &number[2],
                  &number[3], &number[4], &number[5], &number[6]) != 7) {
    throw std::runtime_error("no identifier: " + text);
  }
  Nelka::EthAddr::Octets octets;
  for (size_t i = 0; i < octets.size(); ++i) octets[i] = static_cast<uint8_t>(number[i + 1]);
  return {Stp::BridgePriority(static_cast<uint16_t>(number[0] & 0xF000)),
          Stp::BridgeSystemId(static_cast<uint16_t>(number[0] & 0xFFF)), Nelka::EthAddr(octets)};
}

Stp::PortId portIdentifier(unsigned id) {
  return {Stp::PortPriority(static_cast<uint8_t>(id >> 10 << 2)),
          Stp::PortNumber(static_cast<uint16_t>(id & 1023))};
}

Stp::TimerVal seconds(unsigned hundredths) {
  const unsigned value = (hundredths * 256 + 50) / 100;
  return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

// Collects what differs.
class Differences {
 public:
  template <class T>
  void check(const std::string& what, const T& found, const T& wanted) {
    if (found == wanted) return;
    std::ostringstream line;
    line << what << " is " << found << ", ip has " << wanted << '\n';
    text_ += line.str();
  }
  void add(const std::string& line) { text_ += line + '\n'; }
  const std::string& text() const noexcept { return text_; }

 private:
  std::string text_;
};

void comparePort(Differences& all, const Json& link, const Json& counters,
                 const Stp::Status& status, const Stp::Hw& hw, const Stp::Input::Config& input,
                 bool isRootPort) {
  const std::string name = link["ifname"];
  const Json& data = link["linkinfo"]["info_slave_data"];
  const auto tree = status.stpiStatus("Stp");
  const auto inTree = tree->stpiPortStatus(name);
  const auto port = tree->mstiStatus("Mst0")->mstiPortStatus(name);
  const auto hardware = hw.mstiHw("Mst0")->mstiPortHw(name);
  const auto asked = input.portConfig(name);
  if (!inTree || !port || !hardware || !asked) return all.add(name + " is missing");
  const auto check = [&](const char* what, const auto& found, const auto& wanted) {
    all.check<std::decay_t<decltype(found)>>(name + " " + what, found, wanted);
  };
  const std::string state = data["state"];
  check("enabledNonce", port->enabledNonce(), link["ifindex"].get<uint32_t>());
  check("state", port->state(),
        state == "forwarding" ? Stp::PortState::forwarding
        : state == "learning" ? Stp::PortState::learning
                              : Stp::PortState::discarding);
  check("hardware's state", hardware->portState(), port->state());
  check("active", hardware->active(), state != "disabled");
  const unsigned id = static_cast<unsigned>(std::stoul(data["id"].get<std::string>(), nullptr, 16));
  check("portId", port->portId(), portIdentifier(id));
  const uint32_t cost = data["cost"];
  check("operExtPathCost", inTree->operExtPathCost().value(), cost);
  check("operIntPathCost", port->operIntPathCost().value(), cost);
  const Stp::PriorityVector& vector = port->portPriority();
  check("root", vector.cistRootBridgeId(), identifier(data["root_id"]));
  check("bridge", vector.bridgeId(), identifier(data["bridge_id"]));
  check("designated cost", vector.extRootPathCost().value(),
        data["designated_cost"].get<uint32_t>());
  check("designated port", vector.portId(), portIdentifier(data["designated_port"]));
  const Stp::BridgeId own = tree->mstiStatus("Mst0")->bridgeId();
  using Role = Stp::MstiPortStatus::Role;
  const Role role = state == "disabled"                             ? Role::disabled
                    : isRootPort                                    ? Role::root
                    : !(identifier(data["bridge_id"]) == own)       ? Role::alternate
                    : data["designated_port"].get<unsigned>() == id ? Role::designated
                                                                    : Role::backup;
  check("role", port->role(), role);
  const auto flag = [&](const char* key) { return data[key].get<bool>(); };
  using Guard = Stp::PortConfigBase::BpduguardEnabledState;
  const bool isDefault = asked->bpduguard() == Guard::bpduguardDefault;
  check("guard",
        asked->bpduguard() == Guard::bpduguardEnabled || (isDefault && input.portfastBpduguard()),
        flag("guard"));
  check("root guard", port->guardStatus() == Stp::MstiPortStatus::GuardStatus::rootGuardEnabled,
        flag("root_block"));
  check("asked cost", asked->extPathCost().value(), cost);
  check("asked priority", asked->portPriority().value(),
        static_cast<uint8_t>(data["priority"].get<unsigned>() * 4));
  if (counters.is_null()) return;
  check("bpduRx", inTree->counters().bpduRx(),
        counters["rx_bpdu"].get<uint32_t>() + counters["rx_tcn"].get<uint32_t>());
  check("bpduTx", inTree->counters().bpduTx(),
        counters["tx_bpdu"].get<uint32_t>() + counters["tx_tcn"].get<uint32_t>());
  check("transitions", port->transitionsToForwardingCount(),
        counters["transition_fwd"].get<uint32_t>());
}

}  // namespace

void Lab::SetUp() {
  if (!enterNamespace()) {
    GTEST_SKIP() << "no network namespace of its own: " << std::strerror(errno);
  }
  if (run("ip -V").status != 0) GTEST_SKIP() << "ip is not installed";
  const Ran bridge = run("ip link add br0 type bridge stp_state 1");
  if (bridge.status != 0) GTEST_SKIP() << "no bridges here: " << bridge.out;
  ip("link del br0");
  liveBefore_ = Tovo::AllocTrackTypeInfo::totalLiveObjects();
}

void Lab::TearDown() {
  if (IsSkipped()) return;
  EXPECT_EQ(Tovo::AllocTrackTypeInfo::totalLiveObjects(), liveBefore_);
}

void Lab::ip(const std::string& words) {
  const bool isBatch = words.find('\n') != std::string::npos;
  const Ran ran = run(isBatch ? "ip -batch - <<'END'\n" + words + "\nEND\n" : "ip " + words);
  ASSERT_EQ(ran.status, 0) << "ip " << words << ": " << ran.out;
}

int Lab::tryIp(const std::string& lines) {
  const std::string out = run("ip -force -batch - <<'END'\n" + lines + "\nEND\n").out;
  int failed = 0;
  constexpr std::string_view complaint = "Command failed";
  for (size_t at = 0; (at = out.find(complaint, at)) != std::string::npos; at += complaint.size()) {
    ++failed;
  }
  return failed;
}

void Lab::twoBridges(int forwardDelay) {
  ip(
      fmt::format("link add br0 type bridge stp_state 1 forward_delay {0} priority 4096\n"
                  "link add br1 type bridge stp_state 1 forward_delay {0}\n"
                  "link add a0 master br0 type veth peer name a1\n"
                  "link add b0 master br0 type veth peer name b1\n"
                  "link set a1 master br1\nlink set b1 master br1\n"
                  "link set br0 up\nlink set br1 up\n"
                  "link set a0 up\nlink set a1 up\nlink set b0 up\nlink set b1 up",
                  forwardDelay));
}

std::string Lab::difference(const Tovo::Directory& directory) {
  Differences all;
  const Json links = jsonOf("ip -d -j link show");
  std::map<std::string, Json> counters;
  for (const Json& port : jsonOf("ip -j link xstats type bridge_slave stp")) {
    counters[port["ifname"]] = port["stp"];
  }
  std::set<std::string> published;
  for (const Json& link : links) {
    const Json info = link.value("linkinfo", Json::object());
    if (info.value("info_kind", "") != "bridge" || info["info_data"]["stp_state"] != 1) continue;
    const std::string name = link["ifname"];
    const Json& data = info["info_data"];
    published.insert(name);
    // A path holds no brackets.
    const std::string above = "/stp/" + (name == "[br]" ? "%5bbr%5d" : name);
    const auto* status = dynamic_cast<Stp::Status*>(directory.mounted(above + "/status"));
    const auto* hw = dynamic_cast<Stp::Hw*>(directory.mounted(above + "/hw"));
    const auto* input = dynamic_cast<Stp::Input::Config*>(directory.mounted(above + "/input/cli"));
    if (!status || !hw || !input) {
      all.add(name + " is not published");
      continue;
    }
    const auto tree = status->stpiStatus("Stp");
    const auto instance = tree->mstiStatus("Mst0");
    const auto check = [&](const char* what, const auto& found, const auto& wanted) {
      all.check<std::decay_t<decltype(found)>>(name + " " + what, found, wanted);
    };
    check("bridgeId", instance->bridgeId(), identifier(data["bridge_id"]));
    const uint32_t cost = data["root_path_cost"];
    check("cost", instance->rootPathCost().value(), cost);
    check("cist cost", tree->cistPathCost().value(), cost);
    check("maxAge", instance->rootTimes().maxAge(), seconds(data["max_age"]));
    check("fwdDelay", instance->rootTimes().fwdDelay(), seconds(data["forward_delay"]));
    check("helloTime", instance->rootTimes().helloTime(), seconds(data["hello_time"]));
    check("topology change", instance->topologyChangeInProgress(), data["topology_change"] == 1);
    // ip prints the bridge's own identifier as that of the root; the ports know better.
    Stp::BridgeId root = identifier(data["bridge_id"]);
    std::string rootPort;
    std::map<std::string, unsigned> inState;
    size_t ports = 0;
    for (const Json& port : links) {
      if (port.value("master", "") != name) continue;
      const Json& of = port["linkinfo"]["info_slave_data"];
      ++ports;
      ++inState[of["state"]];
      const unsigned number =
          static_cast<unsigned>(std::stoul(of["no"].get<std::string>(), nullptr, 16));
      const bool isRootPort = number == data["root_port"].get<unsigned>();
      if (isRootPort) {
        root = identifier(of["root_id"]);
        rootPort = port["ifname"];
      }
      comparePort(all, port, counters[port["ifname"]], *status, *hw, *input, isRootPort);
    }
    check("root", instance->designatedRoot(), root);
    check("cistRoot", tree->cistRoot(), root);
    check("rootPort", std::string(instance->rootPort() ? instance->rootPort()->name().view() : ""),
          rootPort);
    check("number of ports", instance->mstiPortStatus().size(), ports);
    check("number of ports of the tree", tree->stpiPortStatus().size(), ports);
    check("number of ports of the hardware", hw->mstiHw("Mst0")->mstiPortHw().size(), ports);
    check("number of ports of the input", input->portConfig().size(), ports);
    Stp::MstiCounters tally;
    tally.blockedPortCountIs(static_cast<uint16_t>(inState["blocking"]));
    tally.listenPortCountIs(static_cast<uint16_t>(inState["listening"]));
    tally.learningPortCountIs(static_cast<uint16_t>(inState["learning"]));
    tally.forwardingPortCountIs(static_cast<uint16_t>(inState["forwarding"]));
    check("counters", instance->counters(), tally);
  }
  for (const auto& [path, root] : directory.mounts()) {
    const size_t end = path.find('/', 5);
    const std::string name = path.substr(5, end - 5);
    if (!published.contains(name == "%5bbr%5d" ? "[br]" : name)) all.add(path + " is published");
  }
  return all.text();
}
