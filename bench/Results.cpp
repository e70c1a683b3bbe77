#include "Results.h"

#include <algorithm>

namespace Bench {

namespace {

double median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

Case::Best Case::best(std::string_view role) const {
  Best found;
  for (const auto& [name, measured] : values) {
    if (!name.starts_with(role)) continue;
    const double value = median(measured);
    if (!(value >= found.value)) found = {name, value};
  }
  return found;
}

double Case::spread() const {
  const Best own = best("stp");
  if (std::isnan(own.value) || own.value == 0) return 0;
  const auto [least, most] = std::minmax_element(values.at(own.role).begin(),  //
                                                 values.at(own.role).end());
  return 100 * (*most - *least) / own.value;
}

std::vector<std::pair<std::string, const Case*>> Results::inOrder() const {
  std::vector<std::pair<std::string, const Case*>> rows;
  for (const auto& [name, entry] : cases) rows.emplace_back(name, &entry);
  std::stable_sort(rows.begin(), rows.end(),
                   [](const auto& a, const auto& b) { return a.second->order < b.second->order; });
  return rows;
}

}  // namespace Bench
