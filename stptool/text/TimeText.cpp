#include "stptool/text/TimeText.h"

#include <ctime>

namespace stptool {

namespace {

std::time_t secondsOf(TimePoint time) {
  return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

std::string milliseconds(TimePoint time) {
  const auto within = time - std::chrono::floor<std::chrono::seconds>(time);
  const auto count = std::chrono::duration_cast<std::chrono::milliseconds>(within).count();
  return "." + std::to_string(1000 + count).substr(1);
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
