#include "Tovo/AttrLog/Recording.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Tovo/Assert.h"
#include "Tovo/AttrLog/Control.h"

namespace Tovo::NboAttrLog {

namespace {

constexpr std::string_view magic = "TALREC";
constexpr uint16_t fileVersion = 1;
constexpr size_t beginning = magic.size() + sizeof fileVersion;
constexpr size_t frameHeader = StreamAdapter::frameHeader;
constexpr size_t mostWaiting = 256 * 1024;
constexpr size_t readChunk = 256 * 1024;
constexpr size_t mostMessageBytes = 16 * 1024 * 1024;

std::string counted(uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

}  // namespace

// --------------------------------------------------------------------------------------- writing

RecordingWriter::RecordingWriter(Sink sink) : sink_(std::move(sink)) {
  uint8_t* at = grow(beginning);
  std::memcpy(at, magic.data(), magic.size());
  store(at + magic.size(), fileVersion);
  control(Control::greeting, greetingSize(), [](Out& out) { writeGreeting(out); });
  flush();
}

uint8_t* RecordingWriter::grow(size_t bytes) {
  const size_t had = waiting_.size();
  waiting_.resize(had + bytes);
  bytes_ += bytes;
  return waiting_.data() + had;
}

template <class Write>
void RecordingWriter::control(AttributeId id, size_t size, const Write& write) {
  const size_t length = StreamAdapter::messageHeader + size;
  uint8_t* at = grow(frameHeader + length);
  store(at, static_cast<uint32_t>(length));
  Out out({at + frameHeader, length});
  out << uint32_t{0} << id;
  write(out);
}

// Mounts that were refused are none.
bool RecordingWriter::isOfMount(AttributeId id, In in) {
  switch (id) {
    case Control::mounted:
      mounted_.emplace(in.nextString().view());
      return true;
    case Control::unmounted:
      return mounted_.erase(std::string(in.nextString().view())) > 0;
    default:
      return id == Control::turn;
  }
}

void RecordingWriter::take(std::span<const uint8_t> message) {
  In in(message);
  const bool isControl = in.nextU32() == 0;
  const AttributeId id = in.nextU16();
  if (isControl && !isOfMount(id, in)) return;
  const bool isTurn = isControl && id == Control::turn;
  if (!timed_) {
    const auto now =
        std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
    const auto count = static_cast<uint64_t>(now.time_since_epoch().count());
    control(Control::time, sizeof count, [&](Out& out) { out << count; });
    timed_ = true;
  }
  uint8_t* at = grow(frameHeader + message.size());
  store(at, static_cast<uint32_t>(message.size()));
  std::memcpy(at + frameHeader, message.data(), message.size());
  ++messages_;
  if (isTurn || waiting_.size() > mostWaiting) flush();
}

void RecordingWriter::flush() {
  if (!waiting_.empty()) sink_(waiting_);
  waiting_.clear();
  timed_ = false;
}

void RecordingWriter::end(std::string_view reason) {
  control(Control::goodBye, textSize(reason), [&](Out& out) { writeText(out, reason); });
  flush();
}

// --------------------------------------------------------------------------------------- reading

RecordingException::RecordingException(uint64_t offset, const std::string& reason)
    : StreamException("byte " + std::to_string(offset) + ": " + reason),
      offset_(offset),
      reason_(reason) {}

RecordingReader::RecordingReader(Source source, Directory& directory)
    : source_(std::move(source)), directory_(directory) {}

RecordingReader::~RecordingReader() {
  TOVO_ASSERT(!reading_);
  unbindAll();
}

namespace {

// Says that the source is called.
class Reading {
 public:
  explicit Reading(bool& flag) noexcept : flag_(flag) { flag_ = true; }
  ~Reading() { flag_ = false; }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

 private:
  bool& flag_;
};

}  // namespace

// False when the file ends before there are so many bytes.
bool RecordingReader::fill(size_t bytes) {
  if (end_ - at_ >= bytes) return true;
  const auto from = in_.begin();
  std::copy(from + static_cast<std::ptrdiff_t>(at_), from + static_cast<std::ptrdiff_t>(end_),
            from);
  end_ -= std::exchange(at_, 0);
  while (end_ < bytes) {
    if (end_ == in_.size()) in_.resize(end_ + readChunk);
    const Reading reading(reading_);
    const size_t got = source_({in_.data() + end_, in_.size() - end_});
    if (got == 0) return false;
    end_ += got;
  }
  return true;
}

void RecordingReader::readBeginning() {
  const bool whole = fill(beginning);
  const std::string_view start(reinterpret_cast<const char*>(in_.data()),
                               std::min(end_, magic.size()));
  if (start.empty()) throw RecordingException(0, "the file is empty; it is no recording");
  if (!magic.starts_with(start)) {
    throw RecordingException(0, "this is no recording, which starts with " + std::string(magic));
  }
  if (!whole)
    throw RecordingException(
        0, "the file ends inside the " + counted(beginning) + " with which a recording starts");
  const auto version = load<uint16_t>(in_.data() + magic.size());
  if (version != fileVersion) {
    throw RecordingException(magic.size(), "a recording of version " + std::to_string(version) +
                                               "; version " + std::to_string(fileVersion) +
                                               " can be read");
  }
  at_ = beginning;
  offset_ = beginning;
  begun_ = true;
}

const RecordingReader::Message* RecordingReader::next() {
  if (damage_) throw RecordingException(*damage_);
  if (!begun_) readBeginning();
  const uint64_t start = offset_ + message_.size;
  at_ += message_.size;
  offset_ = start;
  message_.size = 0;
  const auto fail = [&](const std::string& why) { throw RecordingException(start, why); };
  if (!fill(frameHeader)) {
    const size_t left = end_ - at_;
    if (left > 0)
      fail("the file ends inside the length of a message, of which it has " + counted(left));
    if (!greeted_) fail("the file ends before the module records");
    return nullptr;
  }
  const auto length = load<uint32_t>(in_.data() + at_);
  if (length < messageHeader || length > mostMessageBytes) {
    fail("a message of " + counted(length) + "; " + std::to_string(messageHeader) + " to " +
         std::to_string(mostMessageBytes) + " are allowed");
  }
  if (!farewell_.empty()) fail("a message behind the end of the recording");
  if (!fill(frameHeader + length)) {
    fail("the file ends inside a message of " + counted(frameHeader + length) +
         ", of which it has " + std::to_string(end_ - at_));
  }
  In in({in_.data() + at_ + frameHeader, length});
  const uint32_t number = in.nextU32();
  const AttributeId id = in.nextU16();
  try {
    if (!greeted_ && (number != 0 || id != Control::greeting)) {
      throw StreamException("the first message has no module records");
    }
    message_ = {start, frameHeader + length, received(number), id, in};
  } catch (const StreamException& error) {
    fail(error.what());
  }
  return &message_;
}

void RecordingReader::apply() {
  const Liveness::Watch watch(liveness_);
  try {
    inTurn([&] { applyNow(); });
  } catch (const AdapterGone&) {
    // Nothing of it is left to do.
  } catch (const StreamException& error) {
    if (watch.gone()) throw;
    damage_.emplace(message_.offset, "in the message of " + counted(message_.size) +
                                         " that starts there: " + error.what());
    throw RecordingException(*damage_);
  }
}

void RecordingReader::applyNow() {
  if (message_.entity == 0) return applyControl(message_.id, message_.payload);
  applyMessage(message_.entity, message_.id, message_.payload);
}

void RecordingReader::applyControl(AttributeId id, In in) {
  switch (id) {
    case Control::greeting:
      if (greeted_) throw StreamException("module records a second time");
      readGreeting(in, "the recording");
      greeted_ = true;
      return;
    case Control::goodBye:
      farewell_ = printable(in.nextString());
      in.expectEnd();
      if (farewell_.empty()) farewell_ = "no reason";
      return;
    case Control::mounted: {
      const Mounted mounted(in, "the recording");
      try {
        mounted.bind(*this, directory_);
      } catch (const PathException& error) {
        throw StreamException(printable(error.what()));
      }
      return;
    }
    case Control::unmounted: {
      const Pelmo::String path = in.nextString();
      in.nextString();  // why
      in.expectEnd();
      const Pelmo::Ptr<Entity> root(directory_.mounted(path));
      if (!root || entityId(*root) == 0) {
        throw StreamException(printable(path) + " is unmounted, which is not mounted");
      }
      keepForTurn(root.get());
      unbindTree(*root);
      directory_.unmount(path);
      return;
    }
    case Control::turn:
      in.expectEnd();
      return endTurn();
    case Control::time: {
      const auto count = in.next<uint64_t>();
      in.expectEnd();
      time_ = Time(std::chrono::nanoseconds(static_cast<int64_t>(count)));
      return;
    }
    default:
      throw StreamException("a control message " + std::to_string(id) + ", which no recording has");
  }
}

// A mirror that is read-only says nothing.
bool RecordingReader::makeRoom(size_t) { return false; }

}  // namespace Tovo::NboAttrLog
