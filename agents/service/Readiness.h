// Telling whoever started this process that it is ready.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace service {

/// Two ways, both for a process that is started and waited for: a descriptor that gets the line
/// "ready" and is closed, and the datagrams of systemd's notification, to the socket that
/// NOTIFY_SOCKET names (a path, or behind an @ a name in the abstract namespace).
class Readiness {
 public:
  /// The descriptor is open for writing and belongs to this object; throws std::runtime_error when
  /// it is not.
  explicit Readiness(std::optional<int> fd = {});
  ~Readiness();
  Readiness(const Readiness&) = delete;
  Readiness& operator=(const Readiness&) = delete;

  /// Both return why somebody could not be told, or nothing. A manager that does not take the
  /// message is waited for at most a second.
  std::string ready();
  std::string stopping() const;

 private:
  std::optional<int> fd_;
};

}  // namespace service
