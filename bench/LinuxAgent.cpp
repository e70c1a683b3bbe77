// What stp-linux costs, in a network namespace of its own; run as root. Prints a table.
//
//   stp_bench_linux [PROGRAM]    by default the stp-linux beside it
#include <fcntl.h>
#include <linux/if_link.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Mirror/Link.h"
#include "Stp/StpStatus.h"
#include "agents/linux/Messages.h"

namespace {

using Clock = std::chrono::steady_clock;
using Tovo::NboAttrLog::Link;

constexpr int portCount = 1000;
constexpr auto span = std::chrono::seconds(10);

double milliseconds(Clock::duration duration) {
  return std::chrono::duration<double, std::milli>(duration).count();
}

void ip(const std::string& lines) {
  if (FILE* const pipe = ::popen("ip -batch -", "w")) {
    std::fputs(lines.c_str(), pipe);
    if (::pclose(pipe) == 0) return;
  }
  throw std::runtime_error("ip failed");
}

// The agent as a process, until its end.
class Program {
 public:
  Program(const std::string& file, const std::string& socket) {
    int ends[2];
    if (::pipe(ends) != 0) throw std::runtime_error("pipe");
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(ends[1], STDOUT_FILENO);
      ::execl(file.c_str(), file.c_str(), "--socket", socket.c_str(), "--bridge", "br0", nullptr);
      ::_exit(127);
    }
    ::close(ends[1]);
    char byte = 0;
    const bool serves = ::read(ends[0], &byte, 1) == 1;
    ::close(ends[0]);
    if (!serves) throw std::runtime_error(file + " does not start");
  }
  ~Program() {
    ::kill(pid_, SIGTERM);
    ::waitpid(pid_, nullptr, 0);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  double processorSeconds() const {
    std::ifstream file("/proc/" + std::to_string(pid_) + "/stat");
    std::string word;
    for (int i = 0; i < 13; ++i) file >> word;
    double user = 0;
    double system = 0;
    file >> user >> system;
    return (user + system) / static_cast<double>(::sysconf(_SC_CLK_TCK));
  }
  double kibibytes() const {
    std::ifstream file("/proc/" + std::to_string(pid_) + "/smaps_rollup");
    for (std::string word; file >> word;) {
      if (word != "Private_Dirty:") continue;
      double value = 0;
      file >> value;
      return value;
    }
    throw std::runtime_error("no smaps_rollup");
  }

 private:
  pid_t pid_;
};

class Seen : public Pelmo::Observer {
 public:
  void handleChange(const Pelmo::Change&) override { ++count; }
  int count = 0;
};

void row(const std::string& what, double value, int decimals, const char* unit) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f %s", decimals, value, unit);
  std::cout << "| " << what << " | " << text << " |" << std::endl;
}

uint32_t indexOf(const std::string& name) {
  stplinux::RequestSocket socket;
  uint32_t index = 0;
  stplinux::Request bridges = stplinux::askBridges();
  uint32_t bridge = 0;
  socket.send(bridges,
              [&](const nlmsghdr& message) { bridge = stplinux::readLink(message)->index; });
  stplinux::Request ports = stplinux::askPorts(bridge);
  socket.send(ports, [&](const nlmsghdr& message) {
    const auto link = stplinux::readLink(message);
    if (link && link->name == name) index = link->index;
  });
  return index;
}

// From the kernel's acknowledgement being asked for to the observer of a mirror in this process.
void latency(const std::string& socket, uint32_t port) {
  Tovo::Directory mirror;
  Link link(socket, mirror);
  link.mount("/stp/status", true);
  constexpr int patience = 10000;
  if (!link.runUntil([&] { return link.isMirrored("/stp/status"); }, patience)) {
    throw std::runtime_error("no mirror: " + link.reason());
  }
  const auto& status = dynamic_cast<Stp::Status&>(*mirror.mounted("/stp/status"));
  Seen seen;
  seen.observe(status.stpiStatus("Stp")->stpiPortStatus("p0")->publisher());
  stplinux::RequestSocket kernel;
  std::vector<double> times;
  for (uint32_t i = 0; i < 2000; ++i) {
    const int before = seen.count;
    const auto start = Clock::now();
    stplinux::Request change = stplinux::setPort(port, IFLA_BRPORT_COST, 100 + i);
    kernel.send(change);
    if (!link.runUntil([&] { return seen.count > before; }, patience)) {
      throw std::runtime_error("a change was not seen");
    }
    times.push_back(milliseconds(Clock::now() - start));
    // What follows from it, such as the sweep's, is not part of the next one.
    link.runUntil([] { return false; }, 1);
  }
  std::sort(times.begin(), times.end());
  row("kernel event to observer in another process, p50", times[times.size() / 2], 2, "ms");
  row("the same, p99", times[times.size() * 99 / 100], 2, "ms");
}

void run(const std::string& file) {
  if (::unshare(CLONE_NEWNET) != 0) throw std::runtime_error("no network namespace of its own");
  const std::string socket = "/tmp/stp_bench_linux." + std::to_string(::getpid());
  ip("link add br0 type bridge stp_state 1 forward_delay 400\nlink set br0 up\n");
  std::cout << "| " << portCount << " ports | |\n|---|---|" << std::endl;
  double empty = 0;
  {
    const Program program(file, socket);
    empty = program.kibibytes();
  }
  std::string lines;
  for (int i = 0; i < portCount; ++i) {
    const std::string number = std::to_string(i);
    lines += "link add p" + number + " master br0 type veth peer name q" + number + "\nlink set p" +
             number + " up\n";
  }
  ip(lines);
  const uint32_t port = indexOf("p0");
  const auto start = Clock::now();
  const Program program(file, socket);
  row("start until clients are served", milliseconds(Clock::now() - start), 0, "ms");
  row("memory of the agent for a port, no reader", (program.kibibytes() - empty) / portCount, 1,
      "KiB");
  latency(socket, port);
  double before = program.processorSeconds();
  std::this_thread::sleep_for(span);
  row("processor time of an idle agent, a sweep every 5 s",
      (program.processorSeconds() - before) * 100 / 10, 2, "%");
  before = program.processorSeconds();
  stplinux::RequestSocket kernel;
  auto next = Clock::now();
  uint32_t cost = 0;
  for (const auto end = next + span; next < end; next += std::chrono::milliseconds(1)) {
    stplinux::Request change = stplinux::setPort(port, IFLA_BRPORT_COST, 1 + ++cost % 60000);
    kernel.send(change);
    std::this_thread::sleep_until(next);
  }
  row("processor time with 1,000 changes a second",
      (program.processorSeconds() - before) * 100 / 10, 1, "%");
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::string own = argv[0];
    run(argc > 1 ? argv[1] : own.substr(0, own.rfind('/') + 1) + "stp-linux");
  } catch (const std::exception& error) {
    std::cerr << "stp_bench_linux: " << error.what() << '\n';
    return 1;
  }
}
