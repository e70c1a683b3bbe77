#include "stptool/recording/RecordingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "agents/service/InterruptibleIo.h"
#include "stptool/output/Failure.h"

namespace stptool {

namespace {

[[noreturn]] void fail(const std::string& file, const std::string& what, int error) {
  if (error == ECANCELED) throw Interrupted(file + ": " + what);
  throw Failure(file + ": " + what + ": " + std::strerror(error), {.file = file});
}

int openToRead(const std::string& file) {
  const int fd = file == "-" ? ::dup(STDIN_FILENO) : service::openFile(file.c_str(), O_RDONLY);
  if (fd < 0) fail(file, "cannot be read", errno);
  return fd;
}

}  // namespace

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
  const ssize_t got = service::readSome(fd_, room.data(), room.size());
  if (got < 0) fail(file_, "cannot be read", errno);
  return static_cast<size_t>(got);
}

const PlayedRecording::Reader::Message* PlayedRecording::next() try {
  const Reader::Message* const message = reader_.next();
  if (!message && reader_.farewell().empty()) {
    throw Failure(file_ + ": byte " + std::to_string(reader_.offset()) +
                      ": ends without a farewell: it was cut, its recorder was killed, or goes on",
                  {.file = file_, .byte = reader_.offset()}, ExitCode::damaged);
  }
  return message;
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
