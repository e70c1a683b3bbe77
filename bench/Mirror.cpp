// Changes that arrive in another process.
#include <benchmark/benchmark.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FarProcess.h"
#include "Mirror/Connection.h"
#include "RedisServer.h"
#include "Stp/StpHw.h"

namespace {

using Bench::awaitByte;
using Bench::FarProcess;
using Bench::writeAll;
using Tovo::NboAttrLog::Connection;

constexpr int patience = 20000;  // milliseconds
// Changes until somebody waits for the other process, and how many of them go out together.
struct Work {
  size_t changes;
  size_t together;
};
constexpr Work batched{10000, 10000};
constexpr Work streamed{10000, 1000};
constexpr Work oneByOne{1000, 1};
constexpr size_t change = 4 + 10 + 4;  // bytes: length, entity and attribute, state
constexpr size_t turn = 4 + 6;         // bytes behind each group of changes

// ------------------------------------------------------------------------------------ the library

/// A tree of ports here, and its mirror in the other process.
class Mirrored {
 public:
  explicit Mirrored(size_t count)
      : far_([](int fd) {
          Tovo::Directory directory;
          Connection connection(fd, directory);
          connection.guest().mount("/hw", true);
          connection.runUntil([] { return false; }, 600 * 1000);
        }) {
    const auto root = Stp::Hw::HwIs("hw");
    const auto instance = root->mstiHwIs("mst1");
    for (size_t i = 0; i < count; ++i) {
      ports_.push_back(instance->mstiPortHwIs("Ethernet" + std::to_string(i + 1)));
    }
    directory_.mount("/hw", root);
    connection_ = std::make_unique<Connection>(far_.releaseFd(), directory_);
    const auto carried = [&] { return connection_->log().numbers().count() == count + 2; };
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
    const uint32_t number = connection_->questions().ping();
    if (!connection_->runUntil([&] { return connection_->questions().pongs() == number; },
                               patience)) {
      throw std::runtime_error("no answer: " + connection_->closeReason());
    }
  }

 private:
  FarProcess far_;
  Tovo::Directory directory_;
  std::vector<Pelmo::Ptr<Stp::MstiPortHw>> ports_;
  std::unique_ptr<Connection> connection_;
};

void mirror(benchmark::State& state, Work work) {
  const auto [count, together] = work;
  Mirrored mirrored(count);
  bool forwarding = false;
  for (auto _ : state) {
    forwarding = !forwarding;
    const Stp::PortState wanted =
        forwarding ? Stp::PortState::forwarding : Stp::PortState::discarding;
    for (size_t i = 0; i < count; ++i) {
      mirrored.set(i, wanted);
      if ((i + 1) % together == 0) mirrored.flush();
    }
    mirrored.settle();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

// ---------------------------------------------------------------------------------- the same bytes

void bareSocket(benchmark::State& state, Work work) {
  const size_t count = work.changes;
  const size_t writes = count / work.together;
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
  const size_t each = std::min(size_t{64 * 1024}, total / writes);
  for (auto _ : state) {
    for (size_t at = 0; at < total; at += each) {
      writeAll(far.fd(), bytes.data() + at, std::min(each, total - at));
    }
    awaitByte(far.fd());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

// ----------------------------------------------------------------------------------------- by hand

/// What a change needs, applied to an array: entity, attribute, state; no framing, since all are of
/// one size. An entity beyond all others asks for an answer.
constexpr uint32_t nobody = 0xffffffff;
constexpr size_t handChange = 4 + 2 + 4;

class HandWriter {
 public:
  explicit HandWriter(int fd) : fd_(fd) {}

  void append(uint32_t entity, uint16_t attribute, uint32_t state) {
    if (used_ + handChange > buffer_.size()) send();
    put(entity);
    put(attribute);
    put(state);
  }
  void send() {
    writeAll(fd_, buffer_.data(), used_);
    used_ = 0;
  }

 private:
  template <class T>
  void put(T value) {
    std::memcpy(buffer_.data() + used_, &value, sizeof value);
    used_ += sizeof value;
  }

  int fd_;
  size_t used_ = 0;
  std::vector<uint8_t> buffer_ = std::vector<uint8_t>(64 * 1024);
};

void readByHand(int fd, size_t count) {
  std::vector<uint8_t> buffer(64 * 1024);
  std::vector<uint32_t> states(count);
  size_t had = 0;
  for (;;) {
    const ssize_t got = ::read(fd, buffer.data() + had, buffer.size() - had);
    if (got <= 0) return;
    had += static_cast<size_t>(got);
    size_t at = 0;
    for (; had - at >= handChange; at += handChange) {
      uint32_t entity;
      uint32_t state;
      std::memcpy(&entity, buffer.data() + at, sizeof entity);
      std::memcpy(&state, buffer.data() + at + 6, sizeof state);
      if (entity < states.size()) {
        states[entity] = state;
      } else {
        writeAll(fd, buffer.data(), 1);
      }
    }
    benchmark::DoNotOptimize(states.data());
    std::memmove(buffer.data(), buffer.data() + at, had - at);
    had -= at;
  }
}

void byHand(benchmark::State& state, Work work) {
  const auto [count, together] = work;
  FarProcess far([count = count](int fd) { readByHand(fd, count); });
  HandWriter writer(far.fd());
  uint32_t value = 0;
  for (auto _ : state) {
    ++value;
    for (size_t i = 0; i < count; ++i) {
      writer.append(static_cast<uint32_t>(i), 258, value);
      if ((i + 1) % together == 0) writer.send();
    }
    writer.append(nobody, 0, 0);
    writer.send();
    awaitByte(far.fd());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}

// ---------------------------------------------------------------------------------------- protobuf

#ifdef STP_BENCH_PROTOBUF
/// Messages of one byte of length each, applied to an array.
void protobuf(benchmark::State& state, Work work) {
  const auto [count, together] = work;
  FarProcess far([count = count](int fd) {
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
        if (message.entity() == nobody) {
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
      if ((i + 1) % together == 0) send();
    }
    append(nobody);
    send();
    awaitByte(far.fd());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}
#endif

// ------------------------------------------------------------------------------------------- Redis

#ifdef STP_BENCH_REDIS
/// A key a port. The answers are read when all commands of a group are sent, as its pipeline asks.
void redis(benchmark::State& state, size_t count, bool pipelined) {
  const Bench::RedisServer server;
  redisContext* const connection = server.connection();
  std::vector<std::string> keys(count);
  for (size_t i = 0; i < count; ++i) keys[i] = "Ethernet" + std::to_string(i + 1);
  const char* const values[] = {"discarding", "forwarding"};
  const auto takeReply = [&] {
    void* reply = nullptr;
    const bool good = ::redisGetReply(connection, &reply) == REDIS_OK &&
                      static_cast<redisReply*>(reply)->type == REDIS_REPLY_STATUS;
    if (reply) ::freeReplyObject(reply);
    if (!good) throw std::runtime_error("Redis does not take it");
  };
  size_t round = 0;
  for (auto _ : state) {
    round ^= 1;
    for (const std::string& key : keys) {
      const char* words[] = {"SET", key.c_str(), values[round]};
      const size_t lengths[] = {3, key.size(), std::strlen(values[round])};
      ::redisAppendCommandArgv(connection, 3, words, lengths);
      if (!pipelined) takeReply();
    }
    if (pipelined) {
      for (size_t i = 0; i < count; ++i) takeReply();
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(count));
}
#endif

const bool registered = [] {
  const auto add = [](const char* name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)->UseRealTime();
  };
  const auto addOwn = [&](const std::string& name, Work work) {
    add((name + "/stp").c_str(), mirror, work);
    add((name + "/floor:socketpair").c_str(), bareSocket, work);
    add((name + "/limit").c_str(), byHand, work);
#ifdef STP_BENCH_PROTOBUF
    add((name + "/peer:protobuf").c_str(), protobuf, work);
#endif
  };
  addOwn("Mirror/batched", batched);
  addOwn("Mirror/streamed", streamed);
  addOwn("Mirror/flush_each", oneByOne);
#ifdef STP_BENCH_REDIS
  if (Bench::RedisServer::installed()) {
    add("Mirror/batched/peer:redis", redis, batched.changes, true);
    add("Mirror/flush_each/peer:redis", redis, oneByOne.changes, false);
  }
#endif
  return true;
}();

}  // namespace
