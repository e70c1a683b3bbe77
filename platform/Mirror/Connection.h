// An attribute log over a stream: two processes mirror each other's trees.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Mirror/Account.h"
#include "Mirror/Figures.h"
#include "Mirror/Incoming.h"
#include "Mirror/Limits.h"
#include "Mirror/control/ControlSender.h"
#include "Mirror/control/GuestSide.h"
#include "Mirror/control/HostSide.h"
#include "Mirror/control/Questions.h"
#include "Mirror/control/Requests.h"
#include "Mirror/log/StreamAdapter.h"
#include "Mirror/wire/Ending.h"
#include "Mirror/wire/Output.h"
#include "Mirror/wire/Stream.h"
#include "Tovo/Directory.h"

namespace Tovo::NboAttrLog {

/// One peer. Never blocks and starts no thread: the process calls it from its own loop when
/// something can be read or written.
///
/// Both ends greet each other with the protocol's version and their module records; a difference
/// ends the connection with its reason in words, at both ends. Nothing that a peer sends does more
/// than end its own connection.
///
/// What is changed here between two calls of flush is one turn: the peer applies and publishes it
/// together, and what it has of it when the stream ends is dropped. Only while every mount of a
/// connection is filled for the first time it is applied as it arrives.
///
/// Whatever a connection calls (observers of what it applies and of mirrors that end with it, the
/// guest's observer, who takes what was applied, the provider of a status) may do anything, also
/// close or destroy the connection: what was stored by then is still published. Only the loop does
/// not run from there: while changes are applied or published, handleReadable, flush and runUntil
/// of any connection of the thread do nothing, and are to be called again afterwards.
///
/// It owns its stream and its parts; the directory must outlive it.
class Connection final : private IncomingOwner, private Holder {
 public:
  using Clock = std::chrono::steady_clock;

  Connection(std::unique_ptr<Stream> stream, Directory& directory, Limits limits = {});
  /// Over descriptors, which it owns: see DescriptorStream.
  Connection(int fd, Directory& directory, Limits limits = {});
  Connection(int readFd, int writeFd, Directory& directory, Limits limits = {});
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // --- the loop -------------------------------------------------------------------------------

  /// What poll() is to watch; -1: nothing.
  int readFd() const noexcept { return stream_->readFd(); }
  int writeFd() const noexcept { return stream_->writeFd(); }
  /// Something waits to be written: call flush when the descriptor takes it.
  bool wantsWrite() const noexcept;
  /// Reads what is there and applies the turns that are whole. Errors close the connection.
  void handleReadable();
  /// Turns what is dirty into messages and writes them as far as the stream takes them. True when
  /// nothing is left to write. Errors close the connection.
  bool flush();
  /// Tells the loop's time: what has a limit counts from the first call, and a limit that has
  /// passed closes the connection. A process that never calls it waits for a greeting without end.
  void tick(Clock::time_point now);
  /// When tick has something to do next.
  std::optional<Clock::time_point> due() const noexcept;
  /// Waits until handleReadable or flush may have something to do, at most so long. An error is
  /// that of waiting itself.
  std::error_code wait(std::chrono::milliseconds atMost) {
    return stream_->wait(wantsWrite(), atMost);
  }
  /// handleReadable and flush until nothing is left to do, waiting at most so long for the peer;
  /// true when `done` holds. For tools and tests that have nothing else to do. Where the two do
  /// nothing it only asks `done`.
  bool runUntil(const std::function<bool()>& done, int timeoutMilliseconds);

  // --- its end --------------------------------------------------------------------------------

  bool closed() const noexcept { return ending_ != Ending::none; }
  /// Why it closed, one printable line; "end of stream" when the peer just went.
  const std::string& closeReason() const noexcept { return closeReason_; }
  Ending ending() const noexcept { return ending_; }
  /// Tells the peer why, if there is room, and closes.
  void close(std::string_view reason);

  // --- its parts ------------------------------------------------------------------------------

  /// What the peer may mirror of this process.
  HostSide& host() noexcept { return host_; }
  const HostSide& host() const noexcept { return host_; }
  /// What is mirrored here of the peer.
  GuestSide& guest() noexcept { return guest_; }
  const GuestSide& guest() const noexcept { return guest_; }
  /// Pings, and how a process is.
  Questions& questions() noexcept { return questions_; }
  const Questions& questions() const noexcept { return questions_; }
  /// The turns of the peer.
  Incoming& incoming() noexcept { return incoming_; }
  const Incoming& incoming() const noexcept { return incoming_; }
  /// The entities that it carries, and how they are sent and received.
  StreamAdapter& log() noexcept { return log_; }
  const StreamAdapter& log() const noexcept { return log_; }

  // --- what it holds --------------------------------------------------------------------------

  /// Cost: constant.
  Held held() const noexcept;
  /// From now on what it holds is charged to the budget, which outlives it. Where that has no room
  /// for it, now or later, the peer is told whose budget is used up and the connection closes; but
  /// see Account::unasked. Called once.
  void budgetIs(Budget& budget);
  /// Cost: the number of entities.
  Figures figures() const;

 private:
  class Busy;

  void handleControl(AttributeId id, In in) override;
  bool onlyListens() const noexcept override;
  bool fillsOnly() const noexcept override;
  void charge(size_t more) override;

  void handleGreeting(In& in);
  bool readSome();
  void fillAndWrite();
  bool fill();
  bool sendTaken();
  bool writeOut();
  void writeFailed();
  void end(const std::exception& failure);
  void sayGoodBye(Ending ending, std::string_view reason);
  void shut(Ending ending, std::string reason) noexcept;

  const Limits limits_;
  const std::unique_ptr<Stream> stream_;
  Account account_;
  Output output_;
  StreamAdapter log_;
  Incoming incoming_;
  ControlSender control_;
  Requests requests_;
  HostSide host_;
  GuestSide guest_;
  Questions questions_;
  std::string closeReason_;
  std::error_code writeError_;
  Clock::time_point greetingDue_ = Clock::time_point::min();  // until the first tick: at once
  uint64_t bytesSent_ = 0;
  uint64_t turnsSent_ = 0;
  uint64_t unknownControls_ = 0;
  Ending ending_ = Ending::none;
  bool busy_ = false;  // in flush or handleReadable, which do not nest
};

}  // namespace Tovo::NboAttrLog
