// Loads the library given as argument: nothing is registered before, and afterwards each record is
// exported under its own name. A program of its own: whoever links the library has it loaded before
// main.
#include <dlfcn.h>

#include <cstdio>
#include <string>

#include "Tovo/Module.h"

int main(int argc, char** argv) {
  const auto fail = [](const std::string& what) {
    std::fprintf(stderr, "model_load: %s\n", what.c_str());
    return 1;
  };
  if (argc != 2) return fail("give the library's path");
  if (!Tovo::tovoModules().empty()) return fail("something is registered before the load");
  void* library = dlopen(argv[1], RTLD_NOW);
  if (!library) return fail(dlerror());
  const auto modules = Tovo::tovoModules();
  if (modules.size() != 15) return fail(std::to_string(modules.size()) + " modules are registered");
  for (size_t i = 0; i < modules.size(); ++i) {
    const std::string name = modules[i]->name;
    if (dlsym(library, modules[i]->name) != modules[i]) return fail(name + " is not exported");
    // Ours come behind those of the libraries that they import.
    if (name.starts_with("_Stp") != (i >= 5)) return fail(name + " is registered out of order");
  }
  return 0;
}
