// stptool serve: hosts a tree for others to mirror.
#include <unistd.h>

#include <utility>

#include "Tovo/Directory.h"
#include "stptool/commands/Commands.h"
#include "stptool/json/Dump.h"
#include "stptool/json/Load.h"
#include "stptool/json/ParseFile.h"
#include "stptool/service/Server.h"
#include "stptool/text/Output.h"

namespace stptool {

namespace {

// All files or nothing: what is wrong in one of them leaves the directory empty.
void loadFiles(const std::vector<std::string>& files, Tovo::Directory& directory) {
  Tovo::Directory scratch;
  Loader loader(scratch);
  for (const std::string& file : files) loader.load(parseJsonFile(file), file);
  loader.resolveReferences();
  while (!scratch.mounts().empty()) {
    const std::string path = scratch.mounts().begin()->first;
    directory.mount(path, scratch.unmount(path));
  }
}

}  // namespace

void runServe(const ServeOptions& options) {
  ServerOptions served{options.socket, static_cast<mode_t>(std::stoul(options.mode, nullptr, 8)),
                       WriteAccess(::geteuid())};
  for (const std::string& rule : options.allowWrite) served.writeAccess.allow(rule);
  const StopSignals signals;
  Tovo::Directory directory;
  loadFiles(options.load, directory);
  {
    Server server(directory, std::move(served));
    const size_t count = directory.mounts().size();
    if (options.json) {
      const Json ready{{"serving", count}, {"socket", options.socket}};
      writeOut(ready.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
    } else {
      writeOut("serving " + std::to_string(count) + (count == 1 ? " entity" : " entities") +
               " on " + options.socket + "\n");
    }
    server.run(signals);
  }
  if (options.dumpAtEnd.empty()) return;
  writeFile(options.dumpAtEnd,
            [&](const Sink& sink) { dumpDirectory(directory, allLevels, sink); });
}

}  // namespace stptool
