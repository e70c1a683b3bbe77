// What both ends of a connection ask each other beside trees.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Mirror/control/ControlSender.h"
#include "Mirror/control/Requests.h"
#include "Mirror/log/OwnTurn.h"

namespace Tovo::NboAttrLog {

/// Pings, and how a process is. Part of a connection.
class Questions {
 public:
  /// At most so many pings of the peer wait for their answer.
  Questions(ControlSender& control, OwnTurn& turn, Requests& requests, size_t mostPings) noexcept
      : control_(control), turn_(turn), requests_(requests), mostPings_(mostPings) {}
  Questions(const Questions&) = delete;
  Questions& operator=(const Questions&) = delete;

  /// A question to which the peer answers when everything before it is applied and everything that
  /// followed from it is on its way here: pongs() is then the number returned.
  uint32_t ping();
  uint32_t pongs() const noexcept { return pongs_; }

  /// What `status` answers to a peer that asks how this process is: a text that the process makes
  /// each time. Without a provider such a question is refused. It may do anything, also destroy the
  /// connection.
  using StatusProvider = std::function<std::string()>;
  void statusProviderIs(StatusProvider provider) { statusProvider_ = std::move(provider); }
  /// Asks how the peer is; the answer replaces remoteStatus and adds one to statuses.
  void askStatus();
  const std::string& remoteStatus() const noexcept { return remoteStatus_; }
  uint32_t statuses() const noexcept { return statuses_; }

 private:
  friend class Connection;

  /// Pings and pongs go out behind everything that is dirty.
  bool waitForIdle() const noexcept { return !whenIdle_.empty(); }
  void sendWhenIdle();
  void handlePing(In& in);
  void handlePong(In& in);
  /// False: there is nobody who knows how this process is.
  bool answerStatus();
  void handleStatus(In& in);
  void forget() noexcept { whenIdle_.clear(); }

  ControlSender& control_;
  OwnTurn& turn_;
  Requests& requests_;
  const size_t mostPings_;
  StatusProvider statusProvider_;
  std::string remoteStatus_;
  struct Due {
    bool isPong;
    uint32_t number;
  };
  std::vector<Due> whenIdle_;
  uint32_t statuses_ = 0;
  uint32_t statusesAsked_ = 0;
  uint32_t pings_ = 0;
  uint32_t pongs_ = 0;
};

}  // namespace Tovo::NboAttrLog
