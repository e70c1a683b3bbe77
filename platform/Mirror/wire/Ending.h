// What ends a connection.
#pragma once

#include <cstdint>
#include <string>

#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

/// The kind of the reason, for counting and for deciding what to do next; the words are the
/// connection's closeReason().
enum class Ending : uint8_t {
  none,          ///< it is open
  closedHere,    ///< this process closed it
  peerGone,      ///< the stream ended
  peerClosed,    ///< the peer said good-bye
  system,        ///< the descriptor failed
  difference,    ///< of the protocol's version or a module, found here or told by the peer
  greetingTime,  ///< no greeting in time
  messageSize,   ///< a message above the limit, in either direction
  turnSize,      ///< a turn above the limit
  nesting,       ///< elements below elements beyond the limit
  entities,      ///< more than the limit
  pings,         ///< more than the limit waited for their answer
  unread,        ///< the peer asked and did not read the answers
  budget,        ///< what several connections may hold together is used up
  readOnly,      ///< a write to a read-only mount
  malformed,     ///< anything else that cannot be read
  failed,        ///< an observer or a setter threw, or memory ran out
};
constexpr uint32_t endings = static_cast<uint32_t>(Ending::failed) + 1;

/// A few words without blanks: "message-size".
const char* endingName(Ending ending) noexcept;

/// A connection cannot go on; `ending` is not none.
class EndingException : public StreamException {
 public:
  EndingException(Ending ending, const std::string& reason)
      : StreamException(reason), ending_(ending) {}
  Ending ending() const noexcept { return ending_; }

 private:
  Ending ending_;
};

/// The kind of what was thrown while a message was handled.
Ending endingOf(const std::exception& failure) noexcept;

}  // namespace Tovo::NboAttrLog
