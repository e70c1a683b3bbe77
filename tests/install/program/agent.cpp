// An agent of somebody else, which is asked to end before it has begun.
#include <unistd.h>

#include <csignal>
#include <iostream>

#include "Stp/StpStatus.h"
#include "agents/service/Activation.h"
#include "agents/service/Server.h"

int main(int, char** argv) {
  const service::StopSignals signals;
  service::Log log(STDERR_FILENO, "agent");
  Tovo::Directory directory;
  directory.mount("/here/status", Stp::statusFactory("status"));
  service::Server server(directory, service::listeningSockets(argv[1]),
                         {service::WriteAccess(::geteuid()), {}, {}}, log);
  std::raise(SIGTERM);
  server.run(signals);
  std::cout << "has served " << argv[1] << '\n';
}
