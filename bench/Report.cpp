// Runs the benchmarks and prints each case beside what it is compared with.
//
// A benchmark is called Case/role or Case/role:what. The role is one of
//
//   stp     the library
//   limit   written by hand for this one purpose, without the features
//   peer    what else one would take; of several the fastest counts
//   floor   the bytes alone: memcpy, the bare socket
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace {

using benchmark::BenchmarkReporter;

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Nanoseconds of one operation.
double nanoseconds(const BenchmarkReporter::Run& run) {
  const auto items = run.counters.find("items_per_second");
  if (items != run.counters.end()) return 1e9 / items->second.value;
  const bool real = !run.run_name.time_type.empty();
  const double time = real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
  return time * 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
}

class RatioReporter : public BenchmarkReporter {
 public:
  bool ReportContext(const Context& context) override {
    std::printf("%d processors, %.0f MHz%s\n", context.cpu_info.num_cpus,
                context.cpu_info.cycles_per_second / 1e6,
                context.cpu_info.scaling == benchmark::CPUInfo::ENABLED
                    ? ", whose speed changes: trust ratios only"
                    : "");
    return true;
  }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      const std::string& name = run.run_name.function_name;
      const size_t slash = name.rfind('/');
      Case& here = cases_[name.substr(0, slash)];
      here.order = std::min(here.order, run.family_index);
      if (run.error_occurred) {
        errors_ += "  " + name + ": " + run.error_message + "\n";
        continue;
      }
      const std::string role = slash == std::string::npos ? "stp" : name.substr(slash + 1);
      here.times[role].push_back(nanoseconds(run));
      for (const auto& [counter, value] : run.counters) {
        if (counter != "items_per_second") here.counters[counter] = value.value;
      }
    }
    std::fputc('.', stderr);
    std::fflush(stderr);
  }

  void Finalize() override {
    std::fputc('\n', stderr);
    std::vector<std::pair<std::string, const Case*>> rows;
    for (const auto& [name, entry] : cases_) rows.emplace_back(name, &entry);
    std::sort(rows.begin(), rows.end(),
              [](const auto& a, const auto& b) { return a.second->order < b.second->order; });
    std::printf("%-28s %10s %7s %8s %8s %8s  best peer\n", "case", "stp ns", "spread", "x limit",
                "x peer", "x floor");
    for (const auto& [name, row] : rows) {
      if (row->counters.empty()) print(name, *row);
    }
    for (const auto& [name, row] : rows) {
      if (row->counters.empty()) continue;
      std::printf("\n%s\n", name.c_str());
      for (const auto& [counter, value] : row->counters) {
        std::printf("  %-48s %10.1f\n", counter.c_str(), value);
      }
    }
    if (!errors_.empty()) std::printf("\nfailed:\n%s", errors_.c_str());
  }

  bool failed() const noexcept { return !errors_.empty(); }

 private:
  struct Case {
    int64_t order = INT64_MAX;
    std::map<std::string, std::vector<double>> times;  // by role
    std::map<std::string, double> counters;
  };

  struct Best {
    std::string role;
    double time = NAN;
  };

  static Best best(const Case& row, std::string_view role) {
    Best found;
    for (const auto& [name, times] : row.times) {
      if (name.compare(0, role.size(), role) != 0) continue;
      const double time = median(times);
      if (!(time >= found.time)) found = {name, time};
    }
    return found;
  }

  static std::string ratio(double time, double other) {
    if (std::isnan(time) || std::isnan(other)) return "-";
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", time / other);
    return text;
  }

  static void print(const std::string& name, const Case& row) {
    const Best own = best(row, "stp");
    const Best peer = best(row, "peer");
    double spread = 0;
    if (!std::isnan(own.time)) {
      const auto [least, most] =
          std::minmax_element(row.times.at(own.role).begin(), row.times.at(own.role).end());
      spread = 100 * (*most - *least) / own.time;
    }
    const size_t colon = peer.role.find(':');
    std::printf("%-28s %10.2f %6.0f%% %8s %8s %8s  %s\n", name.c_str(), own.time, spread,
                ratio(own.time, best(row, "limit").time).c_str(),
                ratio(own.time, peer.time).c_str(),
                ratio(own.time, best(row, "floor").time).c_str(),
                colon == std::string::npos ? "" : peer.role.c_str() + colon + 1);
  }

  std::map<std::string, Case> cases_;
  std::string errors_;
};

}  // namespace

int main(int argc, char** argv) {
  // What takes turns meets the same disturbances. Arguments of the caller come later and win.
  static char interleaving[] = "--benchmark_enable_random_interleaving=true";
  static char repetitions[] = "--benchmark_repetitions=5";
  static char time[] = "--benchmark_min_time=0.05";
  std::vector<char*> arguments{argv[0], interleaving, repetitions, time};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  arguments.push_back(nullptr);
  int count = static_cast<int>(arguments.size()) - 1;
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;
  RatioReporter reporter;
  const size_t ran = benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return ran == 0 || reporter.failed() ? 1 : 0;
}
