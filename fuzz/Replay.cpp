// Drives a fuzzer's function where there is no fuzzing engine: runs every input that it is given,
// then so many random changes of them. The changes are the same in every run.
//
//   fuzz_NAME [-changes=N] FILE-OR-FOLDER...
#include <unistd.h>
#include <csignal>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace {

namespace fs = std::filesystem;

struct Input {
  std::string name;
  std::string bytes;
};

// What runs at the moment, for the report of a crash.
std::string running;
std::string runningBytes;
constexpr const char* failedFile = "fuzz-failed-input";

void run(std::string name, std::string bytes) {
  running = std::move(name);
  runningBytes = std::move(bytes);
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(runningBytes.data()),
                         runningBytes.size());
}

void keepInput() {
  if (running.empty()) return;  // what is found at the end is of no single one
  std::fprintf(stderr, "\n%s has failed; the input is kept in %s\n", running.c_str(), failedFile);
  std::ofstream(failedFile, std::ios::binary) << runningBytes;
}

extern "C" void reportCrash(int signal) {
  std::fprintf(stderr, "\nsignal %d", signal);
  keepInput();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

// A sanitizer reports what it finds, crashes too, and ends the process itself.
void reportFailures() {
  std::vector<int> signals{SIGABRT, SIGALRM};
  if (__sanitizer_set_death_callback) {
    __sanitizer_set_death_callback(&keepInput);
  } else {
    signals.insert(signals.end(), {SIGSEGV, SIGBUS, SIGFPE, SIGILL});
  }
  for (const int signal : signals) std::signal(signal, &reportCrash);
}

std::vector<Input> inputsAt(const fs::path& place) {
  std::vector<fs::path> files;
  if (fs::is_directory(place)) {
    for (const auto& entry : fs::directory_iterator(place)) files.push_back(entry.path());
  } else {
    files.push_back(place);
  }
  std::sort(files.begin(), files.end());
  std::vector<Input> inputs;
  for (const fs::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
      std::fprintf(stderr, "%s cannot be read\n", file.c_str());
      std::exit(2);
    }
    inputs.push_back({file.string(), std::string(std::istreambuf_iterator<char>(in), {})});
  }
  return inputs;
}

class Changes {
 public:
  explicit Changes(const std::vector<Input>& inputs) : inputs_(inputs) {}

  std::string next() {
    std::string bytes = any();
    for (size_t count = 1 + below(4); count > 0; --count) change(bytes);
    return bytes;
  }

 private:
  size_t below(size_t bound) { return static_cast<size_t>(random_() % bound); }
  const std::string& any() { return inputs_[below(inputs_.size())].bytes; }

  void change(std::string& bytes) {
    const size_t at = below(bytes.size() + 1);
    const size_t length = std::min(1 + below(16), bytes.size() - at);
    switch (below(5)) {
      case 0:
        if (at < bytes.size()) bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
        break;
      case 1:
        bytes.insert(at, 1, static_cast<char>(below(256)));
        break;
      case 2:
        bytes.erase(at, length);
        break;
      case 3:
        bytes.insert(below(bytes.size() + 1), bytes.substr(at, length));
        break;
      default: {
        const std::string& other = any();
        const size_t from = below(other.size() + 1);
        bytes.replace(at, length, other.substr(from, below(64)));
      }
    }
  }

  const std::vector<Input>& inputs_;
  std::mt19937_64 random_{1};
};

}  // namespace

int main(int argc, char** argv) {
  constexpr const char* changesOption = "-changes=";
  size_t changes = 0;
  std::vector<Input> inputs;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument.starts_with(changesOption)) {
      changes = std::strtoull(argv[i] + std::strlen(changesOption), nullptr, 10);
      continue;
    }
    std::vector<Input> more = inputsAt(argument);
    std::move(more.begin(), more.end(), std::back_inserter(inputs));
  }
  if (inputs.empty()) {
    std::fprintf(stderr, "usage: %s [-changes=N] FILE-OR-FOLDER...\n", argv[0]);
    return 2;
  }
  reportFailures();
  constexpr unsigned patienceSeconds = 20;  // for one input
  for (const Input& input : inputs) {
    ::alarm(patienceSeconds);
    run(input.name, input.bytes);
  }
  Changes changed(inputs);
  for (size_t i = 0; i < changes; ++i) {
    ::alarm(patienceSeconds);
    run("change " + std::to_string(i), changed.next());
  }
  running.clear();
  std::fprintf(stderr, "%zu inputs and %zu changes of them\n", inputs.size(), changes);
  return 0;
}
