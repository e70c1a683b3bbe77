// Both ends of a connection within the process.
#pragma once

#include <sys/socket.h>

#include "fuzz/Demand.h"

namespace fuzz {

struct Ends {
  Ends() { demand(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0, "there are sockets"); }
  int fds[2];
};

}  // namespace fuzz
