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

size_t outputWidth() noexcept {
  constexpr size_t usual = 120;
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usual;
  return size.ws_col;
}

void complain(std::string_view message) {
  // What cannot be said cannot be reported either.
  (void)writeAll(STDERR_FILENO, "stptool: " + printable(message) + "\n");
}

void writeFile(const std::string& file, std::string_view text) {
  const std::string partial = file + ".part";
  const auto fail = [&](int error) {
    throw Failure(file + ": cannot be written: " + std::strerror(error));
  };
  const int fd = ::open(partial.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) fail(errno);
  int error = writeAll(fd, text);
  if (::close(fd) != 0 && error == 0) error = errno;
  if (error == 0 && ::rename(partial.c_str(), file.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(partial.c_str());
    fail(error);
  }
}

}  // namespace stptool
