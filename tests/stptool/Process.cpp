#include "Process.h"

#include <fcntl.h>
#include <grp.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

constexpr auto patience = std::chrono::seconds(30);
constexpr auto nap = std::chrono::milliseconds(10);

[[noreturn]] void become(std::string program, const std::vector<std::string>& arguments,
                         const std::string& out, const std::string& err,
                         const std::optional<Tool::User>& user) {
  std::vector<char*> argv;
  argv.push_back(program.data());
  std::vector<std::string> copies = arguments;
  for (std::string& argument : copies) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const int in = ::open("/dev/null", O_RDONLY);
  const int outFd = ::open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int errFd = ::open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // does not outlive a test that crashes
  if (::dup2(in, 0) < 0 || ::dup2(outFd, 1) < 0 || ::dup2(errFd, 2) < 0) _exit(126);
  if (user && (setgroups(0, nullptr) != 0 || setgid(user->gid) != 0 || setuid(user->uid) != 0)) {
    _exit(125);
  }
  unsetenv("STP_SOCKET");
  setenv("STPTOOL", STPTOOL, 1);
  execv(argv[0], argv.data());
  _exit(127);
}

}  // namespace

TemporaryFolder::TemporaryFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "stptool-XXXXXX").string();
  if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder");
  path_ = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& text) const {
  std::ofstream(file(name), std::ios::binary) << text;
  return file(name);
}

std::string readFile(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  std::ostringstream text;
  text << stream.rdbuf();
  return text.str();
}

std::vector<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

Tool::Tool(const std::vector<std::string>& arguments, const std::optional<User>& user) {
  start(user ? user->program : STPTOOL, arguments, user);
}

Tool::Script Tool::into(const std::string& out, const std::vector<std::string>& arguments) {
  std::string command = "exec \"$STPTOOL\"";
  for (const std::string& argument : arguments) command += " '" + argument + "'";
  return {command + " >'" + out + "'"};
}

Tool::Tool(const Script& script) { start("/bin/bash", {"-c", script.text}, {}); }

void Tool::start(const std::string& program, const std::vector<std::string>& arguments,
                 const std::optional<User>& user) {
  const std::string out = folder_.write("out", "");
  const std::string err = folder_.write("err", "");
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error("cannot fork");
  if (pid_ == 0) become(program, arguments, out, err, user);
}

Tool::~Tool() {
  if (pid_ < 0) return;
  signal(SIGKILL);
  waitpid(pid_, nullptr, 0);
}

std::string Tool::out() const { return readFile(folder_.file("out")); }
std::string Tool::err() const { return readFile(folder_.file("err")); }

void Tool::signal(int number) const {
  if (pid_ > 0) kill(pid_, number);
}

bool Tool::says(const std::string& text) { return waitFor("out", text); }
bool Tool::complains(const std::string& text) { return waitFor("err", text); }

bool Tool::waitFor(const std::string& file, const std::string& text) {
  const auto until = std::chrono::steady_clock::now() + patience;
  while (std::chrono::steady_clock::now() < until) {
    // Asked before reading: what it said last is still seen.
    const bool ended = pid_ < 0 || waitpid(pid_, &status_, WNOHANG) == pid_;
    if (ended) pid_ = -1;
    if (readFile(folder_.file(file)).find(text) != std::string::npos) return true;
    if (ended) return false;
    std::this_thread::sleep_for(nap);
  }
  return false;
}

Ended Tool::end() {
  const auto until = std::chrono::steady_clock::now() + patience;
  while (pid_ > 0) {
    if (waitpid(pid_, &status_, WNOHANG) == pid_) pid_ = -1;
    if (pid_ > 0 && std::chrono::steady_clock::now() > until) signal(SIGKILL);
    if (pid_ > 0) std::this_thread::sleep_for(nap);
  }
  const int code = WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_);
  return {code, out(), err()};
}

Ended Tool::stop() {
  signal(SIGTERM);
  return end();
}

Ended runTool(const std::vector<std::string>& arguments) { return Tool(arguments).end(); }
