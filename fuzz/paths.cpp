// Lines of commands on one tree, as the tool's user types them: "get PATH", "set PATH=VALUE",
// "new PATH=PARAMETER=...", "del PATH", "root PATH". What is refused has changed nothing; what a
// path leads to is found again by the path that is printed for it.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpStatus.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "Tovo/Inspect.h"
#include "Tovo/Path.h"
#include "fuzz/Demand.h"
#include "fuzz/TreeState.h"

namespace {

using fuzz::demand;
using Tovo::Directory;
using Tovo::Entity;
using Tovo::PathTarget;

void plant(Directory& directory) {
  const auto hw = Stp::hwFactory("hw");
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Ethernet3/1");
  const auto status = Stp::statusFactory("status");
  status->stpiStatusIs("Mstp")->mstiStatusIs("Mst1", Stp::InstanceId(1));
  directory.mount("/stp/hw", hw);
  directory.mount("/stp/status", status);
  directory.mount("/stp/config", Stp::configFactory("config"));
  directory.mount("/stp/quiesce", Stp::quiesceConfigFactory("quiesce"));
}

std::string pathOf(const PathTarget& target) {
  if (!target.attribute) return Tovo::pathOf(*target.entity);
  std::string path = Tovo::pathOf(*target.entity, target.attribute.name());
  if (target.hasKey) Tovo::appendKey(path, target.keyText);
  return path;
}

void demandFoundAgain(const Directory& directory, const PathTarget& target) {
  const PathTarget again = Tovo::resolvePath(directory, pathOf(target));
  demand(again.entity == target.entity && again.hasKey == target.hasKey &&
         again.keyText == target.keyText && bool(again.attribute) == bool(target.attribute));
  if (target.attribute) demand(again.attribute.id() == target.attribute.id());
}

void get(const Directory& directory, const std::string& path) {
  const PathTarget target = Tovo::resolvePath(directory, path);
  demandFoundAgain(directory, target);
  if (target.attribute && !target.attribute.isCollection()) {
    Tovo::attributeText(*target.entity, target.attribute);
  }
}

void set(const Directory& directory, const std::string& path, const std::string& value) {
  const PathTarget target = Tovo::resolvePath(directory, path);
  if (!target.attribute) return;
  Entity& entity = *target.entity;
  if (!target.hasKey && target.attribute.kind() != Tovo::AttributeKind::pointer) {
    Tovo::attributeFromText(entity, target.attribute, value);
    // What is printed reads back, and is then no change.
    const std::string text = Tovo::attributeText(entity, target.attribute);
    Tovo::attributeFromText(entity, target.attribute, text);
    demand(Tovo::attributeText(entity, target.attribute) == text);
    return;
  }
  const bool byValue =
      target.hasKey && target.attribute.kind() != Tovo::AttributeKind::refCollection;
  if (byValue) {
    Tovo::putElement(entity, target.attribute, target.keyText, value);
    return;
  }
  const PathTarget to = Tovo::resolvePath(directory, value);
  if (to.attribute) return;
  if (target.hasKey) {
    Tovo::putReference(entity, target.attribute, target.keyText, *to.entity);
  } else {
    Tovo::pointerIs(entity, target.attribute, to.entity.get());
  }
}

void make(const Directory& directory, const std::string& path,
          const std::vector<std::string>& parameters) {
  const PathTarget target = Tovo::resolveNewElement(directory, path);
  const auto element =
      Tovo::newElement(*target.entity, target.attribute, target.keyText, parameters);
  const PathTarget found = Tovo::resolvePath(directory, path);
  demand(found.entity == element && !found.attribute);
  demandFoundAgain(directory, found);
}

void erase(const Directory& directory, const std::string& path) {
  const PathTarget target = Tovo::resolveNewElement(directory, path);
  const bool was = Tovo::findElement(*target.entity, target.attribute, target.keyText) != nullptr;
  demand(Tovo::deleteElement(*target.entity, target.attribute, target.keyText) == was);
  demand(!Tovo::findElement(*target.entity, target.attribute, target.keyText));
}

void makeRoot(Directory& directory, const std::string& path) {
  const auto root = directory.newEntity(path, "Stp::Hw");
  demand(directory.mounted(path) == root.get() && Tovo::pathOf(*root) == path);
  demandFoundAgain(directory, {root, {}, {}, false});
}

void run(Directory& directory, std::string_view line) {
  std::vector<std::string> words;
  const size_t verbEnd = line.find(' ');
  if (verbEnd == std::string_view::npos) return;
  const std::string_view verb = line.substr(0, verbEnd);
  line.remove_prefix(verbEnd + 1);
  for (;;) {
    const size_t end = line.find('=');
    words.emplace_back(line.substr(0, end));
    if (end == std::string_view::npos) break;
    line.remove_prefix(end + 1);
  }
  const std::string& path = words.front();
  const std::vector<std::string> rest(words.begin() + 1, words.end());
  if (verb == "get") get(directory, path);
  if (verb == "set" && rest.size() == 1) set(directory, path, rest[0]);
  if (verb == "new") make(directory, path, rest);
  if (verb == "del") erase(directory, path);
  if (verb == "root") makeRoot(directory, path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  constexpr size_t longest = 4096;
  if (size > longest) return 0;
  {
    Directory directory;
    plant(directory);
    fuzz::State before = fuzz::stateOf(directory);
    std::string_view lines(reinterpret_cast<const char*>(data), size);
    while (!lines.empty()) {
      const size_t end = std::min(lines.find('\n'), lines.size());
      try {
        run(directory, lines.substr(0, end));
        before = fuzz::stateOf(directory);
      } catch (const std::exception& error) {
        demand(*error.what() != '\0' && fuzz::stateOf(directory) == before);
      }
      lines.remove_prefix(std::min(end + 1, lines.size()));
    }
  }
  demand(Tovo::AllocTrackTypeInfo::totalLiveObjects() == 0);
  return 0;
}
