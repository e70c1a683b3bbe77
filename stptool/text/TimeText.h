// Points in time as text.
#pragma once

#include <chrono>
#include <string>

namespace stptool {

using TimePoint = std::chrono::sys_time<std::chrono::nanoseconds>;

TimePoint timeNow() noexcept;

/// "12:34:56.789", where the person is.
std::string localTime(TimePoint time);

/// "2024-05-06T12:34:56.789Z", for programs.
std::string universalTime(TimePoint time);

}  // namespace stptool
