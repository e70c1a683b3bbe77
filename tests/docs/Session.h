// A shell in an empty folder that has examples/ in it, with the programs of the build in its path.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

struct Command {
  std::string text;
  bool says = true;  ///< one in the background is waited for until it has said something
};

/// The folder, and what still runs in it, goes with the object.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// What each command printed, errors included, without blanks and empty lines at the ends. Fails
  /// the test when they take more than 100 seconds.
  std::vector<Lines> outputs(const std::vector<Command>& commands) const;

 private:
  std::string file(const char* kind, size_t index) const;

  std::filesystem::path folder_;
};

Lines trimmed(Lines lines);
