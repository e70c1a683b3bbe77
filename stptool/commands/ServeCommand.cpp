// stptool serve: hosts a tree for others to mirror.
#include <unistd.h>

#include <stdexcept>
#include <utility>

#include "Tovo/Directory.h"
#include "Tovo/Printable.h"
#include "agents/service/Activation.h"
#include "agents/service/Readiness.h"
#include "agents/service/Server.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/Dump.h"
#include "stptool/json/Load.h"
#include "stptool/json/ParseFile.h"
#include "stptool/output/Output.h"
#include "stptool/output/OutputFile.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

// All files or nothing: what is wrong in one of them leaves the directory empty. What a server
// dumped at its end is what it starts from again, whatever the log had brought it.
void loadFiles(const std::vector<std::string>& files, Tovo::Directory& directory) {
  Tovo::Directory scratch;
  Loader loader(scratch);
  loader.restores(complain);
  for (const std::string& file : files) loader.load(parseJsonFile(file), file);
  loader.resolveReferences();
  while (!scratch.mounts().empty()) {
    const std::string path = scratch.mounts().begin()->first;
    directory.mount(path, scratch.unmount(path));
  }
}

std::string announcement(const ServeOptions& options, size_t count, const std::string& socket) {
  if (options.json) {
    const Json ready{{"serving", count}, {"socket", socket}};
    return lineOf(ready);
  }
  return "serving " + words::counted(count, "entity", "entities") + " on " +
         Tovo::printable(socket) + "\n";
}

service::ServerOptions serverOptions(const ServeOptions& options) {
  service::ServerOptions served{service::WriteAccess(::geteuid()), options.clients, {}};
  served.clients.bytes = options.mebibytes << 20;
  served.clients.bytesOfOneUser = options.mebibytesOfOneUser << 20;
  try {
    for (const std::string& rule : options.allowWrite) served.writeAccess.allow(rule);
  } catch (const std::invalid_argument& error) {
    throw Failure(error.what(), ExitCode::usage);
  }
  return served;
}

void serve(const ServeOptions& options, Tovo::Directory& directory, service::ServerOptions served,
           service::Readiness& readiness, const service::StopSignals& signals) {
  std::vector<service::ListeningSocket> sockets = service::listeningSockets(
      options.socket, static_cast<mode_t>(std::stoul(options.mode, nullptr, 8)));
  if (sockets.empty()) {
    throw Failure("--socket is required where no service manager passes a socket", ExitCode::usage);
  }
  const std::string socket = sockets.front().path();
  ErrorLog errors;
  service::Server server(directory, std::move(sockets), std::move(served), errors.log());
  // Whoever reads it may be slow, or not there: that is no reason not to serve.
  service::Log out(STDOUT_FILENO, {});
  out.show(announcement(options, directory.mounts().size(), socket));
  const auto told = [](const std::string& trouble) {
    if (!trouble.empty()) complain(trouble);
  };
  told(readiness.ready());
  server.run(signals);
  told(readiness.stopping());
}

}  // namespace

void runServe(const ServeOptions& options) {
  service::ServerOptions served = serverOptions(options);
  service::Readiness readiness(options.readyFd);
  if (!options.dumpAtEnd.empty()) OutputFile::check(options.dumpAtEnd);
  Tovo::Directory directory;
  loadFiles(options.load, directory);
  // Until here there is nothing that a signal would leave behind.
  const service::StopSignals signals;
  serve(options, directory, std::move(served), readiness, signals);
  if (options.dumpAtEnd.empty()) return;
  writeFile(options.dumpAtEnd,
            [&](const Sink& sink) { dumpDirectory(directory, allLevels, sink); });
}

}  // namespace stptool
