// How a command ends when it does not succeed.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

namespace stptool {

/// What scripts can rely on.
enum class ExitCode : int {
  done = 0,
  failed = 1,         ///< refused, or something went wrong
  usage = 2,          ///< wrong options or arguments
  cannotConnect = 3,  ///< nobody answers at the socket, or not as a peer of this tool
  damaged = 4,        ///< a recording ends before its end, was cut or never ended, or is none
  cannotWrite = 5,    ///< standard output or a file of this machine, as on a full disk
};

/// What a message is about, one by one; empty where it does not apply.
struct FailureFields {
  std::string path{};
  std::string attribute{};
  std::string value{};
  std::string allowed{};
  std::string unit{};
  std::string initial{};     ///< the default
  std::string suggestion{};  ///< what was perhaps meant
  std::string file{};
  std::optional<uint64_t> byte{};
};

/// Becomes one line on standard error, text or JSON, and an exit code.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& message, ExitCode code = ExitCode::failed)
      : std::runtime_error(message), code_(code) {}
  Failure(const std::string& message, FailureFields fields, ExitCode code = ExitCode::failed)
      : std::runtime_error(message), fields_(std::move(fields)), code_(code) {}

  ExitCode code() const noexcept { return code_; }
  const FailureFields& fields() const noexcept { return fields_; }

 private:
  FailureFields fields_;
  ExitCode code_;
};

/// A stop signal came while something was waited for.
class Interrupted : public Failure {
 public:
  explicit Interrupted(const std::string& what) : Failure(what + ": stopped by a signal") {}
};

}  // namespace stptool
