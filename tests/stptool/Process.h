// Runs the tool as a person does: as a process, by what it prints and how it ends.
#pragma once

#include <sys/types.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

/// How a process ended: its exit code, or minus the signal that ended it.
struct Ended {
  int code;
  std::string out;
  std::string err;
};

/// A folder that goes away with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string file(const std::string& name) const { return path_ + "/" + name; }
  /// Writes a file; returns its path.
  std::string write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

std::string readFile(const std::string& file);
/// What blanks separate in a text.
std::vector<std::string> words(const std::string& text);

/// A running stptool. Its end is waited for, by force if need be.
class Tool {
 public:
  /// A user and group to become, and the tool as that user gets at it; only root may become
  /// another.
  struct User {
    uid_t uid;
    gid_t gid;
    std::string program;
  };
  explicit Tool(const std::vector<std::string>& arguments, const std::optional<User>& user = {});
  /// What a shell starts: it ends in `exec "$STPTOOL" ...`.
  struct Script {
    std::string text;
  };
  explicit Tool(const Script& script);
  /// The tool with these arguments, printing into a file, device or pipe.
  static Script into(const std::string& out, const std::vector<std::string>& arguments);
  ~Tool();
  Tool(const Tool&) = delete;
  Tool& operator=(const Tool&) = delete;

  /// Waits until standard output, or standard error, holds the text; false after thirty seconds or
  /// when the process ends before.
  bool says(const std::string& text);
  bool complains(const std::string& text);
  void signal(int number) const;
  pid_t pid() const noexcept { return pid_; }
  /// Waits for the end.
  Ended end();
  /// SIGTERM, then end().
  Ended stop();
  std::string out() const;
  std::string err() const;

 private:
  void start(const std::string& program, const std::vector<std::string>& arguments,
             const std::optional<User>& user);
  bool waitFor(const std::string& file, const std::string& text);

  TemporaryFolder folder_;
  pid_t pid_ = -1;
  int status_ = 0;
};

Ended runTool(const std::vector<std::string>& arguments);
