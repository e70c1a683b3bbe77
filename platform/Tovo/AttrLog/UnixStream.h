// Stream sockets in the file system, as a client.
#pragma once

#include <string>

namespace Tovo::NboAttrLog {

/// A non-blocking, close-on-exec descriptor that is connected to the socket at a path, to be closed
/// by the caller. Never waits: a server whose queue is full counts as one that does not answer.
/// Throws std::system_error.
int connectUnixStream(const std::string& path);

}  // namespace Tovo::NboAttrLog
