// The results as a page of the documentation.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <stdexcept>

#include "Results.h"

namespace Bench {

namespace {

std::string fixed(double value, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", digits, value);
  return text;
}

std::string number(double value) {
  if (std::isnan(value)) return "";
  return fixed(value, value < 10 ? 2 : value < 1000 ? 1 : 0);
}

/// A time in the unit in which it is read best.
std::string time(double nanoseconds) {
  if (nanoseconds >= 1e6) return number(nanoseconds / 1e6) + " ms";
  if (nanoseconds >= 1e4) return number(nanoseconds / 1e3) + " us";
  return number(nanoseconds) + " ns";
}

std::string quotient(double value, double other) {
  return std::isnan(value / other) ? "" : fixed(value / other, 2);
}

/// The value of a line "<label> : value" or `label="value"`, the first there is.
std::string lineOf(const char* file, std::string_view label) {
  std::ifstream in(file);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.starts_with(label)) continue;
    const size_t begin = line.find_first_not_of(" \t:=\"", label.size());
    if (begin == std::string::npos) continue;
    return line.substr(begin, line.find_last_not_of(" \"") + 1 - begin);
  }
  return "unknown";
}

std::string today() {
  const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
  return text;
}

void writeMachine(std::ostream& out, const std::string& machine) {
  out << "## Where\n\n| | |\n|---|---|\n"
      << "| measured on | " << today() << " |\n"
      << "| machine | " << lineOf("/proc/cpuinfo", "model name") << ", " << machine << " |\n"
      << "| system | " << lineOf("/etc/os-release", "PRETTY_NAME") << " |\n"
      << "| compiler | " STP_BENCH_COMPILER " |\n"
      << "| flags | `" STP_BENCH_FLAGS "` |\n";
  for (const auto& [name, version] : peerVersions()) {
    out << "| " << name << " | " << version << " |\n";
  }
}

void writeAims(std::ostream& out, const Results& results) {
  out << "\n## Aims\n\n"
         "What was measured is the ratio of the two that the aim names, or the value itself.\n\n"
         "| case | aim | measured | |\n|---|---|---|---|\n";
  for (const Aim& aim : aims()) {
    const double measured = aim.measured(results);
    const auto row = results.cases.find(aim.name);
    std::string text = "not measured";
    if (!std::isnan(measured)) {
      const bool ratio = aim.against[0] != '\0';
      const bool bytes = row->second.bytes;
      text = ratio   ? fixed(measured, measured < 0.1 ? 4 : 2) + "x"
             : bytes ? number(measured) + " bytes"
                     : time(measured);
    }
    out << "| " << aim.name << " | " << aim.words << " | " << text << " | "
        << (std::isnan(measured)     ? ""
            : measured <= aim.atMost ? "met"
                                     : "**not met**")
        << " |\n";
  }
}

void writeRow(std::ostream& out, const std::string& name, const Case& row) {
  const double own = row.own();
  const Case::Best peer = row.best("peer");
  out << "| " << name << " | " << (row.bytes ? number(own) + " bytes" : time(own)) << " | "
      << fixed(row.spread(), 0) << " %"
      << " | " << quotient(own, row.best("limit").value) << " | " << quotient(own, peer.value)
      << " | " << quotient(own, row.best("floor").value) << " | ";
  bool first = true;
  for (const auto& [role, values] : row.values) {
    if (role == "stp") continue;
    const double value = row.best(role).value;
    const size_t colon = role.find(':');
    out << (first ? "" : ", ") << (colon == std::string::npos ? role : role.substr(colon + 1))
        << " " << (row.bytes ? number(value) : time(value));
    first = false;
  }
  out << " |\n";
}

}  // namespace

void writeDocument(const Results& results, const std::string& path, const std::string& machine) {
  std::ofstream out(path);
  out << "# Performance\n\n"
         "Written by `./dev bench`; every figure comes from that run. What the cases do, and how "
         "to read the\ncolumns, is in [bench/README.md](../bench/README.md). All that is compared "
         "ran in one process and took\nturns: read the ratios, not the times.\n\n";
  writeMachine(out, machine);
  writeAims(out, results);
  out << "\n## Cases\n\n"
         "One operation, the median of the repetitions; `spread` is slowest minus fastest of "
         "them.\n\n"
         "| case | Stp | spread | x limit | x best peer | x floor | the others |\n"
         "|---|---|---|---|---|---|---|\n";
  for (const auto& [name, row] : results.inOrder()) {
    if (!row->values.empty()) writeRow(out, name, *row);
  }
  for (const auto& [name, row] : results.inOrder()) {
    if (row->details.empty()) continue;
    out << "\n### " << name << "\n\n| part | |\n|---|---|\n";
    for (const auto& [what, value] : row->details) {
      out << "| " << what << " | " << number(value) << " |\n";
    }
  }
  if (!results.errors.empty()) out << "\n## Failed\n\n";
  for (const std::string& error : results.errors) out << "- " << error << "\n";
  out.close();
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace Bench
