// The results on the terminal.
#include <cstdio>

#include "Results.h"

namespace Bench {

namespace {

std::string ratio(double value, double other) {
  if (std::isnan(value) || std::isnan(other)) return "-";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value / other);
  return text;
}

void printRow(const std::string& name, const Case& row) {
  const double own = row.own();
  const Case::Best peer = row.best("peer");
  const size_t colon = peer.role.find(':');
  std::printf("%-28s %10.2f %6.0f%% %8s %8s %8s  %s\n", name.c_str(), own, row.spread(),
              ratio(own, row.best("limit").value).c_str(), ratio(own, peer.value).c_str(),
              ratio(own, row.best("floor").value).c_str(),
              colon == std::string::npos ? "" : peer.role.c_str() + colon + 1);
}

void printHead(const char* unit) {
  std::printf("\n%-28s %10s %7s %8s %8s %8s  best peer\n", "case", unit, "spread", "x limit",
              "x peer", "x floor");
}

}  // namespace

void printTable(const Results& results) {
  bool head = false;
  for (const bool bytes : {false, true}) {
    head = false;
    for (const auto& [name, row] : results.inOrder()) {
      if (row->bytes != bytes || row->values.empty()) continue;
      if (!head) printHead(bytes ? "stp bytes" : "stp ns");
      head = true;
      printRow(name, *row);
    }
  }
  for (const auto& [name, row] : results.inOrder()) {
    if (row->details.empty()) continue;
    std::printf("\n%s\n", name.c_str());
    for (const auto& [what, value] : row->details) {
      std::printf("  %-48s %10.1f\n", what.c_str(), value);
    }
  }
  head = false;
  for (const Aim& aim : aims()) {
    const double measured = aim.measured(results);
    if (std::isnan(measured)) continue;
    if (!head) std::printf("\n%-28s %10s %10s\n", "aim", "measured", "at most");
    head = true;
    std::printf("%-28s %10.3g %10.3g  %-4s %s\n", aim.name, measured, aim.atMost,
                measured <= aim.atMost ? "met" : "NOT", aim.words);
  }
  if (!results.errors.empty()) std::printf("\nfailed:\n");
  for (const std::string& error : results.errors) std::printf("  %s\n", error.c_str());
}

}  // namespace Bench
