#include "Helper.h"

#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace Bench {

std::string ownFolder() {
  char self[4096];
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self);
  std::string path(self, length > 0 ? static_cast<size_t>(length) : 0);
  path.erase(path.rfind('/') + 1);
  return path;
}

std::string firstLineOf(const std::string& command) {
  char line[256] = "";
  if (std::FILE* output = ::popen(command.c_str(), "r")) {
    if (!std::fgets(line, sizeof line, output)) line[0] = '\0';
    ::pclose(output);
  }
  return line;
}

std::string outputOf(const char* program, const char* argument) {
  return firstLineOf("'" + ownFolder() + program + "' " + argument);
}

double processorSeconds() {
  timespec used{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

}  // namespace Bench
