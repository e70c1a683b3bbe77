#include "stptool/model/ModelLibrary.h"

#include <dlfcn.h>

#include <filesystem>

#include "Tovo/Module.h"
#include "stptool/output/Failure.h"

namespace stptool {

namespace {

// By the name that programs load it by: the one without a version comes with the headers only.
constexpr const char* standardLibrary = STPTOOL_STANDARD_LIBRARY;

// The run path of the tool says the same, but is not followed where a sanitizer stands between the
// tool and the loader.
std::string besideTool(const std::string& file) {
  std::error_code failed;
  const std::filesystem::path tool = std::filesystem::read_symlink("/proc/self/exe", failed);
  if (failed || file.find('/') != std::string::npos) return file;
  const std::filesystem::path found = tool.parent_path() / STPTOOL_LIBRARY_DIR / file;
  return std::filesystem::exists(found, failed) ? found.string() : file;
}

void loadModelLibrary(const std::string& file) {
  const size_t modulesBefore = Tovo::tovoModules().size();
  // Never closed: module records are part of the process from here on.
  if (!dlopen(besideTool(file).c_str(), RTLD_NOW | RTLD_GLOBAL)) {
    const char* reason = dlerror();
    throw Failure("cannot load the model library '" + file + "': " + (reason ? reason : "unknown"));
  }
  // A library that is named twice brings nothing the second time, and does no harm.
  if (Tovo::tovoModules().size() == modulesBefore && modulesBefore == 0) {
    throw Failure("'" + file + "' is no model library: it registers no types");
  }
}

}  // namespace

void loadModelLibraries(const std::vector<std::string>& files) {
  if (files.empty()) loadModelLibrary(standardLibrary);
  for (const std::string& file : files) loadModelLibrary(file);
}

}  // namespace stptool
