// Recordings on disk.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "Mirror/Recording.h"

namespace stptool {

/// A file that is read once, "-" being standard input, and played into a directory.
class PlayedRecording {
 public:
  using Reader = Tovo::NboAttrLog::RecordingReader;

  /// Throws Failure when it cannot be opened.
  PlayedRecording(const std::string& file, Tovo::Directory& directory);
  ~PlayedRecording();
  PlayedRecording(const PlayedRecording&) = delete;
  PlayedRecording& operator=(const PlayedRecording&) = delete;

  const std::string& file() const noexcept { return file_; }
  /// In bytes; 0 when that is not known beforehand.
  uint64_t size() const noexcept { return size_; }
  const Reader& reader() const noexcept { return reader_; }

  /// As the reader's; what cannot be read, and an end without a farewell, is a Failure with
  /// ExitCode::damaged, and what came before has been given out then. Interrupted when a stop
  /// signal came while more was waited for.
  const Reader::Message* next();
  void apply();

 private:
  size_t read(std::span<uint8_t> room) const;

  std::string file_;
  int fd_;
  uint64_t size_ = 0;
  Reader reader_;
};

}  // namespace stptool
