// What a request to mount counts while it waits for its answer, at both ends.
#pragma once

#include <cstddef>
#include <string>

namespace Tovo::NboAttrLog {

/// In bytes; see docs/wire.md.
inline size_t requestCost(const std::string& path) noexcept { return 64 + path.size(); }

}  // namespace Tovo::NboAttrLog
