#include "Mirror/Connection.h"

#include <algorithm>
#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "Mirror/control/Greeting.h"
#include "Mirror/control/PeerText.h"
#include "Mirror/wire/DescriptorStream.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

namespace {

// A turn whose changes have filled the output so many times is completed in one go.
constexpr size_t longTurn = 16;

std::string failed(const char* what, const std::error_code& error) {
  return std::string(what) + ": " + error.message();
}

}  // namespace

Connection::Connection(std::unique_ptr<Stream> stream, Directory& directory, Limits limits)
    : limits_(limits),
      stream_(std::move(stream)),
      output_(limits.outputBytes, limits.messageBytes, this),
      log_(output_, {limits.entities, limits.nesting}, this),
      incoming_(*this, log_, limits_, this),
      control_(output_, limits.answerBytes),
      host_(directory, log_, control_, limits.requestsBytes),
      guest_(directory, log_, control_, requests_, limits.turnBytes),
      questions_(control_, log_.turn(), requests_, limits.pings) {
  control_.send(Control::greeting, Beyond::any, greetingMagic, protocolVersion,
                Control::Modules::View());
}

Connection::Connection(int fd, Directory& directory, Limits limits)
    : Connection(fd, fd, directory, limits) {}

Connection::Connection(int readFd, int writeFd, Directory& directory, Limits limits)
    : Connection(std::make_unique<DescriptorStream>(readFd, writeFd), directory, limits) {}

Connection::~Connection() { shut(Ending::closedHere, "closed here"); }

// --------------------------------------------------------------------------------------- the loop

// Stands for a call of flush or handleReadable. These do not nest, and may outlive their
// connection.
class Connection::Busy {
 public:
  explicit Busy(Connection& connection) noexcept
      : connection_(connection), watch_(connection.log_.turn().liveness()) {
    connection_.busy_ = true;
  }
  ~Busy() {
    if (!gone()) connection_.busy_ = false;
  }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;

  bool gone() const noexcept { return watch_.gone(); }

  /// What the work throws ends the connection, if that is still there.
  template <class Work>
  void run(const Work& work) {
    try {
      work();
    } catch (const AdapterGone&) {
      // The connection was destroyed: nothing is left to do.
    } catch (const std::exception& failure) {
      if (!gone()) connection_.end(failure);
    } catch (...) {
      if (!gone()) connection_.sayGoodBye(Ending::failed, "an observer threw");
    }
  }

 private:
  Connection& connection_;
  const Liveness::Watch watch_;
};

void Connection::handleReadable() {
  if (closed() || busy_ || Turn::anyOpen()) return;
  Busy busy(*this);
  busy.run([&] {
    if (readSome()) incoming_.apply();
    if (busy.gone()) return;
    incoming_.trim();
    charge(0);
  });
}

bool Connection::readSome() {
  const Stream::Result result = incoming_.read(*stream_);
  switch (result.outcome) {
    case Stream::Outcome::some:
      return true;
    case Stream::Outcome::ended:
      shut(Ending::peerGone, incoming_.cutOff());
      return false;
    case Stream::Outcome::failed:
      shut(Ending::system, failed("read", result.error));
      return false;
    default:
      return false;
  }
}

bool Connection::wantsWrite() const noexcept {
  if (closed()) return false;
  return output_.waitingBytes() > 0 || !log_.carrier().queue().empty() || log_.sender().hasSent() ||
         questions_.waitForIdle() || log_.receiver().owesTaken() ||
         log_.carrier().queue().hasLostChange() || guest_.hasToAsk() || host_.hasToAnswer();
}

bool Connection::flush() {
  if (closed()) return true;
  // An observer has called it: false, since what it wants to be sent is still to be sent.
  if (busy_ || Turn::anyOpen()) return false;
  Busy busy(*this);
  busy.run([&] {
    fillAndWrite();
    if (busy.gone()) return;
    output_.trim();
    charge(0);
  });
  return busy.gone() || !wantsWrite();
}

void Connection::fillAndWrite() {
  if (log_.carrier().queue().hasLostChange()) {
    throw EndingException(Ending::failed, "no memory to note what changed");
  }
  const Liveness::Watch watch(log_.turn().liveness());
  while (!closed()) {
    const bool isFilled = fill();
    if (watch.gone() || output_.waitingBytes() == 0) return;
    const bool isWritten = writeOut();
    if (writeError_) return writeFailed();
    if (!isWritten || (isFilled && !host_.owesAnswers())) return;
  }
}

// False: there is more to send than there is room for; or the connection has gone.
bool Connection::fill() {
  const Liveness::Watch watch(log_.turn().liveness());
  Sender& sender = log_.sender();
  guest_.askQueued();
  host_.answer();
  if (watch.gone()) return false;
  // A writer that is faster than its reader would never come to the end of a turn: then what is
  // dirty now is encoded once, whatever the room.
  output_.unboundedIs(sender.bytesAgain() > longTurn * limits_.outputBytes);
  bool isFilled = sendTaken() && sender.pump();
  if (watch.gone()) return false;
  if (isFilled && sender.hasSent()) {
    isFilled = control_.send(Control::turn, Beyond::nothing);
    if (isFilled) {
      sender.turnEnds();
      ++turnsSent_;
    }
  }
  output_.unboundedIs(false);
  const bool isIdle = !sender.hasSent() && log_.carrier().queue().empty();
  if (isIdle && questions_.waitForIdle() && !host_.owesAnswers()) questions_.sendWhenIdle();
  return isFilled;
}

// Tells a guest how many of its messages are applied: what is sent behind that was written in
// knowledge of them. False: there is no room.
bool Connection::sendTaken() {
  Receiver& receiver = log_.receiver();
  if (!receiver.owesTaken()) return true;
  const auto count = static_cast<uint32_t>(receiver.counters().messages);
  receiver.owesTakenIs(!control_.send(Control::taken, Beyond::nothing, count));
  return !receiver.owesTaken();
}

// False: the stream did not take all of it; writeError_ says whether it failed.
bool Connection::writeOut() {
  while (output_.waitingBytes() > 0) {
    const Stream::Result result = stream_->write(output_.waiting());
    if (result.outcome == Stream::Outcome::notNow) return false;
    if (result.outcome != Stream::Outcome::some) {
      writeError_ = result.error;
      return false;
    }
    output_.wrote(result.bytes);
    bytesSent_ += result.bytes;
  }
  return true;
}

void Connection::tick(Clock::time_point now) {
  if (closed() || incoming_.greeted()) return;
  if (greetingDue_ == Clock::time_point::min()) greetingDue_ = now + limits_.greetingTime;
  if (now < greetingDue_) return;
  sayGoodBye(Ending::greetingTime,
             "no greeting within " + std::to_string(limits_.greetingTime.count()) + " ms");
}

std::optional<Connection::Clock::time_point> Connection::due() const noexcept {
  if (closed() || incoming_.greeted()) return std::nullopt;
  return greetingDue_;
}

bool Connection::runUntil(const std::function<bool()>& done, int timeoutMilliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(timeoutMilliseconds);
  const Liveness::Watch watch(log_.turn().liveness());
  for (;;) {
    tick(Clock::now());
    if (!watch.gone()) flush();
    if (done()) return true;
    if (watch.gone() || closed() || busy_ || Turn::anyOpen()) return false;
    const auto now = Clock::now();
    if (now >= end) return false;
    const auto until = std::min(end, due().value_or(end));
    const auto left = std::max(until - now, Clock::duration::zero());
    if (const std::error_code error = wait(std::chrono::ceil<std::chrono::milliseconds>(left))) {
      shut(Ending::system, failed("poll", error));
      return false;
    }
    handleReadable();
    if (watch.gone()) return done();
  }
}

// ---------------------------------------------------------------------------------------- its end

void Connection::close(std::string_view reason) { sayGoodBye(Ending::closedHere, reason); }

void Connection::end(const std::exception& failure) {
  const Ending ending = endingOf(failure);
  try {
    std::string reason = failure.what();
    if (ending == Ending::readOnly && !host_.isWritable()) reason += ": " + host_.whyReadOnly();
    sayGoodBye(ending, reason);
  } catch (const std::bad_alloc&) {
    shut(ending, "out of memory");
  }
}

void Connection::sayGoodBye(Ending ending, std::string_view reason) {
  if (closed()) return;
  std::string why = peerText(reason);
  try {
    control_.send(Control::goodBye, Beyond::any, why);
    writeOut();
  } catch (const std::exception&) {
    // There is no memory to say it: the peer sees the end of the stream.
  }
  shut(ending, std::move(why));
}

// A peer that closes says why before it goes: what it wrote may still be waiting here when a write
// fails. The rest of it is of no use any more.
void Connection::writeFailed() {
  std::vector<uint8_t> left(incoming_.notFound().begin(), incoming_.notFound().end());
  constexpr size_t mostRead = 1024 * 1024;
  constexpr size_t readAtOnce = 64 * 1024;
  for (size_t had = left.size(); had < mostRead; had = left.size()) {
    left.resize(had + readAtOnce);
    const Stream::Result result = stream_->read(std::span(left).subspan(had));
    left.resize(had + result.bytes);
    if (result.outcome != Stream::Outcome::some) break;
  }
  for (std::span<const uint8_t> rest = left; rest.size() >= frameHeader + messageHeader;) {
    const uint32_t length = load<uint32_t>(rest.data());
    rest = rest.subspan(frameHeader);
    if (length < messageHeader || length > rest.size()) break;
    In in(rest.first(length));
    rest = rest.subspan(length);
    if (in.nextU32() != 0) continue;
    const AttributeId id = in.nextU16();
    if (id == Control::greeting.id && !incoming_.greeted()) handleGreeting(in);
    if (id == Control::goodBye.id) {
      return shut(Ending::peerClosed, "the peer closed: " + peerText(in.nextString()));
    }
  }
  shut(Ending::system, failed("write", writeError_));
}

void Connection::shut(Ending ending, std::string reason) noexcept {
  if (closed()) return;
  ending_ = ending;
  closeReason_ = std::move(reason);
  stream_->close();
  control_.close();
  incoming_.close(busy_);
  output_.release();
  host_.forget();
  guest_.forget();
  questions_.forget();
  account_.shrinkTo(held().itself);
  // Observers of mirrors that end now may destroy the connection: nothing is done behind this.
  log_.carrier().releaseAll();
}

// --------------------------------------------------------------------------------------- messages

void Connection::handleControl(AttributeId id, In in) {
  switch (id) {
    case Control::greeting.id:
      return handleGreeting(in);
    case Control::goodBye.id: {
      const std::string reason =
          "the peer closed: " + peerText(std::get<0>(Control::goodBye.read(in)));
      // Mirrors may end with the connection, and their observers destroy it.
      return log_.turn().callOut([&] { shut(Ending::peerClosed, reason); });
    }
    case Control::askMounts.id:
      Control::askMounts.read(in);
      return host_.teller().listIsDue();
    case Control::someMounts.id:
    case Control::mounts.id:
      return guest_.roots().handleListed(in, id == Control::mounts.id);
    case Control::root.id:
      return guest_.handleRoot(in);
    case Control::mount.id:
      return host_.handleMount(in);
    case Control::mounted.id:
      return guest_.handleMounted(in);
    case Control::refused.id:
      return requests_.refusedIs(peerText(std::get<0>(Control::refused.read(in))));
    case Control::create.id:
      return host_.handleCreate(in);
    case Control::createWith.id:
      return host_.handleCreateWith(in);
    case Control::remove.id:
      return host_.handleRemove(in);
    case Control::followMounts.id:
      Control::followMounts.read(in);
      return host_.teller().follow();
    case Control::unmounted.id:
      return guest_.handleUnmounted(in);
    case Control::readOnly.id:
      return guest_.handleReadOnly(in);
    case Control::askStatus.id:
      Control::askStatus.read(in);
      if (!questions_.answerStatus()) host_.refuse("no status is told here");
      return;
    case Control::status.id:
      return questions_.handleStatus(in);
    case Control::turn.id:
      Control::turn.read(in);
      incoming_.turnEnds();
      return guest_.turnEnds();
    case Control::ping.id:
      return questions_.handlePing(in);
    case Control::pong.id:
      return questions_.handlePong(in);
    case Control::taken.id:
      return log_.takenIs(std::get<0>(Control::taken.read(in)));
    default:
      ++unknownControls_;
  }
}

void Connection::handleGreeting(In& in) {
  if (incoming_.greeted()) throw StreamException("a second greeting");
  readGreeting(in, "the peer");
  incoming_.greetedIs();
}

bool Connection::onlyListens() const noexcept {
  return !host_.isWritable() && !requests_.anyMade() && !guest_.roots().anyAsked() &&
         !host_.mounts().anyWritable();
}

bool Connection::fillsOnly() const noexcept {
  return guest_.fillsAllOf(guest_.everMounted() + host_.everMounted());
}

// ----------------------------------------------------------------------------------- what it holds

Held Connection::held() const noexcept {
  Held held;
  held.itself = sizeof(Connection) + sizeof(Turn);
  held.input = incoming_.bytes();
  held.output = output_.bytes();
  held.entities = log_.carrier().bytes();
  held.requests = host_.requestBytes();
  return held;
}

void Connection::budgetIs(Budget& budget) {
  if (closed()) return;
  log_.carrier().bytesAllowedIs(0);
  try {
    account_.open(budget, held().sum());
  } catch (const EndingException& full) {
    sayGoodBye(full.ending(), full.what());
  }
}

void Connection::charge(size_t more) {
  if (!account_.isOpen()) return;
  account_.chargedIs(held().sum() + more);
  log_.carrier().bytesAllowedIs(log_.carrier().bytes());
}

Figures Connection::figures() const {
  Figures figures;
  const auto addMounts = [&](MountSide side) {
    return [&, side](const std::string& path, bool readOnly) {
      figures.mounts.push_back({path, side, readOnly});
    };
  };
  host_.mounts().forEach(addMounts(MountSide::host));
  guest_.forEachMount(addMounts(MountSide::guest));
  const Numbers& numbers = log_.carrier().numbers();
  figures.entities = numbers.count();
  figures.flows = numbers.flowCount();
  numbers.forEachFlow([&](const FlowOut& flow) {
    const FlowOut::Dirty dirty = flow.dirty();
    figures.dirty.attributes += dirty.attributes;
    figures.dirty.keys += dirty.keys;
  });
  figures.bytesHeld = log_.carrier().queue().heldBytes();
  figures.bytesWaiting = output_.waitingBytes();
  figures.messagesSent = log_.sender().messages();
  const Receiver::Counters& received = log_.receiver().counters();
  figures.messagesReceived = received.messages;
  figures.unknownEntities = received.unknownEntities;
  figures.unknownAttributes = received.unknownAttributes;
  figures.unknownControls = unknownControls_;
  figures.bytesSent = bytesSent_;
  figures.bytesReceived = incoming_.bytesReceived();
  figures.turnsSent = turnsSent_;
  figures.turnsReceived = incoming_.turns();
  figures.refused = host_.refused();
  return figures;
}

}  // namespace Tovo::NboAttrLog
