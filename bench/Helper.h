// What several benchmarks need.
#pragma once

#include <string>

namespace Bench {

/// Where this program is, with a slash behind it.
std::string ownFolder();

/// The first line that a shell command prints; empty when it does not run.
std::string firstLineOf(const std::string& command);

/// The first line that a program in this one's folder prints; empty when it does not run.
std::string outputOf(const char* program, const char* argument);

/// Seconds that this process has used of a processor, whoever else is busy.
double processorSeconds();

}  // namespace Bench
