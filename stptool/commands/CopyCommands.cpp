// stptool dump, load: whole trees and parts of them, out and in.
#include "stptool/commands/Commands.h"
#include "stptool/json/Dump.h"
#include "stptool/json/Load.h"
#include "stptool/json/ParseFile.h"
#include "stptool/output/Output.h"
#include "stptool/output/Progress.h"

namespace stptool {

namespace {

// Builds the whole tree where nobody sees it: what is wrong with the file is known before anything
// is touched. References may also lead to what is there already.
void check(const Json& document, const LoadOptions& options, const Tovo::Directory& live) {
  Tovo::Directory scratch;
  Loader loader(scratch, &live);
  if (options.restore) loader.restores(complain);
  loader.load(document, options.file);
  loader.resolveReferences();
}

// What there is to warn of has been said by the check.
void restoreSilently(Loader& loader, const LoadOptions& options) {
  if (options.restore) loader.restores([](const std::string&) {});
}

}  // namespace

void runDump(const DumpOptions& options) {
  ClientSession session(options.session);
  session.mirrorOrAll(options.path, Access::read);
  Output out;
  if (isEverything(options.path)) {
    dumpDirectory(session.directory(), allLevels, [&](std::string_view part) { out.add(part); });
  } else {
    out.add(dumpText(dumpPath(session.directory(), options.path)));
  }
  out.flush();
}

void runLoad(const LoadOptions& options) {
  Progress progress("reading " + options.file, 0);
  const Json document = parseJsonFile(options.file, progress);
  ClientSession session(options.session);
  session.mirrorAll(Access::write);
  Tovo::Directory& live = session.directory();
  const auto roots = rootsOf(document, options.file);
  progress.stage("checking " + options.file);
  check(document, options, live);

  // What exists is changed here first, where the server does not see it yet: elements that were
  // made with other parameters are the one thing that the check above cannot know.
  progress.stage("loading " + options.file);
  Loader loader(live);
  loader.replaces(options.replace);
  restoreSilently(loader, options);
  std::vector<const DocumentRoot*> missing;
  for (const DocumentRoot& root : roots) {
    if (live.mounted(root.path)) {
      loader.load(root, options.file);
    } else {
      missing.push_back(&root);
    }
  }
  for (const DocumentRoot* root : missing) {
    Tovo::Directory scratch;
    Loader bare(scratch);
    restoreSilently(bare, options);
    session.createRoot(root->path, *bare.loadBareRoot(*root, options.file));
    session.mirror(root->path, Access::write);
    loader.load(*root, options.file);
  }
  loader.resolveReferences();
  progress.stage("sending");
  session.sync();
  progress.end();
  if (options.json) {
    const Json done{{"loaded", roots.size()}};
    writeOut(lineOf(done));
  }
}

}  // namespace stptool
