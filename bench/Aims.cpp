// What each case is meant to reach. A change that misses one changes the library, not this list.
#include "Results.h"

namespace Bench {

double Aim::measured(const Results& results) const {
  const auto row = results.cases.find(name);
  if (row == results.cases.end()) return NAN;
  const double own = row->second.own();
  const std::string_view other = against;
  if (other.empty()) return own;
  const auto otherCase = results.cases.find(against);
  return own / (otherCase != results.cases.end() ? otherCase->second.own()
                                                 : row->second.best(other).value);
}

const std::vector<Aim>& aims() {
  static const std::vector<Aim> list = {
      {"PriorityVector/encode", "limit", 2, "at most 2x limit"},
      {"PriorityVector/decode", "limit", 1.8, "at most 1.8x limit"},
      {"PortStatus/encode", "limit", 2, "at most 2x limit"},
      {"PortStatus/decode", "limit", 2, "at most 2x limit"},
      {"SetUnchanged/0_observers", "", 1.1, "at most 1.1 ns"},
      {"SetUnchanged/1_observers", "", 1.1, "at most 1.1 ns"},
      {"SetUnchanged/10_observers", "", 1.1, "at most 1.1 ns"},
      {"SetChanged/0_observers", "limit", 1.5, "at most 1.5x limit"},
      {"SetChanged/1_observers", "limit", 1.5, "at most 1.5x limit"},
      {"SetChanged/10_observers", "limit", 1.5, "at most 1.5x limit"},
      {"Create/100000", "peer:absl_flat_hash_map", 1, "not above absl"},
      {"Find/100000", "peer:absl_flat_hash_map", 1, "not above absl"},
      {"FindText/100000", "peer:absl_flat_hash_map", 1, "not above absl"},
      {"Iterate/100000", "peer:absl_flat_hash_map", 1, "not above absl"},
      {"Erase/100000", "peer:absl_flat_hash_map", 1, "not above absl"},
      {"Memory/element_of_320_bytes", "", 380, "at most 380 bytes, key and name included"},
      {"Memory/MstiPortStatus", "", 320, "at most 320 bytes, everything"},
      {"Mirror/batched", "peer:protobuf", 1 / 1.1, "at least 1.1x as many as protobuf"},
      {"Mirror/batched", "peer:redis", 1 / 30.0, "at least 30x as many as Redis, pipelined"},
      {"Mirror/flush_each", "limit", 1 / 0.8, "at least 0.8x as many as the limit"},
      {"StalledReader/late", "StalledReader/early", 1.3, "flat: at most 1.3x the first writes"},
      {"Text/print", "peer:snprintf", 0.25, "at most 0.25x snprintf of a bare form"},
      {"Text/parse", "peer:sscanf", 0.25, "at most 0.25x sscanf of a bare form"},
      {"FullSwitch/build/100%", "FullSwitch/build/1%", 1.3, "an element: at most 1.3x of 1 %"},
      {"FullSwitch/mirror/100%", "FullSwitch/mirror/1%", 1.3, "an element: at most 1.3x of 1 %"},
      {"FullSwitch/mirror/100%", "", 1000, "above 1 M elements a second"},
      {"FullSwitch/change/100%", "FullSwitch/change/1%", 1.3, "what it costs in 1 %"},
      {"FullSwitch/tear_down/100%", "FullSwitch/tear_down/1%", 1.3,
       "an element: at most 1.3x of 1 %"},
      {"Size/libStp.so", "", 1e6, "stripped under 1 MB"},
      {"Load", "", 1e6, "under 1 ms"},
      {"TypeByName", "", 50, "under 50 ns"},
      {"AttributeById", "", 5, "under 5 ns"},
  };
  return list;
}

}  // namespace Bench
