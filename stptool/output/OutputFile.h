// A file that a command writes.
#pragma once

#include <sys/stat.h>

#include <functional>
#include <string>
#include <string_view>

namespace stptool {

/// What its path leads to decides how it is written:
///
/// - A regular file is replaced: what is written stands beside it under another name until show(),
///   then takes its place at once, with its mode and, where that is permitted, its owner and group.
///   Who has the old file open keeps it. Access lists and other extended attributes are not kept.
/// - Of a symbolic link, all of this holds for what it leads to; the link stays.
/// - A device, a FIFO or another thing that bytes go through is written to. A FIFO waits for its
///   reader.
/// - The file that standard output or standard error is gets what is written where these stand.
///
/// Waits for a reader and for room as InterruptibleIo.h has it, and throws Interrupted where that
/// ends a wait; otherwise Failure, which names the path, with ExitCode::cannotWrite.
class OutputFile {
 public:
  enum class Existing {
    replace,
    refuse,  ///< a regular file is left as it is; Failure with ExitCode::failed says so
  };

  explicit OutputFile(std::string path, Existing existing = Existing::replace);
  /// Without show() nothing has happened: what was there is there, what was not is not. Otherwise
  /// an error that only closing shows goes unnoticed: call close().
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::string& path() const noexcept { return path_; }

  void write(std::string_view bytes);
  /// What was written so far stands under the path, and what follows goes there.
  void show();
  /// Ends it, after show(): all of it is stored.
  void close();

  /// The other end of a pipe or terminal was closed, which is no error. What is written is dropped.
  bool readerGone() const noexcept { return readerGone_; }

  /// Throws what opening and finishing would throw now, and leaves everything as it is. Waits for
  /// nobody.
  static void check(const std::string& path);

 private:
  void openNew(Existing existing);
  void openThere(Existing existing);
  void openBeside(mode_t mode);
  void takeOverAttributes() const noexcept;
  [[noreturn]] void fail(const std::string& what, int error) const;

  std::string path_;
  std::string target_;      // what is replaced by show(); empty: path_ is written to
  std::string unfinished_;  // the path of what goes away unless it is shown
  struct stat previous_ {};
  int fd_ = -1;
  bool existed_ = false;
  bool readerGone_ = false;
};

/// Writes a whole file. `write` gets a function that takes it in parts; what it throws passes
/// through, and the file stays as it was.
using WriteParts = std::function<void(const std::function<void(std::string_view part)>& take)>;
void writeFile(const std::string& path, const WriteParts& write);
void writeFile(const std::string& path, std::string_view text);

}  // namespace stptool
