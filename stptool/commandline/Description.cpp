#include "stptool/commandline/Description.h"

namespace stptool {

const std::vector<Meaning>& exitCodes() {
  static const std::vector<Meaning> codes{
      {"0", "done"},
      {"1", "refused, or something went wrong"},
      {"2", "wrong options or arguments"},
      {"3", "cannot connect: nobody answers at the socket, or not as a peer of this tool"},
      {"4", "damaged: a recording ends before its end or without a farewell, or is none"},
      {"5", "cannot write: standard output or a file, as on a full disk"},
  };
  return codes;
}

const std::vector<Meaning>& environment() {
  static const std::vector<Meaning> variables{
      {"STP_SOCKET", "stands for --socket"},
      {"LISTEN_FDS",
       "with LISTEN_PID and LISTEN_FDNAMES: sockets that a service manager passes to "
       "'serve'"},
      {"NOTIFY_SOCKET", "where 'serve' tells a service manager that it is ready, or stops"},
      {"NO_COLOR", "switches colour off; it is on only where standard output is a terminal"},
  };
  return variables;
}

}  // namespace stptool
