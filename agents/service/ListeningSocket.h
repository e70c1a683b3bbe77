// A socket in the file system that clients connect to.
#pragma once

#include <sys/types.h>

#include <string>

namespace service {

/// A listening socket. Never blocks, and is closed on exec. Failures are std::runtime_error that
/// name the path; nothing has changed then.
class ListeningSocket {
 public:
  /// Makes it and its file, whose mode says who may connect: it has that mode from the moment that
  /// it exists, and nobody can connect before. A file that a dead server left behind is replaced;
  /// one that somebody answers at, or that is no socket, is an error. While that is found out the
  /// folder is locked, so that of several processes that start at once one serves: it waits for
  /// the others at most two seconds.
  explicit ListeningSocket(const std::string& path, mode_t mode = 0600);
  /// Takes over a Unix socket that listens already. Its file belongs to whoever made it.
  explicit ListeningSocket(int fd);
  ListeningSocket(ListeningSocket&& other) noexcept;
  ListeningSocket& operator=(ListeningSocket&&) = delete;
  /// Removes the file that it made, unless another one stands in its place by now.
  ~ListeningSocket();

  int fd() const noexcept { return fd_; }
  /// "@name" in the abstract namespace.
  const std::string& path() const noexcept { return path_; }

  enum class Waiting {
    nobody,
    somebody,
    unknown,  ///< no descriptor or memory is left for it: to be tried again later
  };
  /// The next client that waits, non-blocking and closed on exec, belongs to the caller; -1 for
  /// other answers than `somebody`.
  int accept(Waiting& waiting) const;

 private:
  std::string path_;
  int fd_ = -1;
  bool made_ = false;
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace service
