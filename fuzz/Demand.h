// What must hold, or the input has found a fault.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

inline void demand(bool holds, const char* what = "", const std::string& where = {}) {
  if (holds) return;
  std::fprintf(stderr, "it does not hold that %s %s\n", what, where.c_str());
  std::abort();
}

}  // namespace fuzz
