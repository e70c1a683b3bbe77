// Both ends of a mirror in one process.
#pragma once

#include <sys/socket.h>

#include <memory>
#include <stdexcept>

#include "Mirror/Connection.h"

namespace Bench {

/// What is mounted at a path here is mirrored to another directory here.
class LocalMirror {
 public:
  /// Throws std::runtime_error when it cannot be set up.
  LocalMirror(const char* path, const Pelmo::Ptr<Tovo::Entity>& root) {
    here_.mount(path, root);
    int fds[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) throw std::runtime_error("socketpair");
    writer_ = std::make_unique<Connection>(fds[0], here_);
    reader_ = std::make_unique<Connection>(fds[1], there_);
    reader_->guest().mount(path, true);
    while (reader_->guest().synced() == 0) turn();
    settle();
  }

  /// Only the writer's side, as when nobody reads.
  void flush() { writer_->flush(); }

  /// Until everything is applied at the other end.
  void settle() {
    const uint32_t number = writer_->questions().ping();
    while (writer_->questions().pongs() != number) turn();
  }

  size_t carried() const noexcept { return reader_->log().numbers().count(); }

 private:
  using Connection = Tovo::NboAttrLog::Connection;

  void turn() {
    writer_->flush();
    reader_->handleReadable();
    reader_->flush();
    writer_->handleReadable();
    if (writer_->closed()) throw std::runtime_error(writer_->closeReason());
    if (reader_->closed()) throw std::runtime_error(reader_->closeReason());
  }

  Tovo::Directory here_;
  Tovo::Directory there_;
  std::unique_ptr<Connection> writer_;
  std::unique_ptr<Connection> reader_;
};

}  // namespace Bench
