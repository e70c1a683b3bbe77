#include "stptool/text/TimeText.h"

#include <cstdint>
#include <ctime>

namespace stptool {

namespace {

std::time_t secondsOf(TimePoint time) {
  return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

std::string milliseconds(TimePoint time) {
  // By numbers: of the earliest times of all, the second in which they lie begins too early.
  constexpr int64_t second = 1'000'000'000;
  const int64_t within = (time.time_since_epoch().count() % second + second) % second;
  return "." + std::to_string(1000 + within / 1'000'000).substr(1);
}

}  // namespace

TimePoint timeNow() noexcept {
  return std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
}

std::string localTime(TimePoint time) {
  const std::time_t seconds = secondsOf(time);
  std::tm parts{};
  localtime_r(&seconds, &parts);
  char text[16];
  return std::string(text, std::strftime(text, sizeof text, "%H:%M:%S", &parts)) +
         milliseconds(time);
}

std::string universalTime(TimePoint time) {
  const std::time_t seconds = secondsOf(time);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts)) +
         milliseconds(time) + "Z";
}

}  // namespace stptool
