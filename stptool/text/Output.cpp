#include "stptool/text/Output.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "stptool/Failure.h"
#include "stptool/text/Printable.h"

namespace stptool {

namespace {

// Returns 0 or the error number.
int writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(fd, text.data(), text.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    text.remove_prefix(static_cast<size_t>(written));
  }
  return 0;
}

}  // namespace

bool writeOut(std::string_view text) {
  const int error = writeAll(STDOUT_FILENO, text);
  if (error == EPIPE) return false;
  if (error != 0) {
    throw Failure(std::string("cannot write to standard output: ") + std::strerror(error));
  }
  return true;
}

void occupyClosedStreams() noexcept {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const int unusable = fd == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    // The lowest number that is free is this one.
    if (::fcntl(fd, F_GETFD) < 0) (void)::open("/dev/null", unusable);
  }
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

size_t outputWidth() noexcept {
  constexpr size_t usual = 120;
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usual;
  return size.ws_col;
}

void complain(std::string_view message) {
  // What a person typed may be as long as it likes; a message is to be read.
  constexpr size_t most = 4096;
  const bool isLong = message.size() > most;
  writeError("stptool: " + printable(message.substr(0, most)) + (isLong ? "...\n" : "\n"));
}

// What cannot be said cannot be reported either.
void writeError(std::string_view text) { (void)writeAll(STDERR_FILENO, text); }

void writeFile(const std::string& file, std::string_view text) {
  writeFile(file, [&](const auto& take) { take(text); });
}

void writeFile(const std::string& file, const WriteParts& write) {
  const std::string partial = file + ".part";
  const auto fail = [&](int error) {
    throw Failure(file + ": cannot be written: " + std::strerror(error), {.file = file});
  };
  const int fd = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) fail(errno);
  int error = 0;
  try {
    write([&](std::string_view part) {
      if (error == 0) error = writeAll(fd, part);
    });
  } catch (...) {
    ::close(fd);
    ::unlink(partial.c_str());
    throw;
  }
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(partial.c_str(), file.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(partial.c_str());
    fail(error);
  }
}

}  // namespace stptool
