// Standard output, written whole; standard error, without waiting where that matters.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "agents/service/Log.h"

namespace stptool {

/// Writes all of a text to standard output. False when nobody takes it any more, which is no error:
/// the reader has gone, as a pipe into `head` ends, or a stop signal came while it did not read.
/// Throws Failure with ExitCode::cannotWrite for other trouble, such as a full disk.
bool writeOut(std::string_view text);

/// Whether the number of an error that a write gave says that nobody takes it any more: a closed
/// pipe, or a terminal that was hung up.
bool isReaderGone(int fd, int error) noexcept;

/// Standard output for what has many lines: collects them, and writes when there is enough.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  /// Throws Failure as writeOut does. What was added last is lost unless flush() follows.
  void add(std::string_view text);
  void flush();
  /// Does what adds to it and flushes, also where that throws.
  void flushBehind(const std::function<void()>& work);
  /// Nobody reads any more: there is nothing left to do.
  bool readerGone() const noexcept { return readerGone_; }

 private:
  std::string waiting_;
  bool readerGone_ = false;
};

/// Columns of the terminal that standard output is, or 120.
size_t outputWidth() noexcept;

/// One line "stptool: message" on standard error.
void complain(std::string_view message);

/// A text on standard error as it is.
void writeError(std::string_view text);

/// The same, for a terminal that may miss it.
void showOnTerminal(std::string_view text);

/// While one exists, whoever reads standard error cannot keep the process waiting: a log writes
/// what complain() and showOnTerminal() are given. For commands that go on until a signal comes.
class ErrorLog {
 public:
  ErrorLog();
  ~ErrorLog();
  ErrorLog(const ErrorLog&) = delete;
  ErrorLog& operator=(const ErrorLog&) = delete;

  service::Log& log() noexcept { return log_; }

 private:
  service::Log log_;
};

}  // namespace stptool
