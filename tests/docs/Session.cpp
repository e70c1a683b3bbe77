#include "Session.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "Document.h"

namespace fs = std::filesystem;

Session::Session()
    : folder_(fs::temp_directory_path() / ("stp-session-" + std::to_string(::getpid()))) {
  fs::create_directory(folder_);
  fs::create_directory(folder_ / "here");
  fs::create_directory_symlink(ROOT "/examples", folder_ / "here" / "examples");
}

Session::~Session() { fs::remove_all(folder_); }

std::string Session::file(const char* kind, size_t index) const {
  return (folder_ / (kind + std::to_string(index))).string();
}

std::vector<Lines> Session::outputs(const std::vector<Command>& commands) const {
  std::ofstream script(folder_ / "script");
  script << "cd '" << (folder_ / "here").string() << "'\n"
         << "export PATH='" << PROGRAMS << "':\"$PATH\" LC_ALL=C.UTF-8 NO_COLOR=1\n"
         << "unset STP_SOCKET\n"
         << "end() { kill $(jobs -p) 2>/dev/null; wait; }\n"
         << "trap end EXIT\n";
  for (size_t i = 0; i < commands.size(); ++i) {
    std::ofstream(file("command", i)) << commands[i].text << '\n';
    script << ". '" << file("command", i) << "' >'" << file("output", i) << "' 2>&1 </dev/null\n";
    if (!commands[i].says || !commands[i].text.ends_with('&')) continue;
    script << "for try in $(seq 200); do [ -s '" << file("output", i)
           << "' ] || ! kill -0 $! 2>/dev/null && break; sleep 0.05; done\n";
  }
  script.close();
  const std::string run = "timeout 100 bash '" + (folder_ / "script").string() + "'";
  const int status = std::system(run.c_str());
  EXPECT_FALSE(WIFEXITED(status) && WEXITSTATUS(status) == 124) << "a command does not end";
  std::vector<Lines> all;
  for (size_t i = 0; i < commands.size(); ++i) all.push_back(trimmed(linesOf(file("output", i))));
  return all;
}

Lines trimmed(Lines lines) {
  for (std::string& line : lines) line.erase(line.find_last_not_of(' ') + 1);
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}
