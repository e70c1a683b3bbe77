#include "Tovo/AttrLog/Connection.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "Tovo/AttrLog/Control.h"
#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

namespace {

constexpr size_t readChunk = 64 * 1024;
constexpr size_t firstOutput = 4 * 1024;
// A turn whose changes have filled the output so many times is completed in one go.
constexpr size_t longTurn = 16;

void setNonBlocking(int fd) {
  const int flags = ::fcntl(fd, F_GETFL);
  if (flags >= 0) ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
}

bool wouldBlock(int error) {
  if (error == EAGAIN) return true;
  return EAGAIN != EWOULDBLOCK && error == EWOULDBLOCK;
}

std::string tooMuch(const Budget& full) {
  return full.whose() + " would hold more than the " + std::to_string(full.most()) +
         " bytes that are allowed";
}

std::string systemError(const char* what) {
  return std::string(what) + ": " + std::generic_category().message(errno);
}

}  // namespace

Connection::Connection(int fd, Directory& directory, Limits limits)
    : Connection(fd, fd, directory, limits) {}

Connection::Connection(int readFd, int writeFd, Directory& directory, Limits limits)
    : directory_(directory), limits_(limits), readFd_(readFd), writeFd_(writeFd) {
  mostBytes_ = limits_.messageBytes;
  takenFromAnybody_ = std::min(limits_.messageBytes, limits_.requestBytes);
  nesting_ = limits_.nesting;
  mostEntities_ = limits_.entities;
  setNonBlocking(readFd_);
  if (writeFd_ != readFd_) setNonBlocking(writeFd_);
  sendGreeting();
}

Connection::~Connection() {
  shut(Ending::closedHere, "closed here");
  if (budget_) budget_->give(charged_);
}

// ---------------------------------------------------------------------------------- byte streams

// A call of flush or handleReadable, which do not nest, and may outlive their connection.
class Connection::Busy {
 public:
  explicit Busy(Connection& connection) noexcept
      : connection_(connection), watch_(connection.liveness_) {
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
      // Nothing of it is left to do.
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
    if (readSome()) applyArrived();
    if (busy.gone()) return;
    trimInput();
    charge(0);
  });
}

bool Connection::readSome() {
  if (in_.size() - inEnd_ < readChunk) {
    const size_t held = inEnd_ - inStart_;
    const size_t size =
        in_.size() - held < readChunk ? held + std::max(held / 2, readChunk) : in_.size();
    // What is read now and applied at once is not charged.
    if (held > readChunk) charge(size - in_.size());
    in_.sizeIs(size, inStart_, held);
    inScanned_ -= inStart_;
    inEnd_ -= std::exchange(inStart_, 0);
  }
  ssize_t got;
  do {
    got = ::read(readFd_, in_.data() + inEnd_, in_.size() - inEnd_);
  } while (got < 0 && errno == EINTR);
  if (got > 0) {
    inEnd_ += static_cast<size_t>(got);
    bytesReceived_ += static_cast<size_t>(got);
    return true;
  }
  if (got == 0) {
    shut(Ending::peerGone, inEnd_ > inScanned_     ? "end of stream inside a message"
                           : inScanned_ > inStart_ ? "end of stream inside a turn"
                                                   : "end of stream");
  } else if (!wouldBlock(errno)) {
    shut(Ending::system, systemError("read"));
  }
  return false;
}

// Of such a peer nothing is held: what it says is a short request, or is not allowed.
bool Connection::onlyListens() const noexcept {
  return !writable_ && requests_ == 0 && listingsAsked_ == 0 && !followsMounts_ &&
         writableMounts_ == 0;
}

void Connection::checkLength(uint32_t length) const {
  size_t most = limits_.messageBytes;
  if (length > limits_.requestBytes && (!greeted_ || onlyListens()))
    most = std::min(most, limits_.requestBytes);
  if (length >= messageHeader && length <= most) return;
  throw EndingException(Ending::messageSize, "a message of " + std::to_string(length) + " bytes; " +
                                                 std::to_string(messageHeader) + " to " +
                                                 std::to_string(most) + " are allowed");
}

// Data waits for the end of its turn, and so does what follows it until then.
void Connection::applyArrived() {
  while (inEnd_ - inScanned_ >= frameHeader) {
    const uint8_t* const frame = in_.data() + inScanned_;
    const uint32_t length = load<uint32_t>(frame);
    if (length < messageHeader || length > takenFromAnybody_) [[unlikely]]
      checkLength(length);
    if (inEnd_ - inScanned_ - frameHeader < length) break;
    const bool nothingWaits = inScanned_ == inStart_;
    inScanned_ += frameHeader + length;
    const bool isData = load<uint32_t>(frame + frameHeader) != 0;
    if (isData && greeted_) continue;
    const auto id = load<AttributeId>(frame + frameHeader + sizeof(uint32_t));
    if (isData || (!greeted_ && id != Control::greeting)) {
      throw StreamException("the first message is no greeting");
    }
    const bool endsTurn = id == Control::turn;
    const bool isLast = id == Control::goodBye;
    if (isLast) inStart_ = inScanned_ - length - frameHeader;
    if (endsTurn || isLast || nothingWaits) applyFrames(inScanned_);
    if (closed()) return;
  }
  if (inStart_ != inScanned_ && (fillsOnly() || onlyListens())) applyFrames(inScanned_);
  if (inScanned_ - inStart_ > limits_.turnBytes) {
    throw EndingException(Ending::turnSize,
                          "a turn of more than " + std::to_string(limits_.turnBytes) + " bytes");
  }
}

// What a burst took is given back.
void Connection::trimInput() {
  const size_t held = inEnd_ - inStart_;
  if (held > in_.size() / 4) return;
  if (held == 0) {
    in_.release();
  } else {
    in_.sizeIs(held, inStart_, held);
  }
  inScanned_ -= inStart_;
  inEnd_ -= std::exchange(inStart_, 0);
}

void Connection::applyFrames(size_t end) {
  if (inStart_ == end) return;
  const Liveness::Watch watch(liveness_);
  inTurn([&] {
    while (!closed() && inStart_ < end) {
      const uint8_t* const frame = in_.data() + inStart_;
      const uint32_t length = load<uint32_t>(frame);
      inStart_ += frameHeader + length;
      const std::span<const uint8_t> message(frame + frameHeader, length);
      handleFrame(message);
      if (applied_ && !closed()) tellApplied(message);
    }
  });
  if (watch.gone()) throw AdapterGone();
}

// Who is told may replace itself or destroy the connection: what is being called is held here.
void Connection::tellApplied(std::span<const uint8_t> message) {
  const std::shared_ptr<const Applied> applied = applied_;
  callOut([&] { (*applied)(message); });
}

bool Connection::flush() {
  if (closed()) return true;
  // Called by an observer: what it wants sent is still to be sent.
  if (busy_ || Turn::anyOpen()) return false;
  Busy busy(*this);
  busy.run([&] {
    fillAndWrite();
    if (busy.gone()) return;
    trimOutput();
    charge(0);
  });
  return busy.gone() || !wantsWrite();
}

void Connection::fillAndWrite() {
  if (changeLost_) throw EndingException(Ending::failed, "no memory to note what changed");
  const Liveness::Watch watch(liveness_);
  while (!closed()) {
    askQueuedMounts();
    answer();
    if (watch.gone()) return;
    // A writer that is faster than its reader would never come to the end of a turn: then what is
    // dirty now is encoded once, whatever the room.
    unlimited_ = sentAgain_ > longTurn * limits_.outputBytes;
    const bool sentAll = sendTaken() && pump();
    if (watch.gone()) return;
    if (sentAll && turnOpen_ && sendControl(Control::turn, 0, Beyond::nothing, [](Out&) {})) {
      turnOpen_ = false;
      sentAgain_ = 0;
      ++turnsSent_;
    }
    if (std::exchange(unlimited_, false)) roomEnd_ = room_;
    if (!turnOpen_ && idle() && !whenIdle_.empty() && !owesAnswers()) {
      const auto due = std::move(whenIdle_);
      whenIdle_.clear();
      for (const auto& [id, number] : due) {
        sendControl(id, sizeof number, Beyond::answers, [&, n = number](Out& out) { out << n; });
      }
    }
    if (outputWaiting() == 0) return;
    switch (writeOut()) {
      case Written::all:
        if (sentAll && !turnOpen_ && !owesAnswers()) return;
        break;
      case Written::some:
        return;
      case Written::failed: {
        Farewell last = farewell(systemError("write"));
        shut(last.ending, std::move(last.reason));
        return;
      }
    }
  }
}

// What is sent behind it was written by somebody who has seen all that the peer sent so far. False:
// no room.
bool Connection::sendTaken() {
  if (!owesTaken_) return true;
  const auto count = static_cast<uint32_t>(counters().messagesReceived);
  owesTaken_ =
      !sendControl(Control::taken, sizeof count, Beyond::nothing, [&](Out& out) { out << count; });
  return !owesTaken_;
}

Connection::Written Connection::writeOut() noexcept {
  while (outputWaiting() > 0) {
    const uint8_t* const from = out_.data() + outStart_;
    const size_t bytes = outputWaiting();
    const ssize_t sent =
        isSocket_ ? ::send(writeFd_, from, bytes, MSG_NOSIGNAL) : ::write(writeFd_, from, bytes);
    if (sent < 0) {
      if (errno == EINTR) continue;
      if (errno == ENOTSOCK && std::exchange(isSocket_, false)) continue;
      return wouldBlock(errno) ? Written::some : Written::failed;
    }
    outStart_ += static_cast<size_t>(sent);
    bytesSent_ += static_cast<size_t>(sent);
  }
  outStart_ = 0;
  room_ = out_.data();
  roomEnd_ = room_ + std::min(out_.size(), limits_.outputBytes);
  return Written::all;
}

// A peer that closes says why before it goes: what it wrote may still be waiting here when a write
// fails. The rest of it is of no use any more.
Connection::Farewell Connection::farewell(std::string reason) {
  std::vector<uint8_t> left(in_.data() + inScanned_, in_.data() + inEnd_);
  constexpr size_t mostRead = 1024 * 1024;
  for (size_t had = left.size(); had < mostRead; had = left.size()) {
    left.resize(had + readChunk);
    const ssize_t got = ::read(readFd_, left.data() + had, readChunk);
    left.resize(had + static_cast<size_t>(std::max<ssize_t>(got, 0)));
    if (got <= 0) break;
  }
  try {
    for (size_t at = 0; left.size() - at >= frameHeader + messageHeader;) {
      const uint32_t length = load<uint32_t>(left.data() + at);
      at += frameHeader;
      if (length < messageHeader || length > left.size() - at) break;
      In in({left.data() + at, length});
      at += length;
      if (in.nextU32() != 0) continue;
      const AttributeId id = in.nextU16();
      if (id == Control::greeting && !greeted_) handleGreeting(in);
      if (id == Control::goodBye) {
        return {Ending::peerClosed, "the peer closed: " + printable(in.nextString())};
      }
    }
  } catch (const std::exception& failure) {
    return {endingOf(failure), failure.what()};
  }
  return {Ending::system, std::move(reason)};
}

void Connection::tick(Clock::time_point now) {
  if (closed() || greeted_) return;
  if (greetingDue_ == Clock::time_point::min()) greetingDue_ = now + limits_.greetingTime;
  if (now < greetingDue_) return;
  sayGoodBye(Ending::greetingTime,
             "no greeting within " + std::to_string(limits_.greetingTime.count()) + " ms");
}

std::optional<Connection::Clock::time_point> Connection::due() const noexcept {
  if (closed() || greeted_) return std::nullopt;
  return greetingDue_;
}

bool Connection::runUntil(const std::function<bool()>& done, int timeoutMilliseconds) {
  const auto end = Clock::now() + std::chrono::milliseconds(timeoutMilliseconds);
  const Liveness::Watch watch(liveness_);
  for (;;) {
    tick(Clock::now());
    if (!watch.gone()) flush();
    if (done()) return true;
    if (watch.gone() || closed() || busy_ || Turn::anyOpen()) return false;
    const auto now = Clock::now();
    if (now >= end) return false;
    const auto until = std::min(end, due().value_or(end));
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - now).count();
    pollfd ready[2] = {{readFd_, POLLIN, 0}, {writeFd_, POLLOUT, 0}};
    const int watched = wantsWrite() ? 2 : 1;
    if (::poll(ready, static_cast<nfds_t>(watched), static_cast<int>(left)) < 0 && errno != EINTR) {
      shut(Ending::system, systemError("poll"));
      return false;
    }
    if (ready[0].revents != 0) handleReadable();
    if (watch.gone()) return done();
  }
}

bool Connection::makeRoom(size_t bytes) {
  if (closed()) return false;
  size_t end = outStart_ + outputWaiting();
  if (end + bytes > limits_.outputBytes && outStart_ > 0) {
    std::memmove(out_.data(), out_.data() + outStart_, end - outStart_);
    end -= std::exchange(outStart_, 0);
    room_ = roomEnd_ = out_.data() + end;
  }
  // One message larger than the whole buffer goes alone.
  if (end + bytes > limits_.outputBytes && end > 0 && !unlimited_) return false;
  if (end + bytes > out_.size()) {
    const size_t wanted = std::max({2 * out_.size(), outBefore_, firstOutput});
    growOutput(std::max(end + bytes, unlimited_ ? wanted : std::min(limits_.outputBytes, wanted)));
    end = outputWaiting();
  }
  const size_t limit = unlimited_ ? out_.size() : std::min(limits_.outputBytes, out_.size());
  room_ = out_.data() + end;
  roomEnd_ = out_.data() + std::max(end + bytes, limit);
  return true;
}

// Moves what waits to its beginning.
void Connection::growOutput(size_t size) {
  const size_t waiting = outputWaiting();
  if (size > limits_.outputBytes) charge(size - out_.size());
  out_.sizeIs(size, outStart_, waiting);
  outStart_ = 0;
  room_ = roomEnd_ = out_.data() + waiting;
}

// Where nothing waits no room is kept, but how much was needed.
void Connection::trimOutput() noexcept {
  if (outputWaiting() > 0) return;
  outBefore_ = std::min(out_.size(), limits_.outputBytes);
  out_.release();
  outStart_ = 0;
  room_ = roomEnd_ = nullptr;
}

void Connection::close(std::string_view reason) { sayGoodBye(Ending::closedHere, reason); }

void Connection::end(const std::exception& failure) {
  const Ending ending = endingOf(failure);
  try {
    std::string reason = failure.what();
    if (ending == Ending::readOnly && !writable_) reason += ": " + whyReadOnly_;
    sayGoodBye(ending, reason);
  } catch (const std::bad_alloc&) {
    shut(ending, "out of memory");
  }
}

void Connection::sayGoodBye(Ending ending, std::string_view reason) {
  if (closed()) return;
  std::string why = printable(reason);
  try {
    sendText(Control::goodBye, Beyond::any, why);
    writeOut();
  } catch (const std::exception&) {
    // No room to say it: the peer sees the end of the stream.
  }
  shut(ending, std::move(why));
}

void Connection::shut(Ending ending, std::string reason) noexcept {
  if (closed()) return;
  ending_ = ending;
  closeReason_ = std::move(reason);
  ::close(readFd_);
  if (writeFd_ != readFd_) ::close(writeFd_);
  readFd_ = -1;
  writeFd_ = -1;
  turnOpen_ = false;
  whenIdle_.clear();
  if (!busy_) in_.release();
  out_.release();
  outStart_ = 0;
  room_ = roomEnd_ = nullptr;
  inStart_ = inScanned_ = inEnd_ = 0;
  hostRoots_.clear();
  hostElements_.clear();
  guestMounts_.clear();
  toAsk_.clear();
  gone_.clear();
  mountRequests_.clear();
  requestBytes_ = 0;
  listingsOwed_ = 0;
  tellsMounts_ = false;
  if (budget_ && charged_ > held().itself) {
    budget_->give(charged_ - held().itself);
    charged_ = held().itself;
  }
  unbindAll();
}

// -------------------------------------------------------------------------------------- messages

uint8_t* Connection::startControl(AttributeId id, size_t size, Beyond beyond) {
  if (closed()) return nullptr;
  const size_t bytes = messageHeader + size;
  const size_t total = frameHeader + bytes;
  if (!needRoom(bytes)) {
    if (beyond == Beyond::nothing) return nullptr;
    // They answer the peer, and are small: they may exceed the bound, until it is clear that the
    // peer asks and does not read.
    if (beyond == Beyond::answers && outputWaiting() > limits_.outputBytes + limits_.answerBytes) {
      throw EndingException(Ending::unread, "the peer does not read the answers to what it asks");
    }
    const size_t needed = outputWaiting() + total;
    if (outStart_ + needed > out_.size()) growOutput(std::max(needed, 2 * out_.size()));
    roomEnd_ = room_ + total;
  }
  store(room_, static_cast<uint32_t>(bytes));
  store(room_ + frameHeader, uint32_t{0});
  store(room_ + frameHeader + sizeof(uint32_t), id);
  return room_ + frameHeader + messageHeader;
}

void Connection::sendText(AttributeId id, Beyond beyond, std::string_view text) {
  sendControl(id, textSize(text), beyond, [&](Out& out) { writeText(out, text); });
}

void Connection::sendGreeting() {
  sendControl(Control::greeting, greetingSize(), Beyond::any, [](Out& out) { writeGreeting(out); });
}

inline void Connection::handleFrame(std::span<const uint8_t> frame) {
  const auto id = load<uint32_t>(frame.data());
  const auto attribute = load<AttributeId>(frame.data() + sizeof id);
  In in(frame, messageHeader);
  if (id == 0) {
    handleControl(attribute, in);
    return;
  }
  applyMessage(received(id), attribute, in);
}

void Connection::handleControl(AttributeId id, In in) {
  switch (id) {
    case Control::greeting:
      return handleGreeting(in);
    case Control::goodBye: {
      const std::string reason = "the peer closed: " + printable(in.nextString());
      in.expectEnd();
      // Mirrors may end with it.
      return callOut([&] { shut(Ending::peerClosed, reason); });
    }
    case Control::askMounts:
      in.expectEnd();
      ++listingsOwed_;
      return;
    case Control::someMounts:
    case Control::mounts:
      return handleRemoteMounts(in, id == Control::mounts);
    case Control::root:
      return handleRemoteMount(in);
    case Control::mount:
      return handleMountRequest(in);
    case Control::mounted:
      return handleMounted(in);
    case Control::refused: {
      const Pelmo::String reason = in.nextString();
      in.expectEnd();
      if (refusals_.size() >= requests_) throw StreamException("a refusal of nothing");
      refusals_.push_back(printable(reason));
      return;
    }
    case Control::create:
      return handleCreate(in);
    case Control::createWith:
      return handleCreateWith(in);
    case Control::remove:
      return handleRemove(in);
    case Control::followMounts:
      in.expectEnd();
      if (!std::exchange(tellsMounts_, true)) mountsTold_ = directory_.changes();
      return;
    case Control::unmounted:
      return handleUnmounted(in);
    case Control::readOnly:
      return handleReadOnly(in);
    case Control::askStatus:
      in.expectEnd();
      return answerStatus();
    case Control::status: {
      const Pelmo::String text = in.nextString();
      in.expectEnd();
      if (statuses_ == statusesAsked_) throw StreamException("a status that was not asked for");
      remoteStatus_ = text.view();
      ++statuses_;
      return;
    }
    case Control::turn:
      in.expectEnd();
      endTurn();
      ++turns_;
      filling_ = 0;
      synced_ += std::exchange(syncing_, 0);
      return;
    case Control::ping: {
      const uint32_t number = in.nextU32();
      in.expectEnd();
      const auto waiting = std::count_if(
          whenIdle_.begin(), whenIdle_.end(),
          [](const std::pair<AttributeId, uint32_t>& due) { return due.first == Control::pong; });
      if (static_cast<size_t>(waiting) >= limits_.pings) {
        throw EndingException(Ending::pings, "too many unanswered pings");
      }
      whenIdle_.emplace_back(Control::pong, number);
      return;
    }
    case Control::pong: {
      const uint32_t number = in.nextU32();
      in.expectEnd();
      // Each is answered in its turn.
      if (pongs_ == pings_ || number != pongs_ + 1) {
        throw StreamException("a pong " + std::to_string(number) + " that was not asked for");
      }
      pongs_ = number;
      return;
    }
    case Control::taken: {
      const uint32_t count = in.nextU32();
      in.expectEnd();
      return takenIs(count);
    }
    default:
      ++counters_.unknownControls;
  }
}

void Connection::handleGreeting(In& in) {
  if (greeted_) throw StreamException("a second greeting");
  readGreeting(in, "the peer");
  greeted_ = true;
}

// --------------------------------------------------------------------------------- what it holds

Connection::Held Connection::held() const noexcept {
  Held held;
  held.itself = sizeof(Connection) + sizeof(Turn);
  held.input = in_.size();
  held.output = out_.size();
  held.entities = entityBytes();
  held.requests = requestBytes_;
  return held;
}

void Connection::budgetIs(Budget& budget) {
  if (closed()) return;
  budget_ = &budget;
  entitiesAllowed_ = 0;
  const size_t now = held().sum();
  if (const Budget* full = budget.take(now)) return sayGoodBye(Ending::budget, tooMuch(*full));
  charged_ = now;
}

// What is held, and so much more, is charged. Throws EndingException when there is no room for it.
void Connection::charge(size_t more) {
  if (!budget_) return;
  const size_t sum = held().sum() + more;
  if (sum <= charged_) {
    budget_->give(charged_ - sum);
  } else if (sum <= unasked) {
    budget_->takeAnyway(sum - charged_);
  } else if (const Budget* full = budget_->take(sum - charged_)) {
    throw EndingException(Ending::budget, tooMuch(*full));
  }
  charged_ = sum;
  entitiesAllowed_ = entityBytes();
}

void Connection::entitiesGrow() {
  constexpr size_t step = 64 * 1024;
  charge(step);
  entitiesAllowed_ += step;
}

// ---------------------------------------------------------------------------------------- figures

void Connection::askStatus() {
  ++requests_;
  ++statusesAsked_;
  sendControl(Control::askStatus, 0, Beyond::any, [](Out&) {});
}

void Connection::answerStatus() {
  if (!statusProvider_) return refuse("no status is told here");
  const StatusProvider provider = statusProvider_;
  std::string status;
  callOut([&] { status = provider(); });
  sendText(Control::status, Beyond::answers, status);
}

Connection::Figures Connection::figures() const {
  Figures figures;
  for (const HostMounts* mounts : {&hostRoots_, &hostElements_}) {
    for (const auto& [path, mount] : *mounts) {
      figures.mounts.push_back({path, MountSide::host, mount.readOnly});
    }
  }
  for (const auto& [path, mount] : guestMounts_) {
    figures.mounts.push_back({path, MountSide::guest, mount.readOnly});
  }
  figures.entities = boundCount();
  figures.flows = flowCount();
  figures.dirty = dirty();
  figures.bytesHeld = heldBytes();
  figures.bytesWaiting = outputWaiting();
  figures.messages = counters();
  figures.bytesSent = bytesSent_;
  figures.bytesReceived = bytesReceived_;
  figures.turnsSent = turnsSent_;
  figures.turnsReceived = turns_;
  figures.refused = refused_;
  return figures;
}

uint32_t Connection::ping() {
  const uint32_t number = ++pings_;
  whenIdle_.emplace_back(Control::ping, number);
  return number;
}

bool Connection::allowWriteFromReadOnlyRemote(const Entity&, AttributeId) { return false; }

}  // namespace Tovo::NboAttrLog
