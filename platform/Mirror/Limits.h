// Bounds for what a peer may make this process hold.
#pragma once

#include <chrono>
#include <cstddef>

namespace Tovo::NboAttrLog {

/// Of one connection.
struct Limits {
  size_t outputBytes = 64 * 1024;          ///< what waits to be written, at most
  size_t messageBytes = 16 * 1024 * 1024;  ///< one message
  /// One message of a peer that has not greeted yet, or has nothing to tell: it may not write, and
  /// was asked for nothing.
  size_t requestBytes = 64 * 1024;
  size_t turnBytes = 256 * 1024 * 1024;  ///< one turn of the peer, which is held until it is whole
  size_t entities = 16 * 1024 * 1024;    ///< that one connection carries
  size_t nesting = 64;                   ///< elements below elements, from a mount down
  size_t pings = 1024;                   ///< of the peer that wait for their answer
  /// What answers may take beyond outputBytes before it is clear that the peer does not read.
  size_t answerBytes = 64 * 1024;
  /// Requests of the peer to mount something that wait for room for their answers: their paths, and
  /// 64 bytes for each.
  size_t requestsBytes = 1024 * 1024;
  /// From the first tick until the peer's greeting has arrived.
  std::chrono::milliseconds greetingTime{10000};
};

}  // namespace Tovo::NboAttrLog
