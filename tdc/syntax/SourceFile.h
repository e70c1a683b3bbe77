// Source text and places in it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tdc {

/// A line and a column, both counted from 1; columns count bytes.
struct Position {
  unsigned line = 1;
  unsigned column = 1;
};

/// One file's text. A byte order mark at its start is dropped.
class SourceFile {
 public:
  SourceFile(std::string path, std::string text);

  const std::string& path() const { return path_; }
  std::string_view text() const { return text_; }
  Position position(uint32_t offset) const;
  /// The line's text without its line break.
  std::string_view line(unsigned number) const;

 private:
  std::string path_;
  std::string text_;
  std::vector<uint32_t> lineStarts_;
};

/// A piece of a file, `end` exclusive. The file is owned by `SourceFiles` and outlives the span.
struct Span {
  const SourceFile* file = nullptr;
  uint32_t begin = 0;
  uint32_t end = 0;
};

/// The smallest span that holds both.
Span operator+(const Span& first, const Span& last);

/// Owns every file read in a run, each once.
class SourceFiles {
 public:
  /// Reads a file, or gives the one already read from there. Throws `FileError`.
  const SourceFile& read(const std::string& path);
  /// Adds a file that is held in memory; from now on it is the one at that path.
  const SourceFile& add(std::string path, std::string text);
  /// Whether there is something to read at that path, in memory or on disk.
  bool exists(const std::string& path) const;
  const std::vector<std::unique_ptr<SourceFile>>& all() const { return files_; }

 private:
  std::vector<std::unique_ptr<SourceFile>> files_;
  std::map<std::string, const SourceFile*> byPath_;
};

}  // namespace tdc
