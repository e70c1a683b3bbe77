#include "stptool/output/Output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "agents/service/InterruptibleIo.h"
#include "stptool/output/Failure.h"

namespace stptool {

namespace {

service::Log* errorLog = nullptr;

}  // namespace

bool isReaderGone(int fd, int error) noexcept {
  if (error == EPIPE || error == ECONNRESET) return true;
  struct stat status {};
  return error == EIO && ::fstat(fd, &status) == 0 && S_ISCHR(status.st_mode);
}

bool writeOut(std::string_view text) {
  const int error = service::writeAll(STDOUT_FILENO, text);
  if (error == 0) return true;
  if (error == ECANCELED || isReaderGone(STDOUT_FILENO, error)) return false;
  throw Failure(std::string("cannot write to standard output: ") + std::strerror(error),
                ExitCode::cannotWrite);
}

void Output::add(std::string_view text) {
  constexpr size_t enough = 64 * 1024;
  if (readerGone_) return;
  waiting_ += text;
  if (waiting_.size() >= enough) flush();
}

void Output::flush() {
  if (!readerGone_) readerGone_ = !writeOut(waiting_);
  waiting_.clear();
}

void Output::flushBehind(const std::function<void()>& work) {
  try {
    work();
  } catch (...) {
    flush();
    throw;
  }
  flush();
}

size_t outputWidth() noexcept {
  constexpr size_t usual = 120;
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usual;
  return size.ws_col;
}

ErrorLog::ErrorLog() : log_(STDERR_FILENO, "stptool") { errorLog = &log_; }
ErrorLog::~ErrorLog() { errorLog = nullptr; }

void complain(std::string_view message) {
  if (errorLog) return errorLog->line(message);
  writeError(service::lineText("stptool", message));
}

// What cannot be said cannot be reported either.
void writeError(std::string_view text) { (void)service::writeAll(STDERR_FILENO, text); }

void showOnTerminal(std::string_view text) { errorLog ? errorLog->show(text) : writeError(text); }

}  // namespace stptool
