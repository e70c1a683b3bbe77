// How far something is that takes a while.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace stptool {

/// A line on standard error that is written again while the work goes on; nothing where standard
/// error is no terminal, and nothing for what is done within half a second.
class Progress {
 public:
  /// `total` in bytes; 0 when it is not known.
  Progress(std::string what, uint64_t total);
  ~Progress() { end(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void total(uint64_t bytes) noexcept { total_ = bytes; }
  void at(uint64_t bytes);
  /// Another step of the work, of unknown length.
  void stage(const std::string& what);
  /// Takes the line away.
  void end();

 private:
  void show(const std::string& text);

  std::string what_;
  uint64_t total_;
  std::chrono::steady_clock::time_point next_;
  bool on_;
  bool shown_ = false;
};

}  // namespace stptool
