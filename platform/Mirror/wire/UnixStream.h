// Sockets in the file system: their addresses, and streams as a client.
#pragma once

#include <sys/un.h>

#include <optional>
#include <string>
#include <string_view>

namespace Tovo::NboAttrLog {

/// The address of the socket at a path; none where an address has no room for the path and a zero
/// behind it.
std::optional<sockaddr_un> unixAddress(std::string_view path) noexcept;

/// A non-blocking, close-on-exec descriptor that is connected to the socket at a path, to be closed
/// by the caller. Never waits: a server whose queue is full counts as one that does not answer.
/// Throws std::system_error.
int connectUnixStream(const std::string& path);

}  // namespace Tovo::NboAttrLog
