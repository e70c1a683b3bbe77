// soak SECONDS [SEED]: one server and a chain of two mirrors live for so long among bad clients,
// commands that are killed, stopped or lose their readers and disks, and signals. At the end the
// states, the server's memory and descriptors and every exit code are what they should be, or the
// soak fails and says which is not. The seed decides who comes when.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <set>
#include <thread>

#include "BadClients.h"
#include "Process.h"
#include "Relay.h"
#include "stptool/json/Json.h"
#include "stptool/model/ModelLibrary.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using stptool::Json;
using Arguments = std::vector<std::string>;

constexpr auto patience = std::chrono::minutes(2);  // with a machine that has other things to do
constexpr size_t mostBadClients = 100;
constexpr size_t mostVisitors = 5;
constexpr int roundMilliseconds = 10;
#ifdef __SANITIZE_ADDRESS__
constexpr const char* sanitizerOptions = ":quarantine_size_mb=1";  // what is freed is to be seen
constexpr uint64_t memoryToSpare = 64 << 20;
#else
constexpr uint64_t memoryToSpare = 16 << 20;
#endif

class SoakFailure : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One end of something that a command prints into: a pipe without a reader to be, or a terminal.
class Reader {
 public:
  static std::unique_ptr<Reader> ofPipe(const std::string& path) {
    ::unlink(path.c_str());
    if (::mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error("no FIFO");
    return std::unique_ptr<Reader>(
        new Reader(path, ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)));
  }
  static std::unique_ptr<Reader> ofTerminal() {
    const int fd = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0 || ::grantpt(fd) != 0 || ::unlockpt(fd) != 0)
      throw std::runtime_error("no terminal");
    return std::unique_ptr<Reader>(new Reader(::ptsname(fd), fd));
  }
  ~Reader() { ::close(fd_); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  const std::string& path() const noexcept { return path_; }

 private:
  Reader(std::string path, int fd) : path_(std::move(path)), fd_(fd) {}

  std::string path_;
  int fd_;
};

// A command that somebody runs for a while.
struct Visitor {
  std::string what;
  std::unique_ptr<Reader> reader;  // goes when its time is over, unless a signal ends it
  std::unique_ptr<Tool> tool;
  Clock::time_point until;
  int signal;              // that ends it; 0: it ends by itself
  std::set<int> expected;  // how
};

// A process of this program that mirrors and serves.
struct Relay {
  std::string from;
  std::string to;
  std::unique_ptr<Tool> tool;
  uint64_t starts;

  void start() {
    const std::string self = fs::read_symlink("/proc/self/exe").string();
    tool = std::make_unique<Tool>(Tool::Script{"exec '" + self + "' relay " + from + " " + to});
    ++starts;
  }
};

struct Usage {
  uint64_t bytes;
  size_t descriptors;
  std::string text() const {
    return std::to_string(bytes >> 10) + " KiB and " + std::to_string(descriptors) + " descriptors";
  }
};

// None of a process that has ended.
std::optional<Usage> usageOf(pid_t pid) {
  const std::string process = "/proc/" + std::to_string(pid);
  const std::string status = readFile(process + "/status");
  const size_t at = status.find("VmRSS:");
  if (at == std::string::npos) return std::nullopt;
  const uint64_t kilobytes = std::stoull(status.substr(at + 6));
  const auto descriptors = std::distance(fs::directory_iterator(process + "/fd"), {});
  return Usage{kilobytes << 10, static_cast<size_t>(descriptors)};
}

class Soak {
 public:
  Soak(std::chrono::seconds length, uint64_t seed)
      : length_(length),
        random_(seed),
        server_({"serve", "--socket", socket_, "--load", EXAMPLE, "--dump-at-end", file("a.json")}),
        bad_(socket_, random_) {
    if (!server_.says("serving")) throw SoakFailure("no server: " + server_.err());
    for (Relay& relay : relays_) relay.start();
    await("the chain to be there", [&] { return fs::exists(tail_); });
    watch_ = start({"watch", "--socket", tail_, "--dump-at-end", file("watch.json")}, "/dev/null");
    record_ = start({"record", "--socket", socket_, file("all.rec")});
    if (!watch_->complains("watching") || !record_->complains("recording")) {
      throw SoakFailure("no watch or no recorder: " + watch_->err() + record_->err());
    }
    fs::create_symlink("/dev/full", fullDisk_);
    other_ = file("other.json");
    std::string other = dump(socket_);
    for (size_t at; (at = other.find("\"forwarding\"")) != std::string::npos;) {
      other.replace(at, 12, "\"learning\"");
    }
    folder_.write("other.json", other);
  }

  void run() {
    const Clock::time_point start = Clock::now();
    liveUntil(start + length_ / 3);
    const Usage early = settle();
    liveUntil(start + length_);
    const Usage late = settle();
    std::cout << "server: " << early.text() << " after a third, " << late.text() << " at the end, "
              << highest_.text() << " at most\n";
    compareStates();
    report();
    if (late.descriptors != early.descriptors) fail("the server keeps descriptors");
    if (late.bytes > early.bytes + memoryToSpare) fail("the server's memory grows");
  }

  bool isFine() const noexcept { return faults_ == 0; }

 private:
  std::string file(const std::string& name) const { return folder_.file(name); }
  uint64_t upTo(uint64_t most) { return random_() % (most + 1); }

  void fail(const std::string& what) {
    ++faults_;
    std::cout << "FAULT: " << what << '\n';
  }

  template <class Condition>
  void await(const char* what, const Condition& condition) {
    const Clock::time_point end = Clock::now() + patience;
    while (!condition()) {
      if (Clock::now() > end) throw SoakFailure(std::string("waited in vain for ") + what);
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }

  // --- commands

  static std::unique_ptr<Tool> start(Arguments arguments, const std::string& out = {}) {
    if (arguments[0] != "replay") arguments.insert(arguments.begin() + 1, {"--timeout", "120"});
    return out.empty() ? std::make_unique<Tool>(arguments)
                       : std::make_unique<Tool>(Tool::into(out, arguments));
  }

  void ended(const std::string& what, const Ended& ended, const std::set<int>& expected = {0}) {
    ++codes_[what][ended.code];
    if (expected.count(ended.code) != 0) return;
    fail(what + " ended with " + std::to_string(ended.code) + " instead of " +
         std::to_string(*expected.begin()) + ": " + ended.err);
  }

  std::string dump(const std::string& socket) {
    const Ended dump = start({"dump", "--socket", socket})->end();
    ended("dump", dump);
    return dump.out;
  }

  // --- what happens

  void liveUntil(Clock::time_point end) {
    while (Clock::now() < end) {
      // Now and then many at once.
      for (uint64_t count = upTo(30) == 0 ? upTo(mostBadClients) : upTo(1); count > 0; --count) {
        if (bad_.size() < mostBadClients) bad_.add();
      }
      bad_.step();
      if (visitors_.size() < mostVisitors && upTo(4) == 0) visit();
      leave(Clock::now());
      if (upTo(10) == 0) write();
      if (upTo(3) == 0) disturb();
      const Usage now = usage();
      highest_ = {std::max(highest_.bytes, now.bytes),
                  std::max(highest_.descriptors, now.descriptors)};
      for (const Relay& relay : relays_) {
        if (!usageOf(relay.tool->pid()))
          throw SoakFailure("a mirror has ended: " + relay.tool->err());
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(upTo(2 * roundMilliseconds)));
    }
  }

  // Everybody goes who does not belong here. What the server uses then.
  Usage settle() {
    bad_.clear();
    leave(Clock::time_point::max());
    Json status;
    await("the server to see that its clients are gone", [&] {
      const Ended asked = start({"status", "--json", "--socket", socket_})->end();
      ended("status", asked);
      status = Json::parse(asked.out, nullptr, false);
      // The first mirror, the recorder and who asks.
      return status.is_object() && status.at("connections").size() == 3;
    });
    status_ = status;
    return usage();
  }

  Usage usage() {
    const std::optional<Usage> found = usageOf(server_.pid());
    if (found) return *found;
    const Ended ended = server_.end();
    throw SoakFailure("the server has ended with " + std::to_string(ended.code) + ": " + ended.err);
  }

  void write() {
    const std::vector<Arguments> deeds[] = {
        {{"load", "--replace", upTo(1) == 0 ? EXAMPLE : other_}},
        {{"new", "/stp/soak", "Stp::Hw"},
         {"new", "/stp/soak/mstiHw/Mst" + std::to_string(upTo(99))},
         {"del", "/stp/soak"}},
        {{"set", "/stp/quiesceStatus", "quiesceMode", upTo(1) == 0 ? "true" : "false"}},
    };
    for (Arguments arguments : deeds[std::min<uint64_t>(upTo(4), 2)]) {
      arguments.insert(arguments.begin() + 1, {"--socket", socket_});
      ended(arguments[0], start(arguments)->end());
    }
  }

  // The server hears signals that mean nothing, or stands still; a mirror dies and comes back.
  void disturb() {
    constexpr int harmless[] = {SIGCONT, SIGWINCH, SIGURG, SIGCHLD, SIGPIPE};
    for (uint64_t count = upTo(20); count > 0; --count) server_.signal(harmless[upTo(4)]);
    if (upTo(20) == 0) {
      server_.signal(SIGSTOP);
      std::this_thread::sleep_for(std::chrono::milliseconds(upTo(200)));
      server_.signal(SIGCONT);
    }
    if (upTo(100) == 0) {
      Relay& relay = relays_[upTo(1)];
      relay.tool->signal(upTo(1) == 0 ? SIGKILL : SIGTERM);
      relay.tool->end();
      relay.start();
    }
  }

  void visit() {
    const std::string number = std::to_string(++visits_);
    const int stops[] = {SIGTERM, SIGINT, SIGHUP};
    const int stop = stops[upTo(2)];
    enum Into { file, pipe, terminal };
    const struct {
      const char* what;
      Arguments arguments;
      Into into;
      int signal;
      std::set<int> expected;
    } kinds[] = {
        {"dump that is killed", {"dump"}, file, SIGKILL, {-SIGKILL, 0}},
        {"watch that is killed", {"watch"}, file, SIGKILL, {-SIGKILL}},
        {"watch that is stopped",
         {"watch", "--json", "--dump-at-end", this->file("watch" + number)},
         file,
         stop,
         {0}},
        {"recorder that is stopped", {"record", this->file("record" + number)}, file, stop, {0}},
        {"recorder on a full disk", {"record", fullDisk_}, file, 0, {5}},
        {"watch into a closed pipe", {"watch", "--rate"}, pipe, 0, {0}},
        {"watch into a closed terminal", {"watch", "--rate"}, terminal, 0, {0}},
        {"watch that nobody reads", {"watch", "--json"}, pipe, stop, {0}},
        {"dump into a closed pipe", {"dump"}, pipe, 0, {0}},
    };
    const size_t which = upTo(std::size(kinds) - 1);
    const auto& [what, words, into, signal, expected] = kinds[which];
    const auto stay = std::chrono::milliseconds(which == 0 ? 0 : upTo(3000));
    Visitor visitor{what, {}, {}, Clock::now() + stay, signal, expected};
    if (into == pipe) visitor.reader = Reader::ofPipe(this->file("pipe" + number));
    if (into == terminal) visitor.reader = Reader::ofTerminal();
    Arguments arguments = words;
    arguments.insert(arguments.begin() + 1, {"--socket", socket_});
    visitor.tool = start(arguments, visitor.reader ? visitor.reader->path() : "");
    // Before that a signal has its usual effect.
    if (signal == stop) visitor.tool->complains("ing everything");
    visitors_.push_back(std::move(visitor));
  }

  // Ends whose time is over.
  void leave(Clock::time_point now) {
    std::erase_if(visitors_, [&](Visitor& visitor) {
      if (visitor.until > now) return false;
      if (visitor.signal == 0) visitor.reader.reset();
      visitor.tool->signal(visitor.signal);
      ended(visitor.what, visitor.tool->end(), visitor.expected);
      return true;
    });
  }

  // --- what is to be seen at the end

  void compare(const char* what, const std::string& name, const std::string& expected) {
    const std::string found = readFile(file(name));
    if (found == expected) return;
    const Json difference =
        Json::diff(Json::parse(expected, nullptr, false), Json::parse(found, nullptr, false));
    fail(std::string(what) + ": " + difference.dump().substr(0, 1000));
  }

  void report() const {
    std::cout << "clients:" << bad_.figures() << "; " << status_.at("accepted") << " in all\n";
    std::cout << "closed:";
    for (const auto& [reason, times] : status_.at("closed").items()) {
      std::cout << ' ' << times << ' ' << reason;
    }
    std::cout << "\nmirrors: started " << relays_[0].starts << " and " << relays_[1].starts
              << " times\n";
    for (const auto& [what, codes] : codes_) {
      std::cout << what << ":";
      for (const auto& [code, times] : codes) std::cout << ' ' << times << " x " << code;
      std::cout << '\n';
    }
  }

  void compareStates() {
    const std::string served = dump(socket_);
    for (const std::string& mirror : {middle_, tail_}) {
      await("a mirror to be as the server", [&] { return dump(mirror) == served; });
    }
    ended("recorder of everything", record_->stop());
    ended("watch of the tail", watch_->stop());
    ended("server", server_.stop());
    compare("the server's last dump is another one", "a.json", served);
    compare("the watch of the tail has mirrored something else", "watch.json", served);
    Tool played({"serve", "--socket", socket_, "--dump-at-end", file("played.json")});
    if (!played.says("serving")) throw SoakFailure("no second server: " + played.err());
    ended("replay", start({"replay", file("all.rec"), "--into", socket_, "--fast"})->end());
    ended("second server", played.stop());
    compare("the recording plays something else", "played.json", served);
  }

  const std::chrono::seconds length_;
  std::mt19937_64 random_;
  const TemporaryFolder folder_;
  const std::string socket_ = file("a.sock");
  const std::string middle_ = file("b.sock");
  const std::string tail_ = file("c.sock");
  const std::string fullDisk_ = file("full");
  Tool server_;
  BadClients bad_;
  Relay relays_[2]{{socket_, middle_, {}, 0}, {middle_, tail_, {}, 0}};
  std::unique_ptr<Tool> watch_;
  std::unique_ptr<Tool> record_;
  std::string other_;
  std::vector<Visitor> visitors_;
  std::map<std::string, std::map<int, uint64_t>> codes_;
  Json status_;
  Usage highest_{};
  uint64_t visits_ = 0;
  uint64_t faults_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc == 4 && std::string(argv[1]) == "relay") {
    stptool::loadModelLibraries({});
    relay(argv[2], argv[3]);
    return 0;
  }
  if (argc < 2 || argc > 3) {
    std::cerr << "usage: soak SECONDS [SEED]\n";
    return 2;
  }
  const std::chrono::seconds length(std::strtoull(argv[1], nullptr, 10));
  const uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGHUP, SIG_DFL);  // which nohup ignores, and commands with it
#ifdef __SANITIZE_ADDRESS__
  const char* const options = std::getenv("ASAN_OPTIONS");
  ::setenv("ASAN_OPTIONS", (std::string(options ? options : "") + sanitizerOptions).c_str(), 1);
#endif
  std::cout << "seed " << seed << ", " << length.count() << " s" << std::endl;
  try {
    stptool::loadModelLibraries({});
    Soak soak(length, seed);
    soak.run();
    if (soak.isFine()) return 0;
  } catch (const std::exception& error) {
    std::cout << "FAULT: " << error.what() << '\n';
  }
  std::cout << "the soak has failed; again with the same clients: soak " << length.count() << ' '
            << seed << '\n';
  return 1;
}
