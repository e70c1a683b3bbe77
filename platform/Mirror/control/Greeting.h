// What both ends say first: the protocol's version, and the module records of their processes.
#pragma once

#include <string_view>

#include "Mirror/control/Messages.h"

namespace Tovo::NboAttrLog {

constexpr uint32_t greetingMagic = 0x54414c31;  // "TAL1"
constexpr uint16_t protocolVersion = 1;

/// Reads the payload of a greeting. Throws StreamException when `who` ("the peer") speaks something
/// else, and EndingException when it speaks another version or has another record of a module that
/// is here, with all differences.
void readGreeting(In& in, std::string_view who);

}  // namespace Tovo::NboAttrLog
