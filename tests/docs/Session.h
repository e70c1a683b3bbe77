// A shell in an empty folder that has examples/ in it, with the programs of the build in its path.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/// The folder, and what still runs in it, goes with the object.
class Session {
 public:
  Session();
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// What each command printed, errors included, without blanks and empty lines at the ends. A
  /// command that goes into the background is waited for until it says something or has ended.
  /// Fails the test when they take more than a minute.
  std::vector<Lines> outputs(const std::vector<std::string>& commands) const;

 private:
  std::string file(const char* kind, size_t index) const;

  std::filesystem::path folder_;
};

Lines trimmed(Lines lines);
