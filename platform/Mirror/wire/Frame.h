// How a message stands in the stream of bytes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "Tovo/AttrLog/BigEndian.h"
#include "Tovo/Types.h"

namespace Tovo::NboAttrLog {

/// A frame is the number of bytes that follow, then a message:
///
///      0               4               8       10
///      | length  (U32) | entity  (U32) | id (U16) | payload ...
///                      |<--------- length bytes ----------->|
///
/// Entity 0 is none: then the message is one of the connection itself.
constexpr size_t frameHeader = 4;
constexpr size_t messageHeader = 6;

/// The bit that says whose a number of an entity is: clear, this side's; set, the peer's. On the
/// wire it says the same of sender and receiver.
constexpr uint32_t ofPeer = 0x80000000;

/// Writes the head of a frame whose payload has so many bytes; returns where the payload begins.
inline uint8_t* putHead(uint8_t* to, size_t payload, uint32_t entity, AttributeId id) noexcept {
  store(to, static_cast<uint32_t>(messageHeader + payload));
  store(to + frameHeader, entity);
  store(to + frameHeader + sizeof entity, id);
  return to + frameHeader + messageHeader;
}

}  // namespace Tovo::NboAttrLog
