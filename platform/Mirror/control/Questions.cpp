#include "Mirror/control/Questions.h"

#include <algorithm>

#include "Tovo/Exceptions.h"

namespace Tovo::NboAttrLog {

uint32_t Questions::ping() {
  const uint32_t number = ++pings_;
  whenIdle_.push_back({false, number});
  return number;
}

void Questions::sendWhenIdle() {
  const std::vector<Due> due = std::exchange(whenIdle_, {});
  for (const auto& [isPong, number] : due) {
    control_.send(isPong ? Control::pong : Control::ping, Beyond::answers, number);
  }
}

void Questions::handlePing(In& in) {
  const auto [number] = Control::ping.read(in);
  const auto waiting =
      std::count_if(whenIdle_.begin(), whenIdle_.end(), [](const Due& due) { return due.isPong; });
  if (static_cast<size_t>(waiting) >= mostPings_) {
    throw EndingException(Ending::pings, "too many unanswered pings");
  }
  whenIdle_.push_back({true, number});
}

void Questions::handlePong(In& in) {
  const auto [number] = Control::pong.read(in);
  // Pings are answered one by one, in their order.
  if (pongs_ == pings_ || number != pongs_ + 1) {
    throw StreamException("a pong " + std::to_string(number) + " that was not asked for");
  }
  pongs_ = number;
}

void Questions::askStatus() {
  requests_.made();
  ++statusesAsked_;
  control_.send(Control::askStatus, Beyond::any);
}

bool Questions::answerStatus() {
  if (!statusProvider_) return false;
  const StatusProvider provider = statusProvider_;
  std::string status;
  turn_.callOut([&] { status = provider(); });
  control_.send(Control::status, Beyond::answers, status);
  return true;
}

void Questions::handleStatus(In& in) {
  auto [text] = Control::status.read(in);
  if (statuses_ == statusesAsked_) throw StreamException("a status that was not asked for");
  remoteStatus_ = std::move(text);
  ++statuses_;
}

}  // namespace Tovo::NboAttrLog
