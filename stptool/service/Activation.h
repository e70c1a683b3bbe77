// Sockets that a service manager has opened for this process.
#pragma once

#include <string>
#include <vector>

namespace stptool {

struct PassedSocket {
  int fd;
  std::string name;  ///< as the manager calls it; "unknown" when it says nothing
};

/// What LISTEN_FDS, LISTEN_PID and LISTEN_FDNAMES of the environment hand to this process; nothing
/// without them, or when they are meant for another process. The descriptors are closed on exec
/// from now on and belong to the caller. Throws std::runtime_error when the variables make no
/// sense or name what is not open.
std::vector<PassedSocket> passedSockets();

}  // namespace stptool
