// Unix sockets without ceremony: what fails ends the soak.
#pragma once

#include <string>

/// Takes the place of a socket that is there.
int listenAt(const std::string& path);
/// Does not block; -1 when nobody takes it.
int connectTo(const std::string& path);
