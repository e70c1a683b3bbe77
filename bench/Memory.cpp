// What 100,000 ports in their instances' collections take, with no observer and no flow.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "Helper.h"
#include "Stp/StpStatus.h"

namespace {

/// Bytes; see MemoryProbe.cpp.
struct Taken {
  double objects = 0;
  double slots = 0;
  double pages = 0;
  double heap = 0;
  double resident = 0;

  explicit Taken(const char* what) {
    const std::string line = Bench::outputOf("stp_bench_memory", what);
    if (std::sscanf(line.c_str(), "%lf %lf %lf %lf %lf", &objects, &slots, &pages, &heap,
                    &resident) != 5) {
      throw std::runtime_error("stp_bench_memory said: " + line);
    }
  }
};

constexpr double count = 100 * 1000;

void report(benchmark::State& state, double bytes) { state.counters["bytes"] = bytes / count; }

void ports(benchmark::State& state) {
  for (auto _ : state) {
    const Taken ports("collections");
    const Taken instances("instances");
    const Taken names("names");
    const auto each = [&](const char* what, double bytes) { state.counters[what] = bytes / count; };
    each("1 object", ports.objects);
    state.counters["1 object, of it the node's header"] = sizeof(Pelmo::Node);
    state.counters["1 object, of it the publisher"] = sizeof(Pelmo::Publisher);
    state.counters["1 object, of it the name"] = sizeof(Pelmo::String);
    each("2 slot, rounded up", ports.slots - ports.objects);
    each("3 pages, heads and free slots", ports.pages - ports.slots);
    each("4 collection, order and index", ports.heap);
    each("5 names, shared by the instances", names.pages + names.heap);
    each("resident", ports.resident);
    state.counters["an empty instance"] = (instances.pages + instances.heap) / 1000;
    report(state, ports.pages + ports.heap + names.pages + names.heap);
  }
}

void taken(benchmark::State& state, const char* what) {
  for (auto _ : state) {
    const Taken taken(what);
    report(state, taken.pages + taken.heap);
  }
}

const bool registered = [] {
  const auto add = [](const char* name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)->Iterations(1);
  };
  add("Memory/MstiPortStatus/stp", ports);
  add("Memory/MstiPortStatus/peer:unordered_map", taken, "peer");
  add("Memory/element_of_320_bytes/stp", taken, "blocks");
  add("Memory/element_of_320_bytes/peer:unordered_map", taken, "blocks-std");
#ifdef STP_BENCH_ABSL
  add("Memory/MstiPortStatus/peer:absl_flat_hash_map", taken, "peer-absl");
  add("Memory/element_of_320_bytes/peer:absl_flat_hash_map", taken, "blocks-absl");
#endif
  return true;
}();

}  // namespace
