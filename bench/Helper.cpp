#include "Helper.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace Bench {

std::string outputOf(const char* program, const char* argument) {
  char self[4096];
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self);
  std::string command(self, length > 0 ? static_cast<size_t>(length) : 0);
  command.erase(command.rfind('/') + 1);
  command = "'" + command + program + "' " + argument;
  char line[256] = "";
  if (std::FILE* output = ::popen(command.c_str(), "r")) {
    if (!std::fgets(line, sizeof line, output)) line[0] = '\0';
    ::pclose(output);
  }
  return line;
}

double processorSeconds() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

}  // namespace Bench
