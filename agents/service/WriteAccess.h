// Which processes may change what is served.
#pragma once

#include <string>
#include <vector>

#include "agents/service/PeerCredentials.h"

namespace service {

/// The user that serves and root may write, and whom the rules name.
class WriteAccess {
 public:
  explicit WriteAccess(uid_t owner);

  /// "uid:1000", "uid:admin", "gid:50" or "gid:netadmin". Throws std::invalid_argument for anything
  /// else and for names that the system does not know; nothing has changed then.
  void allow(const std::string& rule);

  bool allows(const PeerCredentials& peer) const noexcept;
  /// Why it does not: who asks, and who may.
  std::string refusal(const PeerCredentials& peer) const;

 private:
  std::vector<uid_t> users_;
  std::vector<gid_t> groups_;
};

}  // namespace service
