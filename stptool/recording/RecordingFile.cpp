#include "stptool/recording/RecordingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "stptool/Failure.h"

namespace stptool {

namespace {

[[noreturn]] void fail(const std::string& file, const std::string& what, int error) {
  throw Failure(file + ": " + what + ": " + std::strerror(error), {.file = file});
}

int openToRead(const std::string& file) {
  const int fd = file == "-" ? ::dup(STDIN_FILENO) : ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) fail(file, "cannot be read", errno);
  return fd;
}

}  // namespace

NewRecording::NewRecording(const std::string& file, bool overwrite) : file_(file) {
  const int mode = overwrite ? O_TRUNC : O_EXCL;
  fd_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | mode, 0666);
  if (fd_ >= 0) return;
  if (errno == EEXIST) {
    throw Failure(file + ": exists already; --force overwrites it", {.file = file});
  }
  fail(file, "cannot be written", errno);
}

NewRecording::~NewRecording() { ::close(fd_); }

void NewRecording::write(std::span<const uint8_t> bytes) const {
  while (!bytes.empty()) {
    const ssize_t written = ::write(fd_, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail(file_, "cannot be written", errno);
    bytes = bytes.subspan(static_cast<size_t>(written));
  }
}

PlayedRecording::PlayedRecording(const std::string& file, Tovo::Directory& directory)
    : file_(file),
      fd_(openToRead(file)),
      reader_([this](std::span<uint8_t> room) { return read(room); }, directory) {
  struct stat status {};
  if (::fstat(fd_, &status) == 0 && S_ISREG(status.st_mode)) {
    size_ = static_cast<uint64_t>(status.st_size);
  }
}

PlayedRecording::~PlayedRecording() { ::close(fd_); }

size_t PlayedRecording::read(std::span<uint8_t> room) const {
  for (;;) {
    const ssize_t got = ::read(fd_, room.data(), room.size());
    if (got >= 0) return static_cast<size_t>(got);
    if (errno != EINTR) fail(file_, "cannot be read", errno);
  }
}

const PlayedRecording::Reader::Message* PlayedRecording::next() try {
  return reader_.next();
} catch (const Tovo::NboAttrLog::RecordingException& error) {
  throw Failure(file_ + ": " + error.what(), {.file = file_, .byte = error.offset()},
                ExitCode::damaged);
}

void PlayedRecording::apply() try {
  reader_.apply();
} catch (const Tovo::NboAttrLog::RecordingException& error) {
  throw Failure(file_ + ": " + error.what(), {.file = file_, .byte = error.offset()},
                ExitCode::damaged);
}

}  // namespace stptool
