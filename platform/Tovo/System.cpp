#include "Tovo/System.h"

#include <chrono>

namespace Tovo {

namespace {
bool stopped = false;
Seconds stoppedAt = 0;
}  // namespace

Seconds System::currentTime() noexcept {
  if (stopped) return stoppedAt;
  return std::chrono::duration<Seconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

void System::currentTimeIs(Seconds now) noexcept {
  stopped = true;
  stoppedAt = now;
}

void System::clockRuns() noexcept { stopped = false; }

}  // namespace Tovo
