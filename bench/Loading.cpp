// The library until its modules are registered, and what is looked up in them.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Helper.h"
#include "Stp/StpStatus.h"
#include "Tovo/Module.h"

namespace {

// ----------------------------------------------------------------------------------------- dlopen

void load(benchmark::State& state, const char* library, size_t modulesWanted) {
  for (auto _ : state) {
    long long nanoseconds = 0;
    size_t modules = 0;
    const std::string line = Bench::outputOf("stp_bench_load", library);
    const bool read = std::sscanf(line.c_str(), "%lld %zu", &nanoseconds, &modules) == 2;
    if (!read || modules < modulesWanted) {
      state.SkipWithError("the library was not loaded with its modules");
      return;
    }
    state.SetIterationTime(static_cast<double>(nanoseconds) / 1e9);
  }
}

/// As it is installed: without the symbols that only a debugger needs.
void strippedSize(benchmark::State& state) {
  for (auto _ : state) {
    const std::string library = "'" + Bench::ownFolder() + "../lib/libStp.so'";
    const std::string line = Bench::firstLineOf("f=$(mktemp) && strip --strip-unneeded -o $f " +
                                                library + " && stat -c %s $f; rm -f $f");
    const double bytes = std::strtod(line.c_str(), nullptr);
    if (bytes == 0) state.SkipWithError("strip has failed");
    state.counters["bytes"] = bytes;
  }
}

// ---------------------------------------------------------------------------------------- look-ups

std::vector<const char*> typeNames() {
  std::vector<const char*> names;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t i = 0; i < module->typeCount; ++i) names.push_back(module->types[i].name);
  }
  return names;
}

/// Asks for one after the other, each time with a fresh copy of what is asked for.
template <class Key, class Find>
void lookUp(benchmark::State& state, const std::vector<Key>& keys, const Find& find) {
  size_t at = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(find(keys[at]));
    if (++at == keys.size()) at = 0;
  }
}

std::vector<std::string_view> namesAsked() {
  std::vector<std::string_view> names;
  for (const char* name : typeNames()) names.emplace_back(name);
  return names;
}

void typeByName(benchmark::State& state) {
  lookUp(state, namesAsked(), [](std::string_view name) { return Tovo::typeByName(name); });
}

void typeByNameInMap(benchmark::State& state) {
  std::map<std::string, Tovo::TovoTypeBase, std::less<>> types;
  for (const char* name : typeNames()) types.emplace(name, Tovo::typeByName(name));
  lookUp(state, namesAsked(), [&](std::string_view name) { return types.find(name)->second; });
}

void typeByNameInHash(benchmark::State& state) {
  std::unordered_map<std::string, Tovo::TovoTypeBase> types;
  for (const char* name : typeNames()) types.emplace(name, Tovo::typeByName(name));
  lookUp(state, namesAsked(),
         [&](std::string_view name) { return types.find(std::string(name))->second; });
}

/// By hand: the length and the last characters tell all names apart in a table that fits.
void typeByNameInTable(benchmark::State& state) {
  struct Entry {
    std::string_view name;
    Tovo::TovoTypeBase type;
  };
  std::vector<Entry> table(1024);
  const auto slot = [](std::string_view name) {
    uint64_t mixed = name.size();
    for (const char c : name) mixed = mixed * 31 + static_cast<uint8_t>(c);
    return mixed * 0x9e3779b97f4a7c15u >> 54;
  };
  for (const char* name : typeNames()) {
    size_t at = slot(name);
    while (!table[at].name.empty()) at = (at + 1) % table.size();
    table[at] = {name, Tovo::typeByName(name)};
  }
  lookUp(state, namesAsked(), [&](std::string_view name) {
    size_t at = slot(name);
    while (table[at].name != name) at = (at + 1) % table.size();
    return table[at].type;
  });
}

std::vector<Tovo::AttributeId> idsAsked() {
  std::vector<Tovo::AttributeId> ids;
  for (const auto& own : Tovo::ownAttributes(Stp::MstiPortStatus::tovoStaticType())) {
    ids.push_back(own.id);
  }
  return ids;
}

void attributeById(benchmark::State& state) {
  Tovo::TovoTypeBase type = Stp::MstiPortStatus::tovoStaticType();
  benchmark::DoNotOptimize(type);
  lookUp(state, idsAsked(), [&](Tovo::AttributeId id) { return Tovo::attributeById(type, id); });
}

/// By hand: an array of all ids.
void attributeByIdInArray(benchmark::State& state) {
  std::vector<Tovo::Attribute> attributes(1024);
  for (const Tovo::AttributeId id : idsAsked()) {
    attributes[id] = Tovo::attributeById(Stp::MstiPortStatus::tovoStaticType(), id);
  }
  lookUp(state, idsAsked(), [&](Tovo::AttributeId id) {
    return id < attributes.size() ? attributes[id] : Tovo::Attribute();
  });
}

void attributeByIdInHash(benchmark::State& state) {
  std::unordered_map<Tovo::AttributeId, Tovo::Attribute> attributes;
  for (const Tovo::AttributeId id : idsAsked()) {
    attributes[id] = Tovo::attributeById(Stp::MstiPortStatus::tovoStaticType(), id);
  }
  lookUp(state, idsAsked(), [&](Tovo::AttributeId id) { return attributes.find(id)->second; });
}

const bool registered = [] {
  const auto add = [](const char* name, const char* library, size_t modules) {
    benchmark::RegisterBenchmark(name, load, library, modules)->UseManualTime()->Iterations(10);
  };
  add("Load/stp", "libStp.so", 10);
  // The runtime without a model, which is the loader's share.
  add("Load/floor:runtime", "libTovoFrame.so", 0);
#ifdef STP_BENCH_PROTOBUF
  add("Load/peer:protobuf", "libprotobuf.so", 0);
#endif
  return true;
}();

BENCHMARK(strippedSize)->Name("Size/libStp.so/stp")->Iterations(1);
BENCHMARK(typeByName)->Name("TypeByName/stp");
BENCHMARK(typeByNameInTable)->Name("TypeByName/limit");
BENCHMARK(typeByNameInMap)->Name("TypeByName/peer:map");
BENCHMARK(typeByNameInHash)->Name("TypeByName/peer:unordered_map");
BENCHMARK(attributeById)->Name("AttributeById/stp");
BENCHMARK(attributeByIdInArray)->Name("AttributeById/limit");
BENCHMARK(attributeByIdInHash)->Name("AttributeById/peer:unordered_map");

}  // namespace
