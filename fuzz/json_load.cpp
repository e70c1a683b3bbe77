// Any text as a file of trees: it is refused in words that begin with the file's name, or becomes
// trees whose dump gives the same trees, and that stay the same when it is loaded once more; as an
// edit and as a restore.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "Tovo/Directory.h"
#include "stptool/json/Dump.h"
#include "stptool/json/Load.h"
#include "stptool/json/ParseFile.h"

namespace {

using stptool::Json;

std::string dump(const Tovo::Directory& directory) {
  std::string text;
  stptool::dumpDirectory(directory, stptool::allLevels,
                         [&](std::string_view part) { text += part; });
  return text;
}

void load(Tovo::Directory& directory, const Json& document, bool replace, bool restore) {
  stptool::Loader loader(directory);
  loader.replaces(replace);
  if (restore) loader.restores([](const std::string&) {});
  loader.load(document, "input");
  loader.resolveReferences();
}

void check(const std::string& text, bool restore) {
  Tovo::Directory directory;
  Json document;
  try {
    document = stptool::parseJson(text, "input");
    load(directory, document, false, restore);
  } catch (const stptool::Failure& failure) {
    if (!std::string_view(failure.what()).starts_with("input:")) std::abort();
    dump(directory);
    return;
  }
  const std::string dumped = dump(directory);
  load(directory, document, true, restore);
  if (dump(directory) != dumped) std::abort();

  Tovo::Directory copy;
  load(copy, stptool::parseJson(dumped, "dump"), false, restore);
  if (dump(copy) != dumped) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  constexpr size_t longest = 64 * 1024;
  if (size > longest) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  for (const bool restore : {false, true}) check(text, restore);
  if (Tovo::AllocTrackTypeInfo::totalLiveObjects() != 0) std::abort();
  return 0;
}
