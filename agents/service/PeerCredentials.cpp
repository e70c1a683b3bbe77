#include "agents/service/PeerCredentials.h"

#include <sys/socket.h>

#include <cerrno>

namespace service {

std::optional<PeerCredentials> peerCredentials(int fd) {
  ucred known{};
  socklen_t size = sizeof known;
  if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &known, &size) != 0) return std::nullopt;
  PeerCredentials peer{known.pid, known.uid, known.gid, std::vector<gid_t>(32)};
  for (;;) {
    size = static_cast<socklen_t>(peer.groups.size() * sizeof(gid_t));
    const int failed = ::getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, peer.groups.data(), &size);
    // Too little room: it has said how much there must be.
    const bool again = failed != 0 && errno == ERANGE;
    peer.groups.resize(failed != 0 && !again ? 0 : size / sizeof(gid_t));
    if (!again) return peer;
  }
}

}  // namespace service
