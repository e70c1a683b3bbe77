// A mirror that serves.
#pragma once

#include <string>

/// Mirrors all that is served at one socket and serves it at another one, until SIGTERM ends it.
/// Begins to listen when the mirror is complete.
void relay(const std::string& from, const std::string& to);
