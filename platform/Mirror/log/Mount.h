// From which side a mounted tree is seen.
#pragma once

#include <cstdint>

namespace Tovo::NboAttrLog {

/// Which side of a mount an adapter is on. The host has the tree and decides; the guest mirrors it
/// and, on a writable mount, sends its own changes to the host.
enum class MountSide : uint8_t { host, guest };

/// What a mount allows, from this side's view.
struct Mount {
  MountSide side;
  bool readOnly;  ///< a host takes no writes from the guest; a guest sends none
};

}  // namespace Tovo::NboAttrLog
