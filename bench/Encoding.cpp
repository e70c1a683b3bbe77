// Values and changes as bytes, and back.
#include <benchmark/benchmark.h>

#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <unordered_map>
#include <vector>

#include "Stp/StpStatus.h"
#include "Tovo/AttrLog/EntityHooks.h"

#ifdef STP_BENCH_PROTOBUF
#include "Peer.pb.h"
#endif

namespace {

using Tovo::NboAttrLog::In;
using Tovo::NboAttrLog::Out;

// ---------------------------------------------------------------------------------------- by hand

/// Big-endian and without gaps, checked by the caller.
struct Bytes {
  static uint8_t* put16(uint8_t* to, uint16_t value) {
    value = __builtin_bswap16(value);
    std::memcpy(to, &value, sizeof value);
    return to + sizeof value;
  }
  static uint8_t* put32(uint8_t* to, uint32_t value) {
    value = __builtin_bswap32(value);
    std::memcpy(to, &value, sizeof value);
    return to + sizeof value;
  }
  static uint16_t get16(const uint8_t* from) {
    uint16_t value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_bswap16(value);
  }
  static uint32_t get32(const uint8_t* from) {
    uint32_t value;
    std::memcpy(&value, from, sizeof value);
    return __builtin_bswap32(value);
  }
};

struct HandBridge {
  uint16_t priority = 32768;
  uint16_t systemId = 1;
  uint8_t address[6] = {2, 0, 0, 0, 0, 1};

  uint8_t* put(uint8_t* to) const {
    to = Bytes::put16(Bytes::put16(to, priority), systemId);
    std::memcpy(to, address, sizeof address);
    return to + sizeof address;
  }
  void get(const uint8_t* from) {
    priority = Bytes::get16(from);
    systemId = Bytes::get16(from + 2);
    std::memcpy(address, from + 4, sizeof address);
  }
};

struct HandVector {
  static constexpr size_t size = 41;
  HandBridge root;
  uint32_t external = 20000;
  HandBridge regional;
  uint32_t internal = 2000;
  HandBridge bridge;
  uint8_t portPriority = 128;
  uint16_t portNumber = 7;

  void put(uint8_t* to) const {
    to = Bytes::put32(root.put(to), external);
    to = Bytes::put32(regional.put(to), internal);
    to = bridge.put(to);
    *to = portPriority;
    Bytes::put16(to + 1, portNumber);
  }
  void get(const uint8_t* from) {
    root.get(from);
    external = Bytes::get32(from + 10);
    regional.get(from + 14);
    internal = Bytes::get32(from + 24);
    bridge.get(from + 28);
    portPriority = from[38];
    portNumber = Bytes::get16(from + 39);
  }
};

struct HandTimes {
  static constexpr size_t size = 9;
  uint16_t age = 256;
  uint16_t maxAge = 20 * 256;
  uint16_t delay = 15 * 256;
  uint16_t hello = 2 * 256;
  uint8_t hops = 19;

  void put(uint8_t* to) const {
    to = Bytes::put16(Bytes::put16(to, age), maxAge);
    *Bytes::put16(Bytes::put16(to, delay), hello) = hops;
  }
  void get(const uint8_t* from) {
    age = Bytes::get16(from);
    maxAge = Bytes::get16(from + 2);
    delay = Bytes::get16(from + 4);
    hello = Bytes::get16(from + 6);
    hops = from[8];
  }
};

// ------------------------------------------------------------------------------ the same contents

template <class T>
T sample();

template <>
Stp::PriorityVector sample<Stp::PriorityVector>() {
  const Stp::BridgeId bridge(Stp::BridgePriority(32768), Stp::BridgeSystemId(1),
                             Nelka::EthAddr("02:00:00:00:00:01"));
  Stp::PriorityVector vector;
  vector.cistRootBridgeIdIs(bridge);
  vector.extRootPathCostIs(Stp::PathCost(20000));
  vector.regionalRootBridgeIdIs(bridge);
  vector.intRootPathCostIs(Stp::PathCost(2000));
  vector.bridgeIdIs(bridge);
  vector.portIdIs(Stp::PortId(Stp::PortPriority(128), Stp::PortNumber(7)));
  return vector;
}

template <>
Stp::TimesVector sample<Stp::TimesVector>() {
  Stp::TimesVector times;
  times.messageAgeIs(Stp::TimerVal(1, 0));
  times.maxAgeIs(Stp::TimerVal(20, 0));
  times.fwdDelayIs(Stp::TimerVal(15, 0));
  times.helloTimeIs(Stp::TimerVal(2, 0));
  times.remainingHopsIs(19);
  return times;
}

#ifdef STP_BENCH_PROTOBUF
void fillBridge(stp_bench::BridgeId& bridge) {
  bridge.set_priority(32768);
  bridge.set_system_id(1);
  bridge.set_address(0x020000000001);
}

template <>
stp_bench::PriorityVector sample<stp_bench::PriorityVector>() {
  stp_bench::PriorityVector vector;
  fillBridge(*vector.mutable_cist_root());
  vector.set_ext_root_path_cost(20000);
  fillBridge(*vector.mutable_regional_root());
  vector.set_int_root_path_cost(2000);
  fillBridge(*vector.mutable_bridge());
  vector.set_port_priority(128);
  vector.set_port_number(7);
  return vector;
}

template <>
stp_bench::TimesVector sample<stp_bench::TimesVector>() {
  stp_bench::TimesVector times;
  times.set_message_age(256);
  times.set_max_age(20 * 256);
  times.set_fwd_delay(15 * 256);
  times.set_hello_time(2 * 256);
  times.set_remaining_hops(19);
  return times;
}
#endif

// ----------------------------------------------------------------------------------------- values

constexpr size_t roomBytes = 256;

/// The compiler must think that anybody may read and write both.
template <class Value>
struct Scene {
  explicit Scene(const Value& from) : value(std::make_unique<Value>(from)) {
    uint8_t* const bytes = room.get();
    Value* const object = value.get();
    benchmark::DoNotOptimize(bytes);
    benchmark::DoNotOptimize(object);
  }
  std::unique_ptr<uint8_t[]> room{new uint8_t[roomBytes]()};
  std::unique_ptr<Value> value;
};

template <class Value>
void encodeStp(benchmark::State& state) {
  const Scene<Value> scene(sample<Value>());
  for (auto _ : state) {
    Out out({scene.room.get(), roomBytes});
    out << *scene.value;
    benchmark::ClobberMemory();
  }
}

template <class Value, class Same>
void decodeStp(benchmark::State& state) {
  const Scene<Value> scene(Value{});
  Same().put(scene.room.get());
  size_t length = Same::size;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    In in({scene.room.get(), length});
    // Where it is to stay, as a caller has it that makes a value.
    ::new (static_cast<void*>(scene.value.get())) Value(in.next<Value>());
    benchmark::ClobberMemory();
  }
  if (*scene.value != sample<Value>()) state.SkipWithError("decoded something else");
}

template <class Value>
void encodeHand(benchmark::State& state) {
  const Scene<Value> scene(Value{});
  for (auto _ : state) {
    scene.value->put(scene.room.get());
    benchmark::ClobberMemory();
  }
}

template <class Value>
void decodeHand(benchmark::State& state) {
  const Scene<Value> scene(Value{});
  scene.value->put(scene.room.get());
  size_t length = Value::size;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    if (length < Value::size) throw std::length_error("too short");
    scene.value->get(scene.room.get());
    benchmark::ClobberMemory();
  }
}

template <size_t size>
void copy(benchmark::State& state) {
  const Scene<std::array<uint8_t, size>> scene({});
  for (auto _ : state) {
    std::memcpy(scene.room.get(), scene.value->data(), size);
    benchmark::ClobberMemory();
  }
}

BENCHMARK(encodeStp<Stp::PriorityVector>)->Name("PriorityVector/encode/stp");
BENCHMARK(encodeHand<HandVector>)->Name("PriorityVector/encode/limit");
BENCHMARK(copy<41>)->Name("PriorityVector/encode/floor:memcpy");
BENCHMARK(decodeStp<Stp::PriorityVector, HandVector>)->Name("PriorityVector/decode/stp");
BENCHMARK(decodeHand<HandVector>)->Name("PriorityVector/decode/limit");
BENCHMARK(copy<41>)->Name("PriorityVector/decode/floor:memcpy");
BENCHMARK(encodeStp<Stp::TimesVector>)->Name("TimesVector/encode/stp");
BENCHMARK(encodeHand<HandTimes>)->Name("TimesVector/encode/limit");
BENCHMARK(copy<9>)->Name("TimesVector/encode/floor:memcpy");
BENCHMARK(decodeStp<Stp::TimesVector, HandTimes>)->Name("TimesVector/decode/stp");
BENCHMARK(decodeHand<HandTimes>)->Name("TimesVector/decode/limit");
BENCHMARK(copy<9>)->Name("TimesVector/decode/floor:memcpy");

#ifdef STP_BENCH_PROTOBUF
template <class Message>
void encodeProtobuf(benchmark::State& state) {
  const Scene<Message> scene(sample<Message>());
  for (auto _ : state) {
    benchmark::DoNotOptimize(scene.value->SerializeToArray(scene.room.get(), roomBytes));
    benchmark::ClobberMemory();
  }
}

template <class Message>
void decodeProtobuf(benchmark::State& state) {
  const Scene<Message> scene(Message{});
  const Message from = sample<Message>();
  const int length = static_cast<int>(from.ByteSizeLong());
  from.SerializeToArray(scene.room.get(), length);
  for (auto _ : state) {
    benchmark::DoNotOptimize(scene.value->ParseFromArray(scene.room.get(), length));
    benchmark::ClobberMemory();
  }
}

BENCHMARK(encodeProtobuf<stp_bench::PriorityVector>)->Name("PriorityVector/encode/peer:protobuf");
BENCHMARK(decodeProtobuf<stp_bench::PriorityVector>)->Name("PriorityVector/decode/peer:protobuf");
BENCHMARK(encodeProtobuf<stp_bench::TimesVector>)->Name("TimesVector/encode/peer:protobuf");
BENCHMARK(decodeProtobuf<stp_bench::TimesVector>)->Name("TimesVector/decode/peer:protobuf");
#endif

// --------------------------------------------------------------------- one change of an attribute

constexpr Tovo::AttributeId changed = 261;  // MstiPortStatus::fdbFlush
constexpr size_t messageSize = 6 + 4;

/// A log into a piece of memory that is always empty.
class MemoryLog : public Tovo::NboAttrLog::StreamAdapter {
 public:
  uint8_t* room() noexcept { return room_.get(); }

 protected:
  std::span<uint8_t> reserve(size_t bytes) override { return {room_.get(), bytes}; }
  void commit(size_t) override {}

 private:
  std::unique_ptr<uint8_t[]> room_{new uint8_t[roomBytes]()};
};

void encodeChange(benchmark::State& state) {
  const auto port = Stp::MstiPortStatus::MstiPortStatusIs("Ethernet1", 1);
  MemoryLog log;
  log.bind(*port, {Tovo::NboAttrLog::MountSide::host, true},
           Tovo::NboAttrLog::FlowOut::startNowhere);
  Tovo::NboAttrLog::FlowOut& flow = *log.flow(*port);
  const Tovo::EntityHooks& hooks = *Tovo::entityHooks(port->tovoType());
  for (auto _ : state) {
    if (hooks.streamAdapterOnAttribute(log, changed, flow) != 1) {
      state.SkipWithError("nothing was sent");
      break;
    }
    benchmark::ClobberMemory();
  }
}

void decodeChange(benchmark::State& state) {
  const auto port = Stp::MstiPortStatus::MstiPortStatusIs("Ethernet1", 1);
  MemoryLog log;
  const uint32_t id = log.bind(*port, {Tovo::NboAttrLog::MountSide::guest, true},
                               Tovo::NboAttrLog::FlowOut::startNowhere);
  uint32_t number = 0;
  for (auto _ : state) {
    Bytes::put32(log.room(), ++number);
    benchmark::ClobberMemory();
    log.handleMessage(id, changed, In({log.room(), 4}));
  }
  if (port->fdbFlush() != number) state.SkipWithError("the change did not arrive");
}

struct HandPort {
  uint32_t state = 0;
  uint32_t flushes = 0;
};

void encodeChangeByHand(benchmark::State& state) {
  const Scene<HandPort> scene({});
  uint16_t attribute = changed;
  for (auto _ : state) {
    benchmark::DoNotOptimize(attribute);
    uint8_t* to = Bytes::put16(Bytes::put32(scene.room.get(), 7), attribute);
    Bytes::put32(to, attribute == changed ? scene.value->flushes : scene.value->state);
    benchmark::ClobberMemory();
  }
}

// Any encoding ends in this: a target by its number, an attribute by its number, a comparison.
void applyByHand(std::unordered_map<uint32_t, HandPort*>& ports, uint32_t id, uint32_t attribute,
                 uint32_t value) {
  const auto it = ports.find(id);
  if (it == ports.end()) return;
  uint32_t& stored = attribute == changed ? it->second->flushes : it->second->state;
  if (stored != value) stored = value;
}

void decodeChangeByHand(benchmark::State& state) {
  const Scene<HandPort> scene({});
  std::unordered_map<uint32_t, HandPort*> ports{{7, scene.value.get()}};
  uint8_t* const room = scene.room.get();
  Bytes::put16(Bytes::put32(room, 7), changed);
  size_t length = messageSize;
  uint32_t number = 0;
  for (auto _ : state) {
    Bytes::put32(room + 6, ++number);
    benchmark::DoNotOptimize(length);
    benchmark::ClobberMemory();
    if (length < messageSize) throw std::length_error("too short");
    applyByHand(ports, Bytes::get32(room), Bytes::get16(room + 4), Bytes::get32(room + 6));
    benchmark::ClobberMemory();
  }
}

BENCHMARK(encodeChange)->Name("Attribute/encode/stp");
BENCHMARK(encodeChangeByHand)->Name("Attribute/encode/limit");
BENCHMARK(copy<messageSize>)->Name("Attribute/encode/floor:memcpy");
BENCHMARK(decodeChange)->Name("Attribute/decode/stp");
BENCHMARK(decodeChangeByHand)->Name("Attribute/decode/limit");
BENCHMARK(copy<messageSize>)->Name("Attribute/decode/floor:memcpy");

#ifdef STP_BENCH_PROTOBUF
void encodeChangeProtobuf(benchmark::State& state) {
  const Scene<HandPort> scene({});
  stp_bench::Change change;
  for (auto _ : state) {
    change.set_entity(7);
    change.set_attribute(changed);
    change.set_value(scene.value->flushes + 1);
    benchmark::DoNotOptimize(change.SerializeToArray(scene.room.get(), roomBytes));
    benchmark::ClobberMemory();
  }
}

void decodeChangeProtobuf(benchmark::State& state) {
  const Scene<HandPort> scene({});
  std::unordered_map<uint32_t, HandPort*> ports{{7, scene.value.get()}};
  stp_bench::Change change;
  change.set_entity(7);
  change.set_attribute(changed);
  change.set_value(1);
  const int length = static_cast<int>(change.ByteSizeLong());
  change.SerializeToArray(scene.room.get(), length);
  uint32_t number = 0;
  for (auto _ : state) {
    // The value is the last field, four bytes in the machine's order.
    ++number;
    std::memcpy(scene.room.get() + length - 4, &number, sizeof number);
    benchmark::ClobberMemory();
    change.ParseFromArray(scene.room.get(), length);
    applyByHand(ports, change.entity(), change.attribute(), change.value());
    benchmark::ClobberMemory();
  }
  if (scene.value->flushes != number) state.SkipWithError("the change did not arrive");
}

BENCHMARK(encodeChangeProtobuf)->Name("Attribute/encode/peer:protobuf");
BENCHMARK(decodeChangeProtobuf)->Name("Attribute/decode/peer:protobuf");
#endif

}  // namespace
