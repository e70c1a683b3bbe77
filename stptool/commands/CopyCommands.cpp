// stptool dump, load: whole trees and parts of them, out and in.
#include "stptool/commands/Commands.h"
#include "stptool/json/Dump.h"
#include "stptool/json/Load.h"
#include "stptool/json/ParseFile.h"
#include "stptool/text/Output.h"

namespace stptool {

namespace {

bool isEverything(const std::string& path) { return path.empty() || path == "/"; }

// Builds the whole tree where nobody sees it: what is wrong with the file is known before anything
// is touched. References may also lead to what is there already.
void check(const Json& document, const std::string& file, const Tovo::Directory& live) {
  // Parts of a tree need not say the types of roots that are there.
  Json complete = document;
  for (const auto& [path, type] : rootsOf(document, file)) {
    const Tovo::Entity* root = live.mounted(path);
    if (!root || !type.empty()) continue;
    complete["mounts"][path]["type"] = Tovo::typeName(root->tovoType());
  }
  Tovo::Directory scratch;
  Loader loader(scratch, &live);
  loader.load(complete, file);
  loader.resolveReferences();
}

}  // namespace

void runDump(const DumpOptions& options) {
  ClientSession session(options.session);
  session.mirrorOrAll(options.path, Access::read);
  writeOut(dumpText(isEverything(options.path) ? dumpDirectory(session.directory())
                                               : dumpPath(session.directory(), options.path)));
}

void runLoad(const LoadOptions& options) {
  const Json document = parseJsonFile(options.file);
  ClientSession session(options.session);
  session.mirrorAll(Access::write);
  Tovo::Directory& live = session.directory();
  check(document, options.file, live);

  // What exists is changed here first, where the server does not see it yet: elements that were
  // made with other parameters are the one thing that the check above cannot know.
  Json existing = document;
  std::vector<std::pair<std::string, std::string>> missing;
  for (const auto& [path, type] : rootsOf(document, options.file)) {
    if (live.mounted(path)) continue;
    missing.emplace_back(path, type);
    existing["mounts"].erase(path);
  }
  Loader loader(live);
  loader.replaces(options.replace);
  loader.load(existing, options.file);
  for (const auto& [path, type] : missing) {
    session.createRoot(path, type);
    session.mirror(path, Access::write);
    Json root = Json::object();
    root["mounts"][path] = document["mounts"][path];
    loader.load(root, options.file);
  }
  loader.resolveReferences();
  session.sync();
  if (options.json) {
    const Json done{{"loaded", rootsOf(document, options.file).size()}};
    writeOut(done.dump() + "\n");
  }
}

}  // namespace stptool
