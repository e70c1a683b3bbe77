#include "stptool/commands/RateTable.h"

#include <algorithm>
#include <cstdio>

#include "stptool/text/NaturalOrder.h"
#include "stptool/text/Table.h"
#include "words/Phrases.h"

namespace stptool {

namespace {

std::string perSecond(uint64_t changes, double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.1f", static_cast<double>(changes) / seconds);
  return text;
}

}  // namespace

void RateTable::add(const ChangeEvent& event) {
  Count& count = counts_[wholePath(event)];
  if (count.changes++ > 0) return;
  count.path = event.path;
  count.attribute = event.attribute;
  if (!event.key.empty()) count.attribute += "[" + event.key + "]";
}

std::vector<const RateTable::Count*> RateTable::most(size_t top) const {
  std::vector<const Count*> all;
  all.reserve(counts_.size());
  for (const auto& [path, count] : counts_) all.push_back(&count);
  const auto end = all.begin() + static_cast<std::ptrdiff_t>(std::min(top, all.size()));
  std::partial_sort(all.begin(), end, all.end(), [](const Count* a, const Count* b) {
    if (a->changes != b->changes) return a->changes > b->changes;
    if (a->path != b->path) return naturalLess(a->path, b->path);
    return a->attribute < b->attribute;
  });
  all.erase(end, all.end());
  return all;
}

uint64_t RateTable::total() const noexcept {
  uint64_t sum = 0;
  for (const auto& [path, count] : counts_) sum += count.changes;
  return sum;
}

std::string RateTable::text(double seconds, size_t top) const {
  Table table({Style::number, Style::plain, Style::name});
  table.header({"per second", "path", "attribute"});
  for (const Count* count : most(top)) {
    table.row({perSecond(count->changes, seconds), count->path, count->attribute});
  }
  return perSecond(total(), seconds) + " changes per second of " +
         words::counted(counts_.size(), "thing", "things") + "\n" + table.text("  ");
}

Json RateTable::json(double seconds, size_t top) const {
  Json json{{"seconds", seconds}, {"changes", total()}, {"things", counts_.size()}};
  json["top"] = Json::array();
  for (const Count* count : most(top)) {
    Json entry{{"path", count->path}};
    if (!count->attribute.empty()) entry["attribute"] = count->attribute;
    entry["changes"] = count->changes;
    entry["perSecond"] = static_cast<double>(count->changes) / seconds;
    json["top"].push_back(std::move(entry));
  }
  return json;
}

}  // namespace stptool
