// The values that the encoders are measured with: by hand, ours and those of the peers, with the
// same contents.
#pragma once

#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>

#include "Peers.h"
#include "Stp/StpStatus.h"

namespace Bench {

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
  friend bool operator==(const HandBridge&, const HandBridge&) = default;
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
  friend bool operator==(const HandVector&, const HandVector&) = default;
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
  friend bool operator==(const HandTimes&, const HandTimes&) = default;
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

/// All fields zero: what a decoder has to fill.
template <class Hand>
Hand cleared() {
  return std::bit_cast<Hand>(std::array<uint8_t, sizeof(Hand)>{});
}

template <class T>
T sample();

template <>
inline Stp::PriorityVector sample<Stp::PriorityVector>() {
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
inline Stp::TimesVector sample<Stp::TimesVector>() {
  Stp::TimesVector times;
  times.messageAgeIs(Stp::TimerVal(1, 0));
  times.maxAgeIs(Stp::TimerVal(20, 0));
  times.fwdDelayIs(Stp::TimerVal(15, 0));
  times.helloTimeIs(Stp::TimerVal(2, 0));
  times.remainingHopsIs(19);
  return times;
}

// ------------------------------------------------------------------------------------- protobuf

#ifdef STP_BENCH_PROTOBUF
/// A bridge as one number.
inline uint64_t numberOf(const HandBridge& bridge) {
  uint64_t address = 0;
  std::memcpy(reinterpret_cast<uint8_t*>(&address) + 2, bridge.address, sizeof bridge.address);
  return uint64_t{bridge.priority} << 48 | uint64_t{bridge.systemId} << 48 |
         __builtin_bswap64(address);
}

inline void fill(stp_bench::PriorityVector& to, const HandVector& from) {
  to.set_cist_root(numberOf(from.root));
  to.set_ext_root_path_cost(from.external);
  to.set_regional_root(numberOf(from.regional));
  to.set_int_root_path_cost(from.internal);
  to.set_bridge(numberOf(from.bridge));
  to.set_port_priority(from.portPriority);
  to.set_port_number(from.portNumber);
}

inline void fill(stp_bench::TimesVector& to, const HandTimes& from) {
  to.set_message_age(from.age);
  to.set_max_age(from.maxAge);
  to.set_fwd_delay(from.delay);
  to.set_hello_time(from.hello);
  to.set_remaining_hops(from.hops);
}
#endif

// ---------------------------------------------------------------------------------- FlatBuffers

#ifdef STP_BENCH_FLATBUFFERS
inline stp_bench_flat::Bridge flat(const HandBridge& bridge) {
  return {bridge.priority, bridge.systemId, Bytes::get16(bridge.address),
          Bytes::get32(bridge.address + 2)};
}

inline void take(HandBridge& to, const stp_bench_flat::Bridge& from) {
  to.priority = from.priority();
  to.systemId = from.system_id();
  Bytes::put32(Bytes::put16(to.address, from.address_high()), from.address_low());
}

inline stp_bench_flat::PriorityVector flat(const HandVector& from) {
  return {flat(from.root),   from.external,     flat(from.regional), from.internal,
          flat(from.bridge), from.portPriority, from.portNumber};
}

inline void take(HandVector& to, const stp_bench_flat::PriorityVector& from) {
  take(to.root, from.cist_root());
  to.external = from.ext_root_path_cost();
  take(to.regional, from.regional_root());
  to.internal = from.int_root_path_cost();
  take(to.bridge, from.bridge());
  to.portPriority = from.port_priority();
  to.portNumber = from.port_number();
}

inline stp_bench_flat::TimesVector flat(const HandTimes& from) {
  return {from.age, from.maxAge, from.delay, from.hello, from.hops};
}

inline void take(HandTimes& to, const stp_bench_flat::TimesVector& from) {
  to.age = from.message_age();
  to.maxAge = from.max_age();
  to.delay = from.fwd_delay();
  to.hello = from.hello_time();
  to.hops = from.remaining_hops();
}
#endif

// --------------------------------------------------------------------------------------- the scene

constexpr size_t roomBytes = 1024;

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

}  // namespace Bench
