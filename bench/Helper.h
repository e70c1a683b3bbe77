// What several benchmarks need.
#pragma once

#include <string>

namespace Bench {

/// The first line that a program in this one's folder prints; empty when it does not run.
std::string outputOf(const char* program, const char* argument);

/// Seconds that this process has used of a processor, whoever else is busy.
double processorSeconds();

}  // namespace Bench
