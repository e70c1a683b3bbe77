// An attribute log as a file: what one end of a connection said.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Mirror/control/Messages.h"
#include "Mirror/log/StreamAdapter.h"
#include "Mirror/wire/Output.h"
#include "Tovo/Directory.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

/// Makes a recording of the messages of a host, as Incoming::appliedIs hands them out. The
/// connection mirrors read-only; one recording has the messages of one connection.
///
/// What it says is complete up to the last flush: a process that is killed leaves a file that can
/// be read up to there.
class RecordingWriter {
 public:
  /// Takes all bytes, in order; what it throws passes through.
  using Sink = std::function<void(std::span<const uint8_t> bytes)>;

  /// Writes the beginning of the file, with the module records of this process.
  explicit RecordingWriter(Sink sink);

  /// Keeps a message of a mount or of an entity, with the time, until its turn is over; drops
  /// others.
  void take(std::span<const uint8_t> message);
  void flush();
  /// The last message: the recording was meant to end, for a reason in words. Flushes.
  void end(std::string_view reason);

  uint64_t messages() const noexcept { return messages_; }
  /// Of the file, what waits for a flush included.
  uint64_t bytes() const noexcept { return bytes_; }

 private:
  template <class... Fields>
  void control(const Control::Message<Fields...>& message, const typename Fields::View&... values);
  uint8_t* grow(size_t bytes);
  bool isOfMount(AttributeId id, In in);

  Sink sink_;
  std::vector<uint8_t> waiting_;
  std::set<std::string, std::less<>> mounted_;
  bool timed_ = false;  // the messages that wait have a time before them
  uint64_t messages_ = 0;
  uint64_t bytes_ = 0;
};

/// A file that is no recording, or no further one. `what` is "byte 1234: why".
class RecordingException : public StreamException {
 public:
  RecordingException(uint64_t offset, const std::string& reason);
  /// Where the part starts that cannot be read, from the start of the file.
  uint64_t offset() const noexcept { return offset_; }
  const std::string& reason() const noexcept { return reason_; }

 private:
  uint64_t offset_;
  std::string reason_;
};

/// Plays a recording into a directory, message by message. Holds one message at a time. The roots
/// that it mounts stay in the directory; it can be applied over what is there already, as by a
/// connection that was made again.
class RecordingReader {
 public:
  /// Puts bytes into the room and returns how many; 0 at the end of the file. Does not touch the
  /// reader; destroying it from there is a failed assertion.
  using Source = std::function<size_t(std::span<uint8_t> room)>;
  using Time = std::chrono::sys_time<std::chrono::nanoseconds>;

  RecordingReader(Source source, Directory& directory);
  ~RecordingReader();
  RecordingReader(const RecordingReader&) = delete;
  RecordingReader& operator=(const RecordingReader&) = delete;

  struct Message {
    uint64_t offset;  ///< of its length, from the start of the file
    size_t size;      ///< with its length
    uint32_t entity;  ///< its number as this side has it; 0 for a control message
    AttributeId id;
    In payload;
  };
  /// Reads a message; null at the end of the file. Valid until the next call. Throws
  /// RecordingException, and then every time.
  const Message* next();
  /// Applies the message that next() gave, once. Throws RecordingException, and next() from then on
  /// too, and what observers throw; these may do anything, also destroy the reader. Called by an
  /// observer of what a connection or another reader applies, it is published with that.
  void apply();

  /// When the messages came that follow the last one of time; 1970 before the first.
  Time time() const noexcept { return time_; }
  bool isTimed() const noexcept { return time_.time_since_epoch().count() != 0; }
  /// What the recorder said when it ended; empty when it did not get to that.
  const std::string& farewell() const noexcept { return farewell_; }
  /// Bytes of the file that were understood.
  uint64_t offset() const noexcept { return offset_; }
  /// The entities that it has mounted, by number.
  const Numbers& numbers() const noexcept { return log_.carrier().numbers(); }

 private:
  bool fill(size_t bytes);
  void readBeginning();
  void applyNow();
  void applyControl(AttributeId id, In in);
  void mount(In& in);
  void unmount(In& in);

  Source source_;
  Directory& directory_;
  Output nothing_{0, 0, nullptr};  // a mirror that is read-only says nothing
  StreamAdapter log_;
  std::vector<uint8_t> in_;
  size_t at_ = 0;        // of the first byte of in_ that is not understood
  size_t end_ = 0;       // of what was read
  uint64_t offset_ = 0;  // of that byte in the file
  Message message_{0, 0, 0, 0, In({})};
  Time time_{};
  std::string farewell_;
  std::optional<RecordingException> damage_;  // of a message that could not be applied
  bool begun_ = false;
  bool greeted_ = false;
  bool reading_ = false;
};

}  // namespace Tovo::NboAttrLog
