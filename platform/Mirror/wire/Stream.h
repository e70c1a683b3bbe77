// Bytes in both directions between two ends.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <system_error>

namespace Tovo::NboAttrLog {

/// What a connection reads from and writes to. Never blocks, but for wait. Whoever makes another
/// kind of stream overrides this class; nothing else of the mirror talks to the system.
class Stream {
 public:
  enum class Outcome : uint8_t {
    some,    ///< so many bytes went over, at least one
    notNow,  ///< none can; the stream goes on
    ended,   ///< when reading: the peer has closed, and everything before was read
    failed,  ///< it is broken
  };
  struct Result {
    Outcome outcome;
    size_t bytes = 0;       ///< when some
    std::error_code error;  ///< when failed
  };

  virtual ~Stream() = default;
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  virtual Result read(std::span<uint8_t> room) = 0;
  virtual Result write(std::span<const uint8_t> bytes) = 0;
  /// The last call but for the destructor, which does the same where it was not called.
  virtual void close() noexcept = 0;

  /// For the process's own loop: what poll() is to watch; -1: nothing.
  virtual int readFd() const noexcept { return -1; }
  virtual int writeFd() const noexcept { return -1; }
  /// Waits until something can be read or, where that is asked for, written, at most so long. May
  /// return early. An error is that of waiting itself.
  virtual std::error_code wait(bool forWriting, std::chrono::milliseconds atMost) = 0;

  /// Whether it can be used: a stream that is still being made is asked again when something can be
  /// written, or later. Throws std::system_error when it could not be made.
  virtual bool isConnected() { return true; }

 protected:
  Stream() = default;
};

}  // namespace Tovo::NboAttrLog
