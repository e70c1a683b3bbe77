// Stream sockets in the file system.
#pragma once

#include <sys/types.h>

#include <string>

namespace stptool {

/// A connected descriptor. Throws Failure with ExitCode::cannotConnect.
int connectTo(const std::string& path);

/// A listening socket that only the user may connect to, and its file. A file that a dead server
/// left behind is replaced; one that somebody answers at, or that is no socket, is an error.
class ListeningSocket {
 public:
  explicit ListeningSocket(const std::string& path);
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
