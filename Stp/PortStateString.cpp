#include "Stp/PortStateString.h"

namespace Stp {

const char* portStateString(PortState state) noexcept {
  switch (state) {
    case PortState::discarding:
      return "discarding";
    case PortState::learning:
      return "learning";
    case PortState::forwarding:
      return "forwarding";
  }
  return "unknown";
}

}  // namespace Stp
