// How a command ends when it does not succeed.
#pragma once

#include <stdexcept>

namespace stptool {

/// What scripts can rely on.
enum class ExitCode : int {
  done = 0,
  failed = 1,         ///< refused, or something went wrong
  usage = 2,          ///< wrong options or arguments
  cannotConnect = 3,  ///< nobody answers at the socket, or not as a peer of this tool
};

/// Becomes one line on standard error and an exit code.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& message, ExitCode code = ExitCode::failed)
      : std::runtime_error(message), code_(code) {}
  ExitCode code() const noexcept { return code_; }

 private:
  ExitCode code_;
};

}  // namespace stptool
