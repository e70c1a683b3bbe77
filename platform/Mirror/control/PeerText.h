// What somebody else wrote, for people to read.
#pragma once

#include <string>
#include <string_view>

#include "Tovo/Printable.h"

namespace Tovo::NboAttrLog {

/// One printable line: at most 4096 bytes of it.
inline std::string peerText(std::string_view text) {
  constexpr size_t longest = 4096;
  return printable(text.substr(0, longest));
}

}  // namespace Tovo::NboAttrLog
