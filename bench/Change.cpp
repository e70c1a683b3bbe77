// One change of an attribute as the attribute log sends it, and as it is applied.
#include <stdexcept>
#include <unordered_map>

#include "MemoryLog.h"
#include "Values.h"

namespace {

using Bench::Bytes;
using Bench::MemoryLog;
using Bench::roomBytes;
using Bench::Scene;

constexpr Tovo::AttributeId changed = 261;  // MstiPortStatus::fdbFlush
constexpr size_t messageSize = 6 + 4;

void encodeChange(benchmark::State& state) {
  const auto port = Stp::MstiPortStatus::MstiPortStatusIs("Ethernet1", 1);
  MemoryLog log;
  log.carry(*port, MemoryLog::MountSide::host, Tovo::NboAttrLog::FlowOut::startNowhere);
  Tovo::NboAttrLog::FlowOut& flow = log.flow(*port);
  const Tovo::EntityHooks& hooks = *Tovo::entityHooks(port->tovoType());
  for (auto _ : state) {
    log.clear();
    if (hooks.streamAdapterOnAttribute(log.adapter(), changed, flow) != 1) {
      state.SkipWithError("nothing was sent");
      break;
    }
    benchmark::ClobberMemory();
  }
}

void decodeChange(benchmark::State& state) {
  const auto port = Stp::MstiPortStatus::MstiPortStatusIs("Ethernet1", 1);
  MemoryLog log;
  const uint32_t id =
      log.carry(*port, MemoryLog::MountSide::guest, Tovo::NboAttrLog::FlowOut::startNowhere);
  uint8_t payload[4];
  uint32_t number = 0;
  for (auto _ : state) {
    Bytes::put32(payload, ++number);
    benchmark::ClobberMemory();
    log.handleMessage(id, changed, payload);
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
BENCHMARK(decodeChange)->Name("Attribute/decode/stp");
BENCHMARK(decodeChangeByHand)->Name("Attribute/decode/limit");

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
