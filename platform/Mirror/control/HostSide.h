// What this end lets its peer mirror, write, create and remove.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "Mirror/control/ControlSender.h"
#include "Mirror/control/HostMounts.h"
#include "Mirror/control/RootTeller.h"
#include "Mirror/log/StreamAdapter.h"
#include "Tovo/Directory.h"

namespace Tovo::NboAttrLog {

/// Part of a connection: as a host it answers what its peer, the guest, asks. Answers wait until
/// there is room for them.
class HostSide {
 public:
  /// Requests that wait take `mostRequestBytes` at most, at requestCost() each.
  HostSide(Directory& directory, StreamAdapter& log, ControlSender& control,
           size_t mostRequestBytes);
  HostSide(const HostSide&) = delete;
  HostSide& operator=(const HostSide&) = delete;

  /// Whether the peer may mount what this process has, and write to it. Default: both. A peer that
  /// asks for more gets a read-only mount and is told why in the words of `whyReadOnly`.
  void servesIs(bool serves, bool writable, std::string whyReadOnly = "it is served read-only");
  bool isWritable() const noexcept { return writable_; }
  const std::string& whyReadOnly() const noexcept { return whyReadOnly_; }
  /// Requests of the peer that were refused.
  uint64_t refused() const noexcept { return refused_; }
  const HostMounts& mounts() const noexcept { return mounts_; }
  /// That requests take which wait for room to answer.
  size_t requestBytes() const noexcept { return requestBytes_; }

 private:
  friend class Connection;

  struct MountRequest {
    std::string path;
    bool readOnly;
  };
  struct Gone {
    std::string path;
    bool wasRoot;
  };

  /// Answers and what else the peer is to be told of roots, in as much of the output as is theirs.
  void answer();
  bool owesAnswers() const noexcept {
    return !gone_.empty() || !mountRequests_.empty() || teller_.owes();
  }
  bool hasToAnswer() const noexcept { return owesAnswers() || mounts_.mayHaveLost(); }
  void refuse(std::string_view reason);
  void handleMount(In& in);
  void handleCreate(In& in);
  void handleCreateWith(In& in);
  void handleRemove(In& in);
  RootTeller& teller() noexcept { return teller_; }
  uint32_t everMounted() const noexcept { return everMounted_; }
  void forget() noexcept;

  bool takesRoots() const noexcept { return serves_ && writable_ && !directory_.rootsAreFixed(); }
  void tellGone();
  void answerMount(const MountRequest& request);
  void refuseMount(const std::string& path, std::string_view reason);
  void mountHere(const MountRequest& request, Entity& entity);

  Directory& directory_;
  StreamAdapter& log_;
  ControlSender& control_;
  const size_t mostRequestBytes_;
  HostMounts mounts_;
  RootTeller teller_;
  std::deque<Gone> gone_;  // and the peer is to be told
  std::deque<MountRequest> mountRequests_;
  size_t requestBytes_ = 0;
  std::string whyReadOnly_;
  uint64_t refused_ = 0;
  uint32_t everMounted_ = 0;
  bool serves_ = true;
  bool writable_ = true;
};

}  // namespace Tovo::NboAttrLog
