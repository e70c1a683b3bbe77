// Runs the benchmarks and prints each case beside what it is compared with.
//
//   stp_bench [--document=FILE] [--benchmark_...]
//
// With a file the table is also written there as Markdown.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "Results.h"

namespace {

using benchmark::BenchmarkReporter;

/// Nanoseconds of one operation.
double nanoseconds(const BenchmarkReporter::Run& run) {
  const auto items = run.counters.find("items_per_second");
  if (items != run.counters.end()) return 1e9 / items->second.value;
  const bool real = !run.run_name.time_type.empty();
  const double time = real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
  return time * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
}

/// Gathers the runs. A counter "bytes" stands for the time; other counters are details.
class Gatherer : public BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    char text[128];
    std::snprintf(text, sizeof text, "%d processors, %.0f MHz%s", context.cpu_info.num_cpus,
                  context.cpu_info.cycles_per_second / 1e6,
                  context.cpu_info.scaling == benchmark::CPUInfo::ENABLED
                      ? ", whose speed changes: trust ratios only"
                      : "");
    machine = text;
    std::printf("%s\n", text);
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string& name = run.run_name.function_name;
      const size_t slash = name.rfind('/');
      Bench::Case& here = results.cases[name.substr(0, slash)];
      here.order = std::min(here.order, run.family_index);
      if (run.error_occurred) {
        results.errors.insert(name + ": " + run.error_message);
        continue;
      }
      const std::string role = slash == std::string::npos ? "stp" : name.substr(slash + 1);
      const auto bytes = run.counters.find("bytes");
      here.bytes = here.bytes || bytes != run.counters.end();
      here.values[role].push_back(here.bytes ? bytes->second.value : nanoseconds(run));
      for (const auto& [counter, value] : run.counters) {
        if (counter != "items_per_second" && counter != "bytes") here.details[counter] = value;
      }
    }
    std::fputc('.', stderr);
    std::fflush(stderr);
  }

  void Finalize() override { std::fputc('\n', stderr); }

  Bench::Results results;
  std::string machine;
};

}  // namespace

int main(int argc, char** argv) {
  // What takes turns meets the same disturbances. Arguments of the caller come later and win.
  static char interleaving[] = "--benchmark_enable_random_interleaving=true";
  static char repetitions[] = "--benchmark_repetitions=15";
  static char time[] = "--benchmark_min_time=0.05";
  std::vector<char*> arguments{argv[0], interleaving, repetitions, time};
  std::string document;
  constexpr std::string_view documentIs = "--document=";
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]).starts_with(documentIs)) {
      document = argv[i] + documentIs.size();
    } else {
      arguments.push_back(argv[i]);
    }
  }
  arguments.push_back(nullptr);
  int count = static_cast<int>(arguments.size()) - 1;
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
  Gatherer gatherer;
  const size_t ran = benchmark::RunSpecifiedBenchmarks(&gatherer);
  benchmark::Shutdown();
  if (ran == 0) return 1;
  printTable(gatherer.results);
  try {
    if (!document.empty()) writeDocument(gatherer.results, document, gatherer.machine);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "stp_bench: %s\n", error.what());
    return 1;
  }
  return gatherer.results.errors.empty() ? 0 : 1;
}
