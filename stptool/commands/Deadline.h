// Until when a command goes on.
#pragma once

#include <chrono>
#include <optional>

namespace stptool {

using SteadyTime = std::chrono::steady_clock::time_point;

/// "--for SECONDS" from now on; none without it.
std::optional<SteadyTime> timeAfter(const std::optional<double>& seconds);

/// How long poll() may wait until then, at least 0; -1 for ever.
int millisecondsUntil(const std::optional<SteadyTime>& time);

}  // namespace stptool
