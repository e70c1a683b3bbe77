// How control messages come into the output.
#pragma once

#include <cstdint>

#include "Mirror/control/Messages.h"
#include "Mirror/wire/Ending.h"
#include "Mirror/wire/Output.h"

namespace Tovo::NboAttrLog {

/// What a control message may take beyond the bound of the output.
enum class Beyond : uint8_t {
  nothing,  ///< where there is no room it is not sent
  answers,  ///< so much as answers may; then the peer asks and does not read
  any,      ///< of this side's own
};

/// Part of a connection.
class ControlSender {
 public:
  ControlSender(Output& output, size_t answerBytes) noexcept
      : output_(output), answerBytes_(answerBytes) {}
  ControlSender(const ControlSender&) = delete;
  ControlSender& operator=(const ControlSender&) = delete;

  /// False: there was no room, or the connection has ended; it was not sent. Throws
  /// EndingException when a peer does not read the answers to what it asks.
  template <class... Fields>
  bool send(const Control::Message<Fields...>& message, Beyond beyond,
            const typename Fields::View&... values) {
    if (closed_) return false;
    const size_t size = message.size(values...);
    uint8_t* const payload = begin(size, message.id, beyond);
    if (!payload) return false;
    Out out({payload, size});
    message.write(out, values...);
    output_.end(size);
    return true;
  }
  /// Half of the output at least is free, which is what answers wait for.
  bool hasRoomToAnswer() const noexcept { return 2 * output_.waitingBytes() < output_.bound(); }
  /// From now on nothing is sent.
  void close() noexcept { closed_ = true; }

 private:
  uint8_t* begin(size_t size, AttributeId id, Beyond beyond) {
    if (uint8_t* const payload = output_.begin(size, 0, id)) return payload;
    if (beyond == Beyond::nothing) return nullptr;
    if (beyond == Beyond::answers && output_.waitingBytes() > output_.bound() + answerBytes_) {
      throw EndingException(Ending::unread, "the peer does not read the answers to what it asks");
    }
    return output_.beginBeyond(size, 0, id);
  }

  Output& output_;
  size_t answerBytes_;
  bool closed_ = false;
};

}  // namespace Tovo::NboAttrLog
