// The turns that one adapter opens, and its calls of code that is not its own.
#pragma once

#include <exception>
#include <memory>

#include "Mirror/log/Liveness.h"
#include "Mirror/log/Turn.h"

namespace Tovo::NboAttrLog {

/// Part of an adapter, and ends with it. Whoever is called from here may destroy the adapter.
class OwnTurn {
 public:
  OwnTurn() = default;
  OwnTurn(const OwnTurn&) = delete;
  OwnTurn& operator=(const OwnTurn&) = delete;
  ~OwnTurn() {
    if (Turn::anyOpen()) Turn::current().forget(origin_);
  }

  const Turn::Origin& origin() const noexcept { return origin_; }
  /// Says whether the adapter still lives.
  Liveness& liveness() noexcept { return liveness_; }

  /// Calls apply() and publishes what it changed when it is done, all at once: see Turn. What
  /// apply() throws goes on then, or else what the first observer threw. Within another call, of
  /// whatever adapter, it is part of that. Observers may have destroyed the adapter.
  template <class Apply>
  void run(const Apply& apply) {
    if (Turn::anyOpen()) {
      const Turn::Applying applying(&origin_);
      return apply();
    }
    const std::shared_ptr<Turn> turn = turn_;
    turn->open();
    try {
      const Turn::Applying applying(&origin_);
      apply();
    } catch (...) {
      turn->close(std::current_exception());
    }
    turn->close();
  }

  /// Calls code of somebody else in the middle of what is applied. Throws AdapterGone when that has
  /// destroyed the adapter.
  template <class Foreign>
  void callOut(const Foreign& foreign) {
    const Liveness::Watch watch(liveness_);
    {
      const Turn::Applying nobody(nullptr);
      foreign();
    }
    if (watch.gone()) throw AdapterGone();
  }

 private:
  Turn::Origin origin_;
  const std::shared_ptr<Turn> turn_ = std::make_shared<Turn>();
  Liveness liveness_;
};

}  // namespace Tovo::NboAttrLog
