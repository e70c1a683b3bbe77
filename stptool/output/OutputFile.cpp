#include "stptool/output/OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "agents/service/InterruptibleIo.h"
#include "stptool/output/Failure.h"
#include "stptool/output/Output.h"

namespace stptool {

namespace {

namespace fs = std::filesystem;

constexpr int openFlags = O_WRONLY | O_CLOEXEC | O_NOCTTY;
constexpr mode_t permissions = 07777;

bool isLink(const std::string& path) {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// Standard output or error when it is this file, or -1.
int standardStreamOf(const struct stat& file) {
  for (const int fd : {STDOUT_FILENO, STDERR_FILENO}) {
    struct stat status {};
    if (::fstat(fd, &status) == 0 && status.st_dev == file.st_dev && status.st_ino == file.st_ino) {
      return fd;
    }
  }
  return -1;
}

std::string resolved(const std::string& path) {
  std::error_code error;
  const fs::path target = fs::canonical(path, error);
  return error ? path : target.string();
}

}  // namespace

OutputFile::OutputFile(std::string path, Existing existing) : path_(std::move(path)) {
  // The system checks whether this user may follow the links and write there.
  fd_ = service::openFile(path_.c_str(), openFlags);
  try {
    if (fd_ >= 0) {
      openThere(existing);
    } else if (errno == ENOENT) {
      openNew(existing);
    } else {
      fail("cannot be written", errno);
    }
  } catch (...) {
    if (fd_ >= 0) ::close(fd_);
    throw;
  }
}

OutputFile::~OutputFile() {
  if (fd_ >= 0) ::close(fd_);
  if (!unfinished_.empty()) ::unlink(unfinished_.c_str());
}

void OutputFile::fail(const std::string& what, int error) const {
  if (error == ECANCELED) throw Interrupted(path_);
  throw Failure(path_ + ": " + what + ": " + std::strerror(error), {.file = path_},
                ExitCode::cannotWrite);
}

void OutputFile::openThere(Existing existing) {
  if (::fstat(fd_, &previous_) != 0) fail("cannot be written", errno);
  if (!S_ISREG(previous_.st_mode)) return;
  if (existing == Existing::refuse) {
    throw Failure(path_ + ": exists already; --force overwrites it", {.file = path_});
  }
  const int there = std::exchange(fd_, -1);
  const int stream = standardStreamOf(previous_);
  ::close(there);
  if (stream >= 0) {
    fd_ = ::fcntl(stream, F_DUPFD_CLOEXEC, 0);
    if (fd_ < 0) fail("cannot be written", errno);
    return;
  }
  existed_ = true;
  target_ = resolved(path_);
  openBeside(S_IRUSR | S_IWUSR);
}

void OutputFile::openNew(Existing existing) {
  constexpr mode_t usual = 0666;  // without what the umask takes away
  if (existing == Existing::refuse) {
    fd_ = ::open(path_.c_str(), openFlags | O_CREAT | O_EXCL, usual);
    if (fd_ < 0) fail("cannot be written", errno);
    unfinished_ = path_;
    return;
  }
  target_ = path_;
  if (isLink(path_)) {
    // It leads to nothing yet. The system decides whether this user may make something there.
    const int made = ::open(path_.c_str(), openFlags | O_CREAT, usual);
    if (made < 0) fail("cannot be written", errno);
    ::close(made);
    target_ = resolved(path_);
    ::unlink(target_.c_str());
  }
  openBeside(usual);
}

void OutputFile::openBeside(mode_t mode) {
  const fs::path folder = fs::path(target_).parent_path();
  const std::string name = ".stptool-" + std::to_string(::getpid()) + "-";
  for (int number = 0; fd_ < 0; ++number) {
    const std::string path = (folder / (name + std::to_string(number))).string();
    fd_ = ::open(path.c_str(), openFlags | O_CREAT | O_EXCL, mode);
    if (fd_ >= 0) {
      unfinished_ = path;
    } else if (errno != EEXIST) {
      fail(existed_ ? "cannot be replaced by a file beside it" : "cannot be written", errno);
    }
  }
}

// What the system does not permit stays as it is for a new file.
void OutputFile::takeOverAttributes() const noexcept {
  constexpr mode_t asOwner = S_ISUID | S_ISGID;
  mode_t mode = previous_.st_mode & permissions;
  if (::fchown(fd_, previous_.st_uid, previous_.st_gid) != 0) {
    mode &= ~asOwner;
    (void)!::fchown(fd_, static_cast<uid_t>(-1), previous_.st_gid);
  }
  ::fchmod(fd_, mode);
}

void OutputFile::write(std::string_view bytes) {
  if (readerGone_) return;
  const int error = service::writeAll(fd_, bytes);
  readerGone_ = isReaderGone(fd_, error);
  if (error != 0 && !readerGone_) fail("cannot be written", error);
}

void OutputFile::show() {
  if (unfinished_.empty()) return;
  if (existed_) takeOverAttributes();
  if (!target_.empty() && ::rename(unfinished_.c_str(), target_.c_str()) != 0) {
    fail("cannot be written", errno);
  }
  unfinished_.clear();
}

void OutputFile::close() {
  // Before the old one goes, the new one is stored.
  if (!unfinished_.empty() && ::fsync(fd_) != 0) fail("cannot be written", errno);
  show();
  if (::close(std::exchange(fd_, -1)) != 0) fail("cannot be written", errno);
}

void OutputFile::check(const std::string& path) {
  struct stat status {};
  const bool isThere = ::stat(path.c_str(), &status) == 0;
  // Opening the others may be more than looking: the reader of a FIFO would see it end.
  if (!isThere || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) {
    const OutputFile file(path);
  } else if (::access(path.c_str(), W_OK) != 0) {
    throw Failure(path + ": cannot be written: " + std::strerror(errno), {.file = path},
                  ExitCode::cannotWrite);
  }
}

void writeFile(const std::string& path, const WriteParts& write) {
  OutputFile file(path);
  write([&](std::string_view part) { file.write(part); });
  file.close();
}

void writeFile(const std::string& path, std::string_view text) {
  writeFile(path, [&](const auto& take) { take(text); });
}

}  // namespace stptool
