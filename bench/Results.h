// What was measured, case by case, and what it is compared with.
//
// A benchmark is called Case/role or Case/role:what. The role is one of
//
//   stp     the library
//   limit   written by hand for this one purpose, without the features
//   peer    what else one would take; of several the fastest counts
//   floor   the bytes alone: memcpy, the bare socket
#pragma once

#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Bench {

/// All repetitions of one case, by role. Times are nanoseconds for one operation.
struct Case {
  int64_t order = INT64_MAX;  // as the cases were registered
  bool bytes = false;         // the values are bytes, not nanoseconds
  std::map<std::string, std::vector<double>> values;
  std::map<std::string, double> details;

  struct Best {
    std::string role;
    double value = NAN;
  };
  /// The least median of the roles that begin like this; not a number when there is none.
  Best best(std::string_view role) const;
  double own() const { return best("stp").value; }
  /// Slowest minus fastest repetition of the library, in percent of the median.
  double spread() const;
};

struct Results {
  std::map<std::string, Case> cases;
  std::set<std::string> errors;

  /// In the order in which they were registered.
  std::vector<std::pair<std::string, const Case*>> inOrder() const;
};

/// What a case is meant to reach.
struct Aim {
  const char* name;     ///< of the case
  const char* against;  ///< a role, another case, or "" for the value itself
  double atMost;        ///< the quotient of the two, or the value
  const char* words;

  /// What is to be at most `atMost`; not a number where something was not measured.
  double measured(const Results& results) const;
};

const std::vector<Aim>& aims();

void printTable(const Results& results);

/// The table with machine, versions and aims, as Markdown. Throws std::runtime_error when the file
/// cannot be written.
void writeDocument(const Results& results, const std::string& path, const std::string& machine);

/// What the library is compared with, and the version; "not measured" for what the build did not
/// find.
std::vector<std::pair<std::string, std::string>> peerVersions();

}  // namespace Bench
