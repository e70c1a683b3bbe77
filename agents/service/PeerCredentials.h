// Who is at the other end of a Unix socket.
#pragma once

#include <sys/types.h>

#include <optional>
#include <vector>

namespace service {

/// As the system knew the process when it connected.
struct PeerCredentials {
  pid_t pid;
  uid_t uid;
  gid_t gid;
  std::vector<gid_t> groups;  ///< further ones
};

/// None for a descriptor that is no Unix socket.
std::optional<PeerCredentials> peerCredentials(int fd);

}  // namespace service
