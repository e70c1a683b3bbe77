// A whole port in an instance, all its 40 attributes, as bytes and back.
#include <span>
#include <stdexcept>
#include <vector>

#include "MemoryLog.h"
#include "Tovo/ValueOps.h"
#include "Values.h"

namespace {

using Bench::Bytes;
using Bench::HandTimes;
using Bench::HandVector;
using Bench::MemoryLog;
using Bench::roomBytes;
using Bench::Scene;
using Tovo::NboAttrLog::FlowOut;
using Tovo::NboAttrLog::In;

// ------------------------------------------------------------------------------------ the library

/// Two contents that differ in each attribute, so that applying one after the other changes all.
Pelmo::Ptr<Stp::MstiPortStatus> portOf(bool other) {
  auto port = Stp::MstiPortStatus::MstiPortStatusIs("Ethernet1", 1);
  const uint32_t number = other ? 2 : 1;
  Stp::PriorityVector vector = Bench::sample<Stp::PriorityVector>();
  vector.extRootPathCostIs(Stp::PathCost(number));
  Stp::TimesVector times = Bench::sample<Stp::TimesVector>();
  times.remainingHopsIs(static_cast<uint8_t>(number));
  const Tovo::TovoTypeBase type = port->tovoType();
  Tovo::forEachAttribute(type, [&](Tovo::Attribute attribute) {
    if (attribute.kind() != Tovo::AttributeKind::attribute) return;
    void* stored = Tovo::storage(*port, attribute);
    const Tovo::ValueOps& ops = attribute.ops();
    const std::string_view name = attribute.typeName();
    if (name == "Stp::PriorityVector") {
      ops.assign(stored, &vector);
    } else if (name == "Stp::TimesVector") {
      ops.assign(stored, &times);
    } else {
      // The last byte of the encoded form, big-endian, is the number.
      std::vector<uint8_t> bytes(ops.attrLogSize(stored));
      bytes.back() = static_cast<uint8_t>(bytes.size() == 1 ? number - 1 : number);
      In in(bytes);
      Tovo::ValueBuffer value(ops);
      value.read(in);
      ops.assign(stored, value.get());
    }
  });
  return port;
}

/// As the attribute log sends a port that is new: all that is dirty.
void encode(benchmark::State& state) {
  const auto port = portOf(false);
  MemoryLog log;
  log.carry(*port, MemoryLog::MountSide::host, FlowOut::startNowhere);
  FlowOut& flow = log.flow(*port);
  for (auto _ : state) {
    log.clear();
    flow.dirtyFrom(0);
    if (!log.pump()) {
      state.SkipWithError("not everything was sent");
      break;
    }
    benchmark::ClobberMemory();
  }
  state.counters["bytes of its messages"] = static_cast<double>(log.written().size());
}

struct Message {
  Tovo::AttributeId attribute;
  std::span<const uint8_t> payload;
};

/// What the log says of a port.
std::vector<Message> messagesOf(MemoryLog& log, Stp::MstiPortStatus& port) {
  log.carry(port, MemoryLog::MountSide::host, 0);
  if (!log.pump()) throw std::length_error("more messages than there is room");
  std::vector<Message> messages;
  const uint8_t* const end = log.written().data() + log.written().size();
  for (const uint8_t* at = log.written().data(); at < end;) {
    const auto length = Tovo::NboAttrLog::load<uint32_t>(at);
    at += Tovo::NboAttrLog::frameHeader;
    messages.push_back(
        {Tovo::NboAttrLog::load<Tovo::AttributeId>(at + sizeof(uint32_t)),
         {at + Tovo::NboAttrLog::messageHeader, length - Tovo::NboAttrLog::messageHeader}});
    at += length;
  }
  return messages;
}

void decode(benchmark::State& state) {
  const auto port = portOf(true);
  const Pelmo::Ptr<Stp::MstiPortStatus> sources[] = {portOf(false), portOf(true)};
  MemoryLog logs[2];
  const std::vector<Message> contents[] = {messagesOf(logs[0], *sources[0]),
                                           messagesOf(logs[1], *sources[1])};
  MemoryLog log;
  const uint32_t id = log.carry(*port, MemoryLog::MountSide::guest, FlowOut::startNowhere);
  size_t turn = 1;
  for (auto _ : state) {
    turn ^= 1;
    for (const Message& message : contents[turn]) {
      log.handleMessage(id, message.attribute, message.payload);
    }
    benchmark::ClobberMemory();
  }
  const auto wanted = portOf(turn == 1);
  Tovo::forEachAttribute(port->tovoType(), [&](Tovo::Attribute attribute) {
    if (attribute.kind() == Tovo::AttributeKind::attribute &&
        !attribute.ops().equal(Tovo::storage(*port, attribute),
                               Tovo::storage(*wanted, attribute))) {
      state.SkipWithError("decoded something else");
    }
  });
}

// ---------------------------------------------------------------------------------------- by hand

struct HandPort {
  uint8_t state = 3;
  uint8_t priority = 128;
  uint16_t number = 7;
  uint32_t transitions = 2;
  uint32_t flushes = 3;
  uint32_t cost = 2000;
  HandVector vectors[3];
  HandTimes times[3];
  // Roles, flags and states of one byte each, in the order of the attributes.
  std::array<uint8_t, 29> small{3, 3, 1, 1, 0, 1, 1, 1, 0, 1, 1, 0, 1, 0, 0,
                                1, 1, 1, 2, 0, 1, 0, 1, 1, 1, 1, 0, 0, 1};

  static constexpr size_t size = 1 + 4 + 4 + 3 + 4 + 3 * (HandVector::size + HandTimes::size) + 29;
  friend bool operator==(const HandPort&, const HandPort&) = default;

  void put(uint8_t* to) const {
    *to++ = state;
    to = Bytes::put32(Bytes::put32(to, transitions), flushes);
    *to++ = priority;
    to = Bytes::put32(Bytes::put16(to, number), cost);
    for (int i = 0; i < 3; ++i) {
      vectors[i].put(to);
      times[i].put(to + HandVector::size);
      to += HandVector::size + HandTimes::size;
    }
    std::memcpy(to, small.data(), small.size());
  }
  void get(const uint8_t* from) {
    state = from[0];
    transitions = Bytes::get32(from + 1);
    flushes = Bytes::get32(from + 5);
    priority = from[9];
    number = Bytes::get16(from + 10);
    cost = Bytes::get32(from + 12);
    from += 16;
    for (int i = 0; i < 3; ++i) {
      vectors[i].get(from);
      times[i].get(from + HandVector::size);
      from += HandVector::size + HandTimes::size;
    }
    std::memcpy(small.data(), from, small.size());
  }
};

void encodeHand(benchmark::State& state) {
  const Scene<HandPort> scene(HandPort{});
  for (auto _ : state) {
    scene.value->put(scene.room.get());
    benchmark::ClobberMemory();
  }
}

void decodeHand(benchmark::State& state) {
  const Scene<HandPort> scene(Bench::cleared<HandPort>());
  HandPort().put(scene.room.get());
  size_t length = HandPort::size;
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    if (length < HandPort::size) throw std::length_error("too short");
    scene.value->get(scene.room.get());
    benchmark::ClobberMemory();
  }
  if (*scene.value != HandPort()) state.SkipWithError("decoded something else");
}

// ----------------------------------------------------------- by hand, in the log's own messages

// What the format itself costs: 40 messages with entity, attribute and value.

uint8_t* putHead(uint8_t* to, uint16_t attribute) {
  return Bytes::put16(Bytes::put32(to, 7), attribute);
}

uint8_t* putMessages(const HandPort& from, uint8_t* to) {
  *(to = putHead(to, 259)) = from.state;
  to = Bytes::put32(putHead(to + 1, 260), from.transitions);
  to = Bytes::put32(putHead(to, 261), from.flushes);
  *(to = putHead(to, 262)) = from.priority;
  to = Bytes::put16(to + 1, from.number);
  to = Bytes::put32(putHead(to, 263), from.cost);
  uint16_t attribute = 264;
  for (int i = 0; i < 3; ++i) {
    from.vectors[i].put(to = putHead(to, attribute++));
    from.times[i].put(to = putHead(to + HandVector::size, attribute++));
    to += HandTimes::size;
  }
  for (const uint8_t byte : from.small) {
    *(to = putHead(to, attribute++)) = byte;
    ++to;
  }
  return to;
}

/// Bytes that a value has; 0 for what is not an attribute.
size_t sizeOf(uint16_t attribute) {
  if (attribute == 259 || (attribute >= 270 && attribute < 299)) return 1;
  if (attribute == 262) return 3;
  if (attribute >= 260 && attribute < 264) return 4;
  if (attribute >= 264 && attribute < 270) {
    return attribute % 2 == 0 ? HandVector::size : HandTimes::size;
  }
  return 0;
}

void takeMessages(HandPort& to, const uint8_t* from, const uint8_t* end) {
  while (end - from >= 6 && Bytes::get32(from) == 7) {
    const uint16_t attribute = Bytes::get16(from + 4);
    const size_t size = sizeOf(attribute);
    from += 6;
    if (size == 0 || static_cast<size_t>(end - from) < size) break;
    switch (attribute) {
      case 259:
        to.state = *from;
        break;
      case 260:
        to.transitions = Bytes::get32(from);
        break;
      case 261:
        to.flushes = Bytes::get32(from);
        break;
      case 262:
        to.priority = *from;
        to.number = Bytes::get16(from + 1);
        break;
      case 263:
        to.cost = Bytes::get32(from);
        break;
      case 264:
      case 266:
      case 268:
        to.vectors[(attribute - 264) / 2].get(from);
        break;
      case 265:
      case 267:
      case 269:
        to.times[(attribute - 264) / 2].get(from);
        break;
      default:
        to.small[attribute - 270] = *from;
    }
    from += size;
  }
  if (from != end) throw std::length_error("not a port's messages");
}

void encodeMessages(benchmark::State& state) {
  const Scene<HandPort> scene(HandPort{});
  for (auto _ : state) {
    benchmark::DoNotOptimize(putMessages(*scene.value, scene.room.get()));
    benchmark::ClobberMemory();
  }
}

void decodeMessages(benchmark::State& state) {
  const Scene<HandPort> scene(Bench::cleared<HandPort>());
  const uint8_t* const end = putMessages(HandPort(), scene.room.get());
  for (auto _ : state) {
    takeMessages(*scene.value, scene.room.get(), end);
    benchmark::ClobberMemory();
  }
  if (*scene.value != HandPort()) state.SkipWithError("decoded something else");
}

BENCHMARK(encodeMessages)->Name("PortStatus/encode/floor:same_messages_by_hand");
BENCHMARK(decodeMessages)->Name("PortStatus/decode/floor:same_messages_by_hand");
BENCHMARK(encode)->Name("PortStatus/encode/stp");
BENCHMARK(encodeHand)->Name("PortStatus/encode/limit");
BENCHMARK(decode)->Name("PortStatus/decode/stp");
BENCHMARK(decodeHand)->Name("PortStatus/decode/limit");

// --------------------------------------------------------------------------------------- protobuf

#ifdef STP_BENCH_PROTOBUF
void fill(stp_bench::PortStatus& to, const HandPort& from) {
  const auto& s = from.small;
  to.set_state(from.state);
  to.set_transitions_to_forwarding_count(from.transitions);
  to.set_fdb_flush(from.flushes);
  to.set_port_priority_number(from.priority);
  to.set_port_number(from.number);
  to.set_oper_int_path_cost(from.cost);
  Bench::fill(*to.mutable_port_priority(), from.vectors[0]);
  Bench::fill(*to.mutable_port_times(), from.times[0]);
  Bench::fill(*to.mutable_msg_priority(), from.vectors[1]);
  Bench::fill(*to.mutable_msg_times(), from.times[1]);
  Bench::fill(*to.mutable_designated_priority(), from.vectors[2]);
  Bench::fill(*to.mutable_designated_times(), from.times[2]);
  to.set_role(s[0]);
  to.set_selected_role(s[1]);
  to.set_sync(s[2]);
  to.set_synced(s[3]);
  to.set_proposing(s[4]);
  to.set_proposed(s[5]);
  to.set_agree(s[6]);
  to.set_agreed(s[7]);
  to.set_disputed(s[8]);
  to.set_learn(s[9]);
  to.set_forward(s[10]);
  to.set_re_root(s[11]);
  to.set_re_rooted(s[12]);
  to.set_rcvd_tc(s[13]);
  to.set_tc_prop(s[14]);
  to.set_send_master(s[15]);
  to.set_mastered(s[16]);
  to.set_info_internal(s[17]);
  to.set_info_is(s[18]);
  to.set_updt_info(s[19]);
  to.set_selected(s[20]);
  to.set_mst_pvst_tc_ack(s[21]);
  to.set_inconsistent_updated(s[22]);
  to.set_guard_status(s[23]);
  to.set_old_guard_status(s[24]);
  to.set_bridge_assurance_status(s[25]);
  to.set_root_guard_inconsistent(s[26]);
  to.set_loop_guard_inconsistent(s[27]);
  to.set_bridge_assure_inconsistent(s[28]);
}

void encodeProtobuf(benchmark::State& state) {
  const Scene<stp_bench::PortStatus> scene({});
  fill(*scene.value, HandPort());
  for (auto _ : state) {
    benchmark::DoNotOptimize(scene.value->SerializeToArray(scene.room.get(), roomBytes));
    benchmark::ClobberMemory();
  }
}

void decodeProtobuf(benchmark::State& state) {
  const Scene<stp_bench::PortStatus> scene({});
  stp_bench::PortStatus from;
  fill(from, HandPort());
  const int length = static_cast<int>(from.ByteSizeLong());
  from.SerializeToArray(scene.room.get(), length);
  for (auto _ : state) {
    benchmark::DoNotOptimize(scene.value->ParseFromArray(scene.room.get(), length));
    benchmark::ClobberMemory();
  }
  if (scene.value->SerializeAsString() != from.SerializeAsString()) {
    state.SkipWithError("decoded something else");
  }
}

BENCHMARK(encodeProtobuf)->Name("PortStatus/encode/peer:protobuf");
BENCHMARK(decodeProtobuf)->Name("PortStatus/decode/peer:protobuf");
#endif

// ------------------------------------------------------------------------------------ FlatBuffers

#ifdef STP_BENCH_FLATBUFFERS
void build(flatbuffers::FlatBufferBuilder& builder, const HandPort& from) {
  const auto vector = [&](int i) { return Bench::flat(from.vectors[i]); };
  const auto times = [&](int i) { return Bench::flat(from.times[i]); };
  const stp_bench_flat::PriorityVector vectors[] = {vector(0), vector(1), vector(2)};
  const stp_bench_flat::TimesVector timers[] = {times(0), times(1), times(2)};
  const auto& s = from.small;
  const auto flag = [&](size_t i) { return s[i] != 0; };
  builder.Finish(stp_bench_flat::CreatePortStatus(
      builder, from.state, from.transitions, from.flushes, from.priority, from.number, from.cost,
      &vectors[0], &timers[0], &vectors[1], &timers[1], &vectors[2], &timers[2], s[0], s[1],
      flag(2), flag(3), flag(4), flag(5), flag(6), flag(7), flag(8), flag(9), flag(10), flag(11),
      flag(12), flag(13), flag(14), flag(15), flag(16), flag(17), s[18], flag(19), flag(20),
      flag(21), flag(22), s[23], s[24], flag(25), flag(26), flag(27), flag(28)));
}

void take(HandPort& to, const stp_bench_flat::PortStatus& from) {
  to.state = from.state();
  to.transitions = from.transitions_to_forwarding_count();
  to.flushes = from.fdb_flush();
  to.priority = from.port_priority_number();
  to.number = from.port_number();
  to.cost = from.oper_int_path_cost();
  Bench::take(to.vectors[0], *from.port_priority());
  Bench::take(to.times[0], *from.port_times());
  Bench::take(to.vectors[1], *from.msg_priority());
  Bench::take(to.times[1], *from.msg_times());
  Bench::take(to.vectors[2], *from.designated_priority());
  Bench::take(to.times[2], *from.designated_times());
  to.small = {from.role(),
              from.selected_role(),
              from.sync(),
              from.synced(),
              from.proposing(),
              from.proposed(),
              from.agree(),
              from.agreed(),
              from.disputed(),
              from.learn(),
              from.forward(),
              from.re_root(),
              from.re_rooted(),
              from.rcvd_tc(),
              from.tc_prop(),
              from.send_master(),
              from.mastered(),
              from.info_internal(),
              from.info_is(),
              from.updt_info(),
              from.selected(),
              from.mst_pvst_tc_ack(),
              from.inconsistent_updated(),
              from.guard_status(),
              from.old_guard_status(),
              from.bridge_assurance_status(),
              from.root_guard_inconsistent(),
              from.loop_guard_inconsistent(),
              from.bridge_assure_inconsistent()};
}

void encodeFlatBuffers(benchmark::State& state) {
  const Scene<HandPort> scene(HandPort{});
  flatbuffers::FlatBufferBuilder builder(roomBytes);
  for (auto _ : state) {
    builder.Clear();
    build(builder, *scene.value);
    benchmark::DoNotOptimize(builder.GetBufferPointer());
    benchmark::ClobberMemory();
  }
}

void decodeFlatBuffers(benchmark::State& state) {
  const Scene<HandPort> scene(Bench::cleared<HandPort>());
  flatbuffers::FlatBufferBuilder builder(roomBytes);
  build(builder, HandPort());
  size_t length = builder.GetSize();
  std::memcpy(scene.room.get(), builder.GetBufferPointer(), length);
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    flatbuffers::Verifier verifier(scene.room.get(), length);
    if (!verifier.VerifyBuffer<stp_bench_flat::PortStatus>(nullptr)) {
      throw std::length_error("not a buffer");
    }
    take(*scene.value, *flatbuffers::GetRoot<stp_bench_flat::PortStatus>(scene.room.get()));
    benchmark::ClobberMemory();
  }
  if (*scene.value != HandPort()) state.SkipWithError("decoded something else");
}

BENCHMARK(encodeFlatBuffers)->Name("PortStatus/encode/peer:flatbuffers");
BENCHMARK(decodeFlatBuffers)->Name("PortStatus/decode/peer:flatbuffers");
#endif

}  // namespace
