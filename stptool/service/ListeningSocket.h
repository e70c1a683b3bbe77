// A socket in the file system that clients connect to.
#pragma once

#include <sys/types.h>

#include <string>

namespace stptool {

/// A listening socket and its file, whose mode says who may connect: it has that mode from the
/// moment that it exists, and nobody can connect before. A file that a dead server
/// left behind is replaced; one that somebody answers at, or that is no socket, is an error.
class ListeningSocket {
 public:
  explicit ListeningSocket(const std::string& path, mode_t mode = 0600);
  /// Removes the file, unless another one stands in its place by now.
  ~ListeningSocket();
  ListeningSocket(const ListeningSocket&) = delete;
  ListeningSocket& operator=(const ListeningSocket&) = delete;

  int fd() const noexcept { return fd_; }
  const std::string& path() const noexcept { return path_; }
  /// -1 when nobody waits, or with `exhausted` when the process has no descriptor left for it.
  int accept(bool& exhausted) const;

 private:
  std::string path_;
  int fd_ = -1;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace stptool
