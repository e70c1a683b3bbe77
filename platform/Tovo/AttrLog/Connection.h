// An attribute log over a pair of file descriptors.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Tovo/AttrLog/StreamAdapter.h"
#include "Tovo/Directory.h"

namespace Tovo::NboAttrLog {

/// Bounds for what a peer may make this process hold.
struct Limits {
  size_t outputBytes = 64 * 1024;          ///< what waits to be written, at most
  size_t messageBytes = 16 * 1024 * 1024;  ///< one message
  size_t turnBytes = 256 * 1024 * 1024;  ///< one turn of the peer, which is held until it is whole
  size_t entities = 16 * 1024 * 1024;    ///< that one connection carries
};

/// One peer. Sockets, pipes, terminals: whatever can be read and written without blocking; sets
/// the descriptors non-blocking, owns and closes them. Never blocks and starts no thread: the
/// process calls it from its own loop when a descriptor is ready.
///
/// Both ends greet each other with the protocol's version and their module records; a difference
/// ends the connection with its reason in words, at both ends. Nothing that a peer sends does more
/// than end its own connection.
///
/// What is changed here between two calls of flush is one turn: the peer applies and publishes it
/// together, and what it has of it when the stream ends is dropped. Only while every mount of a
/// connection is filled for the first time it is applied as it arrives.
///
/// Observers of what a connection applies may do anything but run the loop: flush and
/// handleReadable of any connection do nothing then, and are to be called again afterwards.
///
/// The directory must outlive the connection. A process that writes to pipes ignores SIGPIPE.
class Connection : public StreamAdapter {
 public:
  Connection(int fd, Directory& directory, Limits limits = {});
  Connection(int readFd, int writeFd, Directory& directory, Limits limits = {});
  ~Connection() override;

  // --- the loop -------------------------------------------------------------------------------

  int readFd() const noexcept { return readFd_; }
  int writeFd() const noexcept { return writeFd_; }
  /// Something waits to be written: call flush when the descriptor takes it.
  bool wantsWrite() const noexcept {
    return outputWaiting() > 0 || !idle() || turnOpen_ || !whenIdle_.empty() || owesTaken_;
  }
  /// Bytes that wait for the descriptor.
  size_t outputWaiting() const noexcept {
    return static_cast<size_t>(room_ - out_.data()) - outStart_;
  }
  /// Reads what is there and applies the turns that are whole. Errors close the connection.
  void handleReadable();
  /// Turns what is dirty into messages and writes them as far as the descriptor takes them.
  /// True when nothing is left to write. Errors close the connection.
  bool flush();
  /// handleReadable and flush until nothing is left to do, waiting at most so long for the peer;
  /// true when `done` holds. For tools and tests that have nothing else to do.
  bool runUntil(const std::function<bool()>& done, int timeoutMilliseconds);

  bool closed() const noexcept { return readFd_ < 0; }
  /// Why it closed, one printable line; "end of stream" when the peer just went.
  const std::string& closeReason() const noexcept { return closeReason_; }
  /// Tells the peer why, if there is room, and closes.
  void close(std::string_view reason);

  // --- the host's side ------------------------------------------------------------------------

  /// Whether the peer may mount what this process has, and write to it. Default: both.
  void servesIs(bool serves, bool writable) noexcept {
    serves_ = serves;
    writable_ = writable;
  }

  // --- the guest's side -----------------------------------------------------------------------

  /// The greeting of the peer has arrived.
  bool greeted() const noexcept { return greeted_; }

  struct RemoteMount {
    std::string path;
    std::string type;
  };
  /// Asks what the peer has mounted; the answer replaces remoteMounts and adds one to listings.
  void askMounts();
  const std::vector<RemoteMount>& remoteMounts() const noexcept { return remoteMounts_; }
  uint32_t listings() const noexcept { return listings_; }

  /// Mirrors the peer's entity at a path (mounted there, or anything below what is mounted) into
  /// the directory, at the same path. An entity that is there already, of the same type and
  /// constructor parameters, is brought up to date; another one is replaced. A refusal of the peer
  /// lands in refusals, and the connection stays.
  void mount(std::string_view path, bool readOnly);
  /// Asks the peer to create a root entity by the name of its type.
  void create(std::string_view path, std::string_view typeName);
  /// Mounts that were answered with an entity whose first transfer is complete.
  uint32_t synced() const noexcept { return synced_; }
  /// What the peer refused, in its words, the oldest first.
  const std::vector<std::string>& refusals() const noexcept { return refusals_; }

  /// A question to which the peer answers when everything before it is applied and everything that
  /// followed from it is on its way here: pongs() is then the number returned.
  uint32_t ping();
  uint32_t pongs() const noexcept { return pongs_; }
  /// Complete turns of the peer that were applied.
  uint64_t turns() const noexcept { return turns_; }

  bool allowWriteFromReadOnlyRemote(const Entity& entity, AttributeId attribute) override;

 protected:
  bool makeRoom(size_t bytes) override;

 private:
  void sendGreeting();
  template <class Write>
  bool sendControl(AttributeId id, size_t size, const Write& write, bool always = true);
  void sendText(AttributeId id, std::string_view text);
  bool readSome();
  void applyArrived();
  void applyFrames(size_t end);
  bool fillsOnly() const noexcept { return filling_ > 0 && filling_ == roots_; }
  void handleFrame(std::span<const uint8_t> frame);
  void handleControl(AttributeId id, In in);
  void handleGreeting(In& in);
  void handleMountRequest(In& in);
  void handleMounted(In& in);
  void handleCreate(In& in);
  void sendMounts();
  void fillAndWrite();
  bool sendTaken();
  enum class Written { all, some, failed };
  Written writeOut() noexcept;
  std::string farewell(std::string reason);
  void shut(std::string reason) noexcept;

  Directory& directory_;
  Limits limits_;
  int readFd_;
  int writeFd_;
  // Input: what is applied, the frames of a turn that is not whole yet, bytes to look at, room.
  //   0 ... inStart_ ... inScanned_ ... inEnd_ ... size
  std::vector<uint8_t> in_;
  size_t inStart_ = 0;
  size_t inScanned_ = 0;
  size_t inEnd_ = 0;
  // Output, which ends at room_.
  std::vector<uint8_t> out_;
  size_t outStart_ = 0;
  std::string closeReason_;
  std::vector<RemoteMount> remoteMounts_;
  std::vector<std::string> refusals_;
  std::map<std::string, bool, std::less<>> asked_;  // mounts: path, read-only
  // Pings and pongs that go out behind everything that is dirty: message id and number.
  std::vector<std::pair<AttributeId, uint32_t>> whenIdle_;
  uint64_t turns_ = 0;
  uint32_t listings_ = 0;
  uint32_t mountsOpen_ = 0;
  uint32_t synced_ = 0;
  uint32_t pings_ = 0;
  uint32_t pongs_ = 0;
  uint32_t requests_ = 0;  // of this side that may be refused
  uint32_t roots_ = 0;     // that were ever mounted over this connection
  uint32_t filling_ = 0;   // of them, made here and not complete yet
  bool busy_ = false;      // in flush or handleReadable, which do not nest
  bool greeted_ = false;
  bool serves_ = true;
  bool writable_ = true;
  bool isSocket_ = true;
  bool unlimited_ = false;  // the turn is completed whatever the room
};

}  // namespace Tovo::NboAttrLog
