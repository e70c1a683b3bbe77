// Changes that arrive in another process.
#include <benchmark/benchmark.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Stp/StpHw.h"
#include "Tovo/AttrLog/Connection.h"

#ifdef STP_BENCH_PROTOBUF
#include "Peer.pb.h"
#endif

namespace {

using Tovo::NboAttrLog::Connection;

constexpr int patience = 20000;        // milliseconds
constexpr size_t batched = 10000;      // changes that travel together
constexpr size_t oneByOne = 1000;      // changes that go out each for itself
constexpr size_t change = 4 + 10 + 4;  // bytes: length, entity and attribute, state
constexpr size_t turn = 4 + 6;         // bytes behind each group of changes

/// Another process that runs `work` on the far end of a socket, until this end is closed.
class FarProcess {
 public:
  explicit FarProcess(const std::function<void(int fd)>& work) {
    int fds[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0) throw std::runtime_error("socketpair");
    std::fflush(nullptr);
    pid_ = ::fork();
    if (pid_ < 0) throw std::runtime_error("fork");
    if (pid_ == 0) {
      ::close(fds[0]);
      try {
        work(fds[1]);
      } catch (const std::exception& error) {
        std::fprintf(stderr, "far process: %s\n", error.what());
      }
      ::_exit(0);
    }
    ::close(fds[1]);
    fd_ = fds[0];
  }
  FarProcess(const FarProcess&) = delete;
  FarProcess& operator=(const FarProcess&) = delete;
  ~FarProcess() {
    if (fd_ >= 0) ::close(fd_);
    ::waitpid(pid_, nullptr, 0);
  }

  int fd() const noexcept { return fd_; }
  int releaseFd() noexcept { return std::exchange(fd_, -1); }

 private:
  pid_t pid_ = -1;
  int fd_ = -1;
};

void writeAll(int fd, const uint8_t* from, size_t bytes) {
  while (bytes > 0) {
    const ssize_t sent = ::send(fd, from, bytes, MSG_NOSIGNAL);
    if (sent <= 0) throw std::runtime_error("write");
    from += sent;
    bytes -= static_cast<size_t>(sent);
  }
}

void awaitByte(int fd) {
  char byte;
  if (::read(fd, &byte, 1) != 1) throw std::runtime_error("read");
}

// ------------------------------------------------------------------------------------ the library

/// A tree of ports here, and its mirror in the other process.
class Mirrored {
 public:
  explicit Mirrored(size_t count)
      : far_([](int fd) {
          Tovo::Directory directory;
          Connection connection(fd, directory);
          connection.mount("/hw", true);
          connection.runUntil([] { return false; }, 600 * 1000);
        }) {
    const auto root = Stp::Hw::HwIs("hw");
    const auto instance = root->mstiHwIs("mst1");
    for (size_t i = 0; i < count; ++i) {
      ports_.push_back(instance->mstiPortHwIs("Ethernet" + std::to_string(i + 1)));
    }
    directory_.mount("/hw", root);
    connection_ = std::make_unique<Connection>(far_.releaseFd(), directory_);
    const auto carried = [&] { return connection_->boundCount() == count + 2; };
    if (!connection_->runUntil(carried, patience)) {
      throw std::runtime_error("the mirror was not set up: " + connection_->closeReason());
    }
    settle();
  }

  void set(size_t i, Stp::PortState state) { ports_[i]->portStateIs(state); }
  size_t size() const noexcept { return ports_.size(); }

  void flush() {
    while (!connection_->flush()) {
      pollfd ready{connection_->writeFd(), POLLOUT, 0};
      ::poll(&ready, 1, patience);
    }
  }

  /// Until everything is applied at the other end.
  void settle() {
    const uint32_t number = connection_->ping();
    if (!connection_->runUntil([&] { return connection_->pongs() == number; }, patience)) {
      throw std::runtime_error("no answer: " + connection_->closeReason());
    }
  }

 private:
  FarProcess far_;
  Tovo::Directory directory_;
  std::vector<Pelmo::Ptr<Stp::MstiPortHw>> ports_;
  std::unique_ptr<Connection> connection_;
};

void mirror(benchmark::State& state, size_t count, bool flushEach) {
  Mirrored mirrored(count);
  bool forwarding = false;
  for (auto _ : state) {
    forwarding = !forwarding;
    const Stp::PortState wanted =
        forwarding ? Stp::PortState::forwarding : Stp::PortState::discarding;
    for (size_t i = 0; i < count; ++i) {
      mirrored.set(i, wanted);
      if (flushEach) mirrored.flush();
    }
    mirrored.settle();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

// ---------------------------------------------------------------------------------- the same bytes

void bareSocket(benchmark::State& state, size_t count, size_t writes) {
  const size_t total = count * change + writes * turn;
  FarProcess far([total](int fd) {
    std::vector<uint8_t> buffer(64 * 1024);
    size_t had = 0;
    for (;;) {
      const ssize_t got = ::read(fd, buffer.data(), buffer.size());
      if (got <= 0) return;
      had += static_cast<size_t>(got);
      if (had < total) continue;
      had -= total;
      writeAll(fd, buffer.data(), 1);
    }
  });
  const std::vector<uint8_t> bytes(total);
  const size_t each = writes == 1 ? size_t{64 * 1024} : total / writes;
  for (auto _ : state) {
    for (size_t at = 0; at < total; at += each) {
      writeAll(far.fd(), bytes.data() + at, std::min(each, total - at));
    }
    awaitByte(far.fd());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

// ---------------------------------------------------------------------------------------- protobuf

#ifdef STP_BENCH_PROTOBUF
/// Messages of one byte of length each, applied to an array.
void protobuf(benchmark::State& state, size_t count, size_t writes) {
  constexpr uint32_t last = 0xffffffff;
  FarProcess far([count](int fd) {
    std::vector<uint8_t> buffer(64 * 1024);
    std::vector<uint32_t> states(count);
    stp_bench::Change message;
    size_t had = 0;
    for (;;) {
      const ssize_t got = ::read(fd, buffer.data() + had, buffer.size() - had);
      if (got <= 0) return;
      had += static_cast<size_t>(got);
      size_t at = 0;
      while (at < had && had - at > buffer[at]) {
        message.ParseFromArray(buffer.data() + at + 1, buffer[at]);
        at += size_t{1} + buffer[at];
        if (message.entity() == last) {
          writeAll(fd, buffer.data(), 1);
        } else if (message.entity() < states.size()) {
          states[message.entity()] = message.value();
        }
      }
      std::copy(buffer.begin() + static_cast<std::ptrdiff_t>(at),
                buffer.begin() + static_cast<std::ptrdiff_t>(had), buffer.begin());
      had -= at;
    }
  });
  std::vector<uint8_t> buffer(64 * 1024);
  size_t used = 0;
  uint32_t value = 0;
  const auto send = [&] {
    writeAll(far.fd(), buffer.data(), used);
    used = 0;
  };
  stp_bench::Change message;
  const auto append = [&](uint32_t entity) {
    message.set_entity(entity);
    message.set_attribute(258);
    message.set_value(value);
    const size_t size = message.ByteSizeLong();
    if (used + 1 + size > buffer.size()) send();
    buffer[used] = static_cast<uint8_t>(size);
    message.SerializeWithCachedSizesToArray(buffer.data() + used + 1);
    used += 1 + size;
  };
  for (auto _ : state) {
    ++value;
    for (size_t i = 0; i < count; ++i) {
      append(static_cast<uint32_t>(i));
      if (writes > 1) send();
    }
    append(last);
    send();
    awaitByte(far.fd());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}
#endif

const bool registered = [] {
  const auto add = [](const char* name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)->UseRealTime();
  };
  add("Mirror/batched/stp", mirror, batched, false);
  add("Mirror/batched/floor:socketpair", bareSocket, batched, 1);
  add("Mirror/flush_each/stp", mirror, oneByOne, true);
  add("Mirror/flush_each/floor:socketpair", bareSocket, oneByOne, oneByOne);
#ifdef STP_BENCH_PROTOBUF
  add("Mirror/batched/peer:protobuf", protobuf, batched, 1);
  add("Mirror/flush_each/peer:protobuf", protobuf, oneByOne, oneByOne);
#endif
  return true;
}();

}  // namespace
