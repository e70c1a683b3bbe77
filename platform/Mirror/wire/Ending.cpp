#include "Mirror/wire/Ending.h"

#include <iterator>

namespace Tovo::NboAttrLog {

const char* endingName(Ending ending) noexcept {
  static constexpr const char* names[] = {
      "open",           "closed-here",  "peer-gone", "peer-closed", "system",   "difference",
      "greeting-time",  "message-size", "turn-size", "nesting",     "entities", "pings",
      "unread-answers", "budget",       "read-only", "malformed",   "failed",
  };
  static_assert(std::size(names) == endings);
  return names[static_cast<uint32_t>(ending)];
}

Ending endingOf(const std::exception& failure) noexcept {
  if (const auto* ending = dynamic_cast<const EndingException*>(&failure)) return ending->ending();
  if (dynamic_cast<const WriteUpdateFromReadOnlyProxyException*>(&failure)) return Ending::readOnly;
  if (dynamic_cast<const StreamException*>(&failure)) return Ending::malformed;
  return Ending::failed;
}

}  // namespace Tovo::NboAttrLog
