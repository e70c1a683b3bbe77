// The runtime's clock.
#pragma once

#include "Tovo/Types.h"

namespace Tovo {

class System {
 public:
  /// Seconds since an arbitrary moment before the process started; never goes back by itself.
  static Seconds currentTime() noexcept;

  /// Stops the clock at a moment, until the next call or until it is let go. For tests and replay.
  static void currentTimeIs(Seconds now) noexcept;
  static void clockRuns() noexcept;
};

}  // namespace Tovo
