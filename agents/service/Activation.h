// Sockets that a service manager has opened for this process.
#pragma once

#include <string>
#include <vector>

#include "agents/service/ListeningSocket.h"

namespace service {

struct PassedSocket {
  int fd;
  std::string name;  ///< as the manager calls it; "unknown" when it says nothing
};

/// What LISTEN_FDS, LISTEN_PID and LISTEN_FDNAMES of the environment hand to this process; nothing
/// without them, or when they are meant for another process. The descriptors are closed on exec
/// from now on and belong to the caller. Throws std::runtime_error when the variables make no
/// sense or name what is not open.
std::vector<PassedSocket> passedSockets();

/// Those, and one at a path unless it is among them or the path is empty. Throws std::runtime_error
/// as they do, and for a passed descriptor that is no listening socket.
std::vector<ListeningSocket> listeningSockets(const std::string& path, mode_t mode = 0600);

}  // namespace service
