#include "stptool/commands/Deadline.h"

#include <algorithm>

namespace stptool {

std::optional<SteadyTime> timeAfter(const std::optional<double>& seconds) {
  if (!seconds) return std::nullopt;
  const std::chrono::duration<double> length(*seconds);
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(length);
}

int millisecondsUntil(const std::optional<SteadyTime>& time) {
  if (!time) return -1;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(*time - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, 1'000'000'000));
}

}  // namespace stptool
