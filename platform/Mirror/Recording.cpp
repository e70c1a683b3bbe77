#include "Mirror/Recording.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "Mirror/control/Greeting.h"
#include "Mirror/control/Mounted.h"
#include "Mirror/control/PeerText.h"
#include "Tovo/Assert.h"

namespace Tovo::NboAttrLog {

namespace {

constexpr std::string_view magic = "TALREC";
constexpr uint16_t fileVersion = 1;
constexpr size_t beginning = magic.size() + sizeof fileVersion;
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
  control(Control::greeting, greetingMagic, protocolVersion, Control::Modules::View());
  flush();
}

uint8_t* RecordingWriter::grow(size_t bytes) {
  const size_t had = waiting_.size();
  waiting_.resize(had + bytes);
  bytes_ += bytes;
  return waiting_.data() + had;
}

template <class... Fields>
void RecordingWriter::control(const Control::Message<Fields...>& message,
                              const typename Fields::View&... values) {
  const size_t size = message.size(values...);
  uint8_t* const payload = putHead(grow(frameHeader + messageHeader + size), size, 0, message.id);
  Out out({payload, size});
  message.write(out, values...);
}

// Whether the message belongs to a mount; answers that refuse one do not.
bool RecordingWriter::isOfMount(AttributeId id, In in) {
  switch (id) {
    case Control::mounted.id:
      mounted_.insert(Control::Text::read(in));
      return true;
    case Control::unmounted.id:
      return mounted_.erase(Control::Text::read(in)) > 0;
    default:
      return id == Control::turn.id;
  }
}

void RecordingWriter::take(std::span<const uint8_t> message) {
  In in(message);
  const bool isControl = in.nextU32() == 0;
  const AttributeId id = in.nextU16();
  if (isControl && !isOfMount(id, in)) return;
  const bool isTurn = isControl && id == Control::turn.id;
  if (!timed_) {
    const auto now =
        std::chrono::time_point_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now());
    const auto count = static_cast<uint64_t>(now.time_since_epoch().count());
    control(Control::time, count);
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
  control(Control::goodBye, reason);
  flush();
}

// --------------------------------------------------------------------------------------- reading

RecordingException::RecordingException(uint64_t offset, const std::string& reason)
    : StreamException("byte " + std::to_string(offset) + ": " + reason),
      offset_(offset),
      reason_(reason) {}

RecordingReader::RecordingReader(Source source, Directory& directory)
    : source_(std::move(source)), directory_(directory), log_(nothing_) {}

RecordingReader::~RecordingReader() {
  TOVO_ASSERT(!reading_);
  log_.carrier().releaseAll();
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
    if (!greeted_ && (number != 0 || id != Control::greeting.id)) {
      throw StreamException("the first message has no module records");
    }
    message_ = {start, frameHeader + length, numbers().received(number), id, in};
  } catch (const StreamException& error) {
    fail(error.what());
  }
  return &message_;
}

void RecordingReader::apply() {
  const Liveness::Watch watch(log_.turn().liveness());
  try {
    log_.turn().run([&] { applyNow(); });
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
  log_.receiver().apply(message_.entity, message_.id, message_.payload);
}

void RecordingReader::applyControl(AttributeId id, In in) {
  switch (id) {
    case Control::greeting.id:
      if (greeted_) throw StreamException("module records a second time");
      readGreeting(in, "the recording");
      greeted_ = true;
      return;
    case Control::goodBye.id:
      farewell_ = peerText(std::get<0>(Control::goodBye.read(in)));
      if (farewell_.empty()) farewell_ = "no reason";
      return;
    case Control::mounted.id:
      return mount(in);
    case Control::unmounted.id:
      return unmount(in);
    case Control::turn.id:
      Control::turn.read(in);
      return log_.carrier().references().endTurn();
    case Control::time.id:
      time_ =
          Time(std::chrono::nanoseconds(static_cast<int64_t>(std::get<0>(Control::time.read(in)))));
      return;
    default:
      throw StreamException("the message '" + Control::nameOf(id) + "', which no recording has");
  }
}

void RecordingReader::mount(In& in) {
  const Mounted mounted(in, "the recording");
  try {
    mounted.bind(log_, directory_);
  } catch (const PathException& error) {
    throw StreamException(peerText(error.what()));
  }
}

void RecordingReader::unmount(In& in) {
  const std::string path = std::get<0>(Control::unmounted.read(in));
  const Pelmo::Ptr<Entity> root(directory_.mounted(path));
  if (!root || numbers().of(*root).id == 0) {
    throw StreamException(peerText(path) + " is unmounted, which is not mounted");
  }
  keepForTurn(root.get());
  log_.carrier().release(*root);
  directory_.unmount(path);
}

}  // namespace Tovo::NboAttrLog
