// What a server's loop looks after beside its clients.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace service {

/// An agent's own business: a descriptor, a moment, or both. What it changes in the directory is
/// sent to the clients in the same turn of the loop.
class Work {
 public:
  using Clock = std::chrono::steady_clock;

  /// handle() is called when it is readable; -1 for none. Asked for in each turn.
  virtual int fd() const noexcept { return -1; }
  /// handle() is called when it has come, also in the turn in which clients have written.
  virtual std::optional<Clock::time_point> due() const { return std::nullopt; }
  /// Does not block. What it throws ends the loop.
  virtual void handle(Clock::time_point now) = 0;
  /// What a reader would not find in the trees, one line each: a part of the server's status.
  virtual std::vector<std::string> notes() const { return {}; }

 protected:
  ~Work() = default;
};

}  // namespace service
