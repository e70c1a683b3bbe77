// Loads the library given as argument and checks which records it exports and registers, in which
// order. A program of its own: whoever links the library has it loaded before main.
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

  const char* const records[] = {
      "_StpTypes_7e58f2dcd85a6064_tovoModule",
      "_StpConfig_7c594dbda97ede94_tovoModule",
      "_StpStatus_6ad563b49f15c854_tovoModule",
      "_StpHw_32be5a5bd5db8b19_tovoModule",
      "_StpProtoStatus_96bcc32fabe92805_tovoModule",
      "_StpQuiesceConfig_f7fd46ffb3a3478f_tovoModule",
      "_StpQuiesceStatus_53e362083029e8d0_tovoModule",
      "_StpOpenConfigInterfaceConfig_9490a77b3b3244c0_tovoModule",
      "_StpOpenConfigInterfaceState_face74788678a873_tovoModule",
      "_StpOpenConfigMstp_9f9c340c6e73dbc8_tovoModule",
  };
  const char* const imported[] = {
      "_EthAddr_5ea519cab6df4342_tovoModule", "_NetU_4b711a431b8364f1_tovoModule",
      "_IntfId_638f3da9b062f5a9_tovoModule", "_Intf_9f670657c72a539c_tovoModule",
      "_VlanId_e770293df0b4c7dc_tovoModule"};

  const auto modules = Tovo::tovoModules();
  constexpr size_t before = std::size(imported);
  if (modules.size() != before + std::size(records)) {
    return fail(std::to_string(modules.size()) + " modules are registered");
  }
  for (size_t i = 0; i < std::size(records); ++i) {
    const void* record = dlsym(library, records[i]);
    if (!record) return fail(std::string(records[i]) + " is not exported");
    if (modules[before + i] != record) {
      return fail(std::string(records[i]) + " is not where it should be in the order");
    }
  }
  for (const char* name : imported) {
    const void* record = dlsym(library, name);
    bool found = false;
    for (size_t i = 0; i < before; ++i) found = found || (record && modules[i] == record);
    if (!found) return fail(std::string(name) + " is not among the first");
  }
  return 0;
}
