// stp-linux: the spanning trees of this machine's bridges, for others to mirror.
#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <chrono>
#include <iostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Tovo/Assert.h"
#include "Tovo/Directory.h"
#include "agents/linux/Agent.h"
#include "agents/service/Activation.h"
#include "agents/service/Log.h"
#include "agents/service/Readiness.h"
#include "agents/service/Server.h"
#include "agents/service/StandardStreams.h"
#include "agents/service/StopSignals.h"

namespace {

struct Options {
  std::string socket;
  std::vector<std::string> bridges;
  bool configure = false;
  double sweep = 5;
  std::string mode = "0600";
  std::vector<std::string> allowWrite;
};

void describe(CLI::App& app, Options& options) {
  app.option_defaults()->always_capture_default();
  app.add_option("--socket", options.socket, "Unix socket to serve at; needed unless one is passed")
      ->type_name("PATH");
  app.add_option("--bridge", options.bridges,
                 "publish this bridge, below /stp; several, or all without this option: "
                 "below /stp/NAME")
      ->type_name("NAME")
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
  app.add_flag("--configure", options.configure,
               "pass what is written to the kernel; needs CAP_NET_ADMIN");
  app.add_option("--sweep", options.sweep,
                 "seconds between two readings of what the kernel does not announce, such as "
                 "counters; 0: none")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 3600.0));
  app.add_option("--mode", options.mode, "permissions of the socket, octal: who may connect")
      ->type_name("MODE")
      ->check([](const std::string& text) {
        const bool isMode = !text.empty() && text.size() <= 4 &&
                            text.find_first_not_of("01234567") == std::string::npos;
        return isMode ? std::string() : "'" + text + "' is no octal number of up to four digits";
      });
  app.add_option("--allow-write", options.allowWrite,
                 "who may write beside root and the user that serves: uid:USER or gid:GROUP")
      ->type_name("RULE")
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
  app.set_version_flag("--version", STP_VERSION);
}

bool mayConfigure() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
  if (::syscall(SYS_capget, &header, data) != 0) return false;
  return (data[CAP_TO_INDEX(CAP_NET_ADMIN)].effective & CAP_TO_MASK(CAP_NET_ADMIN)) != 0;
}

stplinux::Agent::Options agentOptions(const Options& options, service::Log& log) {
  stplinux::Agent::Options wanted;
  wanted.kernel.bridges = {options.bridges.begin(), options.bridges.end()};
  wanted.kernel.sweep = std::chrono::milliseconds(static_cast<int64_t>(options.sweep * 1000));
  wanted.say = [&log](const std::string& line) { log.line(line); };
  if (!options.configure) {
    wanted.whyReadOnly = "stp-linux runs without --configure";
  } else if (!mayConfigure()) {
    wanted.whyReadOnly = "stp-linux runs without CAP_NET_ADMIN";
  }
  return wanted;
}

void run(const Options& options, service::Log& log) {
  service::ServerOptions served{service::WriteAccess(::geteuid()), {}, {}};
  for (const std::string& rule : options.allowWrite) served.writeAccess.allow(rule);
  service::Readiness readiness;
  const service::StopSignals signals;
  Tovo::Directory directory;
  stplinux::Agent agent(directory, agentOptions(options, log));
  // What there is is mounted before anybody connects, so that readers that come back see what has
  // changed, and not roots that go and come.
  agent.handle(stplinux::Agent::Clock::now());
  auto sockets = service::listeningSockets(
      options.socket, static_cast<mode_t>(std::stoul(options.mode, nullptr, 8)));
  if (sockets.empty()) {
    throw std::invalid_argument("--socket is required where no service manager passes a socket");
  }
  service::Log out(STDOUT_FILENO, {});
  out.show("serving " + std::to_string(directory.mounts().size()) + " roots on " +
           sockets.front().path() + "\n");
  service::Server server(directory, std::move(sockets), std::move(served), log);
  server.add(agent);
  const auto told = [&](const std::string& trouble) {
    if (!trouble.empty()) log.line(trouble);
  };
  told(readiness.ready());
  server.run(signals);
  told(readiness.stopping());
}

}  // namespace

int main(int argc, char** argv) {
  service::occupyClosedStreams();
  // What a peer sends may fail an assertion; that ends its connection.
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  constexpr int usageError = 2;
  Options options;
  CLI::App app("Publishes the spanning trees that the kernel runs, and configures them.",
               "stp-linux");
  service::Log log(STDERR_FILENO, "stp-linux");
  try {
    describe(app, options);
    app.parse(argc, argv);
    run(options, log);
    return 0;
  } catch (const CLI::Success& asked) {
    return app.exit(asked);
  } catch (const CLI::ParseError& error) {
    log.line(error.what());
    return usageError;
  } catch (const std::invalid_argument& error) {
    log.line(error.what());
    return usageError;
  } catch (const std::exception& error) {
    log.line(error.what());
    return 1;
  }
}
