// A stream over descriptors of the system.
#pragma once

#include "Mirror/wire/Stream.h"

namespace Tovo::NboAttrLog {

/// Sockets, pipes, terminals: whatever can be read and written. Sets the descriptors non-blocking,
/// owns and closes them. A process that writes to pipes ignores SIGPIPE.
class DescriptorStream final : public Stream {
 public:
  /// One descriptor for both directions, connected or being connected.
  explicit DescriptorStream(int fd) noexcept : DescriptorStream(fd, fd) {}
  DescriptorStream(int readFd, int writeFd) noexcept;
  ~DescriptorStream() override;

  Result read(std::span<uint8_t> room) override;
  Result write(std::span<const uint8_t> bytes) override;
  void close() noexcept override;
  int readFd() const noexcept override { return readFd_; }
  int writeFd() const noexcept override { return writeFd_; }
  std::error_code wait(bool forWriting, std::chrono::milliseconds atMost) override;
  bool isConnected() override;

 private:
  int readFd_;
  int writeFd_;
  bool isSocket_ = true;  // until writing to it says something else
};

}  // namespace Tovo::NboAttrLog
