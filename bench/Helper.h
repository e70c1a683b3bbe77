// The small programs that stand beside stp_bench.
#pragma once

#include <string>

namespace Bench {

/// The first line that a program in this one's folder prints; empty when it does not run.
std::string outputOf(const char* program, const char* argument);

}  // namespace Bench
