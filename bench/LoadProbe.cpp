// stp_bench_load LIBRARY: prints how many nanoseconds of a processor dlopen takes, and how many
// modules are then registered. Linked to nothing of the project, so that all of it is loaded.
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <span>

#include "Helper.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: stp_bench_load LIBRARY\n");
    return 2;
  }
  const double start = Bench::processorSeconds();
  void* library = ::dlopen(argv[1], RTLD_NOW);
  const double end = Bench::processorSeconds();
  if (!library) {
    std::fprintf(stderr, "stp_bench_load: %s\n", ::dlerror());
    return 1;
  }
  size_t modules = 0;
  // Tovo::tovoModules(), by the name that it has in the library.
  if (void* symbol = ::dlsym(library, "_ZN4Tovo11tovoModulesEv")) {
    std::span<const void* const> (*registered)() = nullptr;
    std::memcpy(&registered, &symbol, sizeof registered);
    modules = registered().size();
  }
  std::printf("%.0f %zu\n", 1e9 * (end - start), modules);
  return 0;
}
