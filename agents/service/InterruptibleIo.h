// Files, pipes and terminals that may keep a process waiting, and signals that end the wait.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

namespace service {

// Without StopSignals these wait as the plain calls do, and a signal ends the process. With them, a
// wait ends when a signal comes, and one that begins after a signal came lasts at most two seconds
// for each time that nothing moves: the error is ECANCELED then. None of them changes the flags of
// a descriptor that it was given, so one that other processes share stays as it is; one that is
// non-blocking is waited for.

/// 0, or the number of the error; what was written before it stays written.
int writeAll(int fd, std::string_view bytes);

/// As read(); -1 with errno.
ssize_t readSome(int fd, void* room, size_t size);

/// As open() with O_CLOEXEC; -1 with errno. A FIFO is waited for until somebody has its other end.
/// While there are StopSignals the new descriptor is non-blocking; what the two above do with it is
/// the same.
int openFile(const char* path, int flags, mode_t mode = 0666);

}  // namespace service
