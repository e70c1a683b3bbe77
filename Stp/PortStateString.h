// A port state's name for logs.
#pragma once

#include "Stp/StpTypes.h"

namespace Stp {

/// "discarding", "learning", "forwarding"; "unknown" for any other number, which the attribute log
/// can deliver. Unlike stringValue it never fails.
TDL_EXPORT const char* portStateString(PortState state) noexcept;

}  // namespace Stp
