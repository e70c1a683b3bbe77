// A mirror that serves.
#pragma once

#include <string>

/// Mirrors all that is served at one socket and serves it, read-only, at another one, until SIGTERM
/// ends the process. Begins to listen when the mirror is complete. Returns only in trouble.
int relay(const std::string& from, const std::string& to);
