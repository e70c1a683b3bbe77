#include "agents/service/StandardStreams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

namespace service {

void occupyClosedStreams() noexcept {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    const int unusable = fd == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    // The lowest number that is free is this one.
    if (::fcntl(fd, F_GETFD) < 0) (void)::open("/dev/null", unusable);
  }
}

}  // namespace service
