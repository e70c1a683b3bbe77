// A switch of 64 ports in 4,094 instances, and smaller ones beside it: does the cost of one port
// stay what it is? See SwitchProbe.cpp.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <map>
#include <string>

#include "Helper.h"

namespace {

constexpr std::array parts = {"build", "mirror", "change", "tear_down"};

/// One run gives the times of all parts; each part's benchmark takes its own, run by run.
void fullSwitch(benchmark::State& state, const char* instances, size_t part) {
  static std::map<std::string, std::array<std::vector<double>, parts.size()>> runs;
  for (auto _ : state) {
    auto& waiting = runs[instances];
    if (waiting[part].empty()) {
      std::array<double, parts.size()> times{};
      const std::string line = Bench::outputOf("stp_bench_switch", instances);
      if (std::sscanf(line.c_str(), "%lf %lf %lf %lf", &times[0], &times[1], &times[2],
                      &times[3]) != 4) {
        state.SkipWithError("stp_bench_switch has failed");
        return;
      }
      for (size_t i = 0; i < parts.size(); ++i) waiting[i].push_back(times[i]);
    }
    state.SetIterationTime(waiting[part].back() / 1e9);
    waiting[part].pop_back();
  }
}

const bool registered = [] {
  struct Size {
    const char* name;
    const char* instances;
  };
  for (const Size& size : {Size{"1%", "41"}, Size{"10%", "409"}, Size{"100%", "4094"}}) {
    for (size_t part = 0; part < parts.size(); ++part) {
      const std::string name = std::string("FullSwitch/") + parts[part] + "/" + size.name + "/stp";
      benchmark::RegisterBenchmark(name.c_str(), fullSwitch, size.instances, part)
          ->UseManualTime()
          ->Iterations(1);
    }
  }
  return true;
}();

}  // namespace
