// A toy agent: it hosts its configuration, its status and the hardware state of a switch with 48
// ports in four MST instances, and publishes what a script of link events says. There is no
// protocol in it: each event tells the result.
//
//   agent SOCKET < events      one event a line: PORT INSTANCE ROLE STATE, or PORT down
//
// It ends when the events have ended and the last peer has gone, or when a signal asks it to.
//
// A configuration front end writes below /stp/input/cli; the agent takes the port priority and the
// bridge's timers over into what it publishes.
#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>

#include <csignal>
#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include "Mirror/Connection.h"
#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpStatus.h"
#include "Tovo/Assert.h"
#include "Tovo/Directory.h"
#include "Tovo/Exceptions.h"
#include "Tovo/System.h"
#include "UnixSocket.h"

namespace {

using Role = Stp::MstiPortStatus::Role;
using Tovo::NboAttrLog::Connection;

constexpr unsigned portCount = 48;
constexpr uint16_t instanceCount = 4;
constexpr const char* spanningTree = "Mstp";

std::string instanceName(uint16_t instance) { return "Mst" + std::to_string(instance); }

// What the agent publishes, and where its input comes in.
class Agent : private Pelmo::Observer {
 public:
  explicit Agent(Tovo::Directory& directory)
      : input_(Stp::Input::configFactory("cli")),
        status_(Stp::statusFactory("status")),
        hw_(Stp::hwFactory("hw")) {
    directory.mount("/stp/input/cli", input_);
    directory.mount("/stp/status", status_);
    directory.mount("/stp/hw", hw_);
    publishBridge();
    for (uint16_t instance = 0; instance < instanceCount; ++instance) publishInstance(instance);
    observeRecursive(input_->publisher());
  }

  /// Throws Tovo::RangeException or std::runtime_error for an event that makes no sense.
  void handleEvent(const std::string& line) {
    std::istringstream words(line);
    std::string port;
    std::string word;
    words >> port >> word;
    if (word == "down") {
      for (uint16_t instance = 0; instance < instanceCount; ++instance) {
        publishPort(instance, port, Role::disabled, Stp::PortState::discarding);
      }
      return;
    }
    std::string role;
    std::string state;
    words >> role >> state;
    for (uint16_t instance = 0; instance < instanceCount; ++instance) {
      if (word != instanceName(instance)) continue;
      publishPort(instance, port, Stp::MstiPortStatus::RoleInstance(role),
                  Stp::PortStateInstance(state));
      return;
    }
    throw std::runtime_error("'" + word + "' is neither an instance nor 'down'");
  }

 private:
  // A front end has written.
  void handleChange(const Pelmo::Change& change) override {
    const Tovo::Entity& entity = Tovo::entityOf(change.source);
    if (&entity == input_.get()) publishBridge();
    if (const auto* port = dynamic_cast<const Stp::Input::PortConfig*>(&entity)) {
      publishPriority(port->name(), port->portPriority());
    }
  }

  Pelmo::Ptr<Stp::StpiStatus> tree() { return status_->stpiStatusIs(spanningTree); }
  Pelmo::Ptr<Stp::MstiStatus> instanceStatus(uint16_t instance) {
    return tree()->mstiStatusIs(instanceName(instance), instance);
  }

  void publishBridge() {
    status_->versionIs(Stp::Version::mstp);
    Stp::TimesVector times;
    times.maxAgeIs(Stp::TimerVal(static_cast<uint8_t>(input_->maxAge()), 0));
    times.fwdDelayIs(Stp::TimerVal(static_cast<uint8_t>(input_->bridgeForwardDelay()), 0));
    // A timer counts 1/256 s, the configuration milliseconds.
    const uint32_t hello = input_->bridgeHelloTime() * 256 / 1000;
    times.helloTimeIs(
        Stp::TimerVal(static_cast<uint8_t>(hello >> 8), static_cast<uint8_t>(hello & 255)));
    times.remainingHopsIs(input_->maxHops());
    tree()->bridgeTimesIs(times);
  }

  void publishInstance(uint16_t instance) {
    const auto status = instanceStatus(instance);
    const Stp::BridgeId root(4096, instance, Nelka::EthAddr("00:00:5e:00:53:01"));
    status->designatedRootIs(root);
    status->rootPathCostIs(Stp::PathCost::linkPathCost100Gbps);
    for (unsigned port = 1; port <= portCount; ++port) {
      publishPort(instance, "Ethernet" + std::to_string(port), Role::disabled,
                  Stp::PortState::discarding);
    }
  }

  void publishPort(uint16_t instance, const std::string& name, Role role, Stp::PortState state) {
    const auto status = instanceStatus(instance);
    const auto port = status->mstiPortStatusIs(name, 1);
    port->roleIs(role);
    port->selectedRoleIs(role);
    if (state == Stp::PortState::forwarding && port->state() != state) {
      port->transitionsToForwardingCountInc(1);
      status->lastTopologyChangeIs(Tovo::System::currentTime());
      status->lastTopologyChangePortIs(name);
      status->tcnCountInc(1);
    }
    port->stateIs(state);
    if (role == Role::root) status->rootPortIs(port);
    const auto hardware = hw_->mstiHwIs(instanceName(instance))->mstiPortHwIs(name);
    hardware->portStateIs(state);
    hardware->activeIs(role != Role::disabled);
  }

  void publishPriority(const Pelmo::String& name, Stp::PortPriority priority) {
    for (uint16_t instance = 0; instance < instanceCount; ++instance) {
      const auto port = instanceStatus(instance)->mstiPortStatus(name);
      if (!port) continue;
      Stp::PortId id = port->portId();
      id.portPriorityIs(priority);
      port->portIdIs(id);
    }
  }

  Pelmo::Ptr<Stp::Input::Config> input_;
  Pelmo::Ptr<Stp::Status> status_;
  Pelmo::Ptr<Stp::Hw> hw_;
};

// Adds what standard input has now; false when it has ended.
bool readMore(std::string& text) {
  char bytes[4096];
  const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof bytes);
  text.append(bytes, count > 0 ? static_cast<size_t>(count) : 0);
  return count > 0;
}

void handleLine(Agent& agent, const std::string& line) {
  try {
    if (!line.empty()) agent.handleEvent(line);
  } catch (const std::exception& error) {
    std::cerr << "agent: event '" << line << "': " << error.what() << '\n';
  }
}

// A descriptor that is readable when the process is asked to end.
int stopSignals() {
  std::signal(SIGPIPE, SIG_IGN);
  sigset_t stops;
  sigemptyset(&stops);
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    sigaction(number, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaddset(&stops, number);
  }
  sigprocmask(SIG_BLOCK, &stops, nullptr);
  return ::signalfd(-1, &stops, SFD_CLOEXEC);
}

// Events from standard input, peers from the socket, until both have ended or a signal comes.
void run(Agent& agent, Tovo::Directory& directory, int listener, int stop) {
  std::vector<std::unique_ptr<Connection>> peers;
  std::string events;  // that are not whole yet
  bool eventsEnded = false;
  while (!eventsEnded || !peers.empty()) {
    std::vector<pollfd> ready = {
        {listener, POLLIN, 0}, {eventsEnded ? -1 : 0, POLLIN, 0}, {stop, POLLIN, 0}};
    const size_t others = ready.size();
    for (const auto& peer : peers) {
      const int wanted = POLLIN | (peer->wantsWrite() ? POLLOUT : 0);
      ready.push_back({peer->readFd(), static_cast<short>(wanted), 0});
    }
    if (::poll(ready.data(), ready.size(), -1) < 0) continue;
    if (ready[2].revents != 0) return;
    for (size_t i = 0; i < peers.size(); ++i) {
      if ((ready[i + others].revents & ~POLLOUT) != 0) peers[i]->handleReadable();
    }
    const auto flush = [&] {
      for (const auto& peer : peers) peer->flush();
    };
    if (ready[1].revents != 0) {
      eventsEnded = !readMore(events);
      if (eventsEnded) events += '\n';
    }
    for (size_t end = 0; (end = events.find('\n')) != std::string::npos;) {
      handleLine(agent, events.substr(0, end));
      events.erase(0, end + 1);
      flush();  // so that peers see one event after the other
    }
    if (ready[0].revents != 0) {
      const int fd = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (fd >= 0) peers.push_back(std::make_unique<Connection>(fd, directory));
    }
    flush();
    std::erase_if(peers, [](const auto& peer) { return peer->closed(); });
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: agent SOCKET < EVENTS\n";
    return 2;
  }
  const std::string path = argv[1];
  // Otherwise a socket could get the number of a standard stream, and be sent what is printed.
  for (const int fd : {0, 1, 2}) {
    if (::fcntl(fd, F_GETFD) < 0) (void)::open("/dev/null", O_RDWR);
  }
  // A peer can end its own connection, not the agent.
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  try {
    Tovo::Directory directory;
    Agent agent(directory);
    const int stop = stopSignals();
    const example::Listener listener(path);
    std::cout << "agent: serving " << directory.mounts().size() << " trees on " << path
              << std::endl;
    run(agent, directory, listener.fd(), stop);
  } catch (const std::exception& error) {
    std::cerr << "agent: " << error.what() << '\n';
    return 1;
  }
}
