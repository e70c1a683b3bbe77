// Lines to a descriptor that may be slow, or stuck.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace service {

struct LogOptions {
  /// So many lines at once, and from then on so many a second; the rest is left out.
  double burst = 100;
  double perSecond = 10;
  /// What may wait for the descriptor; lines beyond it are left out.
  size_t bytes = 64 * 1024;
  /// How long the end of the log waits for the descriptor to take what is left.
  std::chrono::milliseconds farewell{500};
};

/// What a program says of itself, as a line: "name: text". What commands a terminal is shown as
/// \xHH, and what is longer than 4 KB is cut.
std::string lineText(std::string_view name, std::string_view text);

/// Never keeps its caller waiting: a thread of its own writes, which blocks where the descriptor
/// does, and what there is no room for is left out. How much that was is said in a line as soon as
/// one can be written again. The thread begins with the first line and blocks all signals. The
/// descriptor's flags stay as they are, since terminals and pipes are shared with other processes;
/// it is not closed, and has to stay open until the process ends: a thread that is stuck in it is
/// left behind. Failures to write are forgotten: there is no other place to tell them.
class Log {
 public:
  /// `name` stands before each line: "name: text".
  Log(int fd, std::string name, LogOptions options = {});
  /// Waits for the descriptor, at most as long as the options say.
  ~Log();
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  /// As lineText() has it.
  void line(std::string_view text);
  /// A text as it is, which does not count as a line; dropped without a word when more than 4 KB
  /// wait: for what is out of date soon, such as a line that shows progress.
  void show(std::string_view text);

 private:
  struct Shared;

  void wake();
  static void write(const std::shared_ptr<Shared>& shared);

  std::shared_ptr<Shared> shared_;
};

}  // namespace service
