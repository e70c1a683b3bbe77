// Values as bytes, and back.
#include <array>
#include <new>
#include <stdexcept>

#include "Tovo/AttrLog/In.h"
#include "Tovo/AttrLog/Out.h"
#include "Values.h"

namespace {

using Bench::HandTimes;
using Bench::HandVector;
using Bench::roomBytes;
using Bench::sample;
using Bench::Scene;
using Tovo::NboAttrLog::In;
using Tovo::NboAttrLog::Out;

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

// A program with protobuf keeps its values in the message; with FlatBuffers it has a struct, and
// reads into one after the buffer was verified. Messages, builders and buffers are made once.

#ifdef STP_BENCH_PROTOBUF
template <class Message, class Hand>
void encodeProtobuf(benchmark::State& state) {
  const Scene<Message> scene(Message{});
  Bench::fill(*scene.value, Hand{});
  for (auto _ : state) {
    benchmark::DoNotOptimize(scene.value->SerializeToArray(scene.room.get(), roomBytes));
    benchmark::ClobberMemory();
  }
}

template <class Message, class Hand>
void decodeProtobuf(benchmark::State& state) {
  const Scene<Message> scene(Message{});
  Message from;
  Bench::fill(from, Hand{});
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

BENCHMARK(encodeProtobuf<stp_bench::PriorityVector, HandVector>)
    ->Name("PriorityVector/encode/peer:protobuf");
BENCHMARK(decodeProtobuf<stp_bench::PriorityVector, HandVector>)
    ->Name("PriorityVector/decode/peer:protobuf");
BENCHMARK(encodeProtobuf<stp_bench::TimesVector, HandTimes>)
    ->Name("TimesVector/encode/peer:protobuf");
BENCHMARK(decodeProtobuf<stp_bench::TimesVector, HandTimes>)
    ->Name("TimesVector/decode/peer:protobuf");
#endif

#ifdef STP_BENCH_FLATBUFFERS
flatbuffers::Offset<stp_bench_flat::Vector> table(flatbuffers::FlatBufferBuilder& builder,
                                                  const HandVector& from) {
  const stp_bench_flat::PriorityVector value = Bench::flat(from);
  return stp_bench_flat::CreateVector(builder, &value);
}

flatbuffers::Offset<stp_bench_flat::Times> table(flatbuffers::FlatBufferBuilder& builder,
                                                 const HandTimes& from) {
  const stp_bench_flat::TimesVector value = Bench::flat(from);
  return stp_bench_flat::CreateTimes(builder, &value);
}

template <class Hand>
void encodeFlatBuffers(benchmark::State& state) {
  const Scene<Hand> scene(Hand{});
  flatbuffers::FlatBufferBuilder builder(roomBytes);
  for (auto _ : state) {
    builder.Clear();
    builder.Finish(table(builder, *scene.value));
    benchmark::DoNotOptimize(builder.GetBufferPointer());
    benchmark::ClobberMemory();
  }
}

template <class Table, class Hand>
void decodeFlatBuffers(benchmark::State& state) {
  const Scene<Hand> scene(Bench::cleared<Hand>());
  flatbuffers::FlatBufferBuilder builder(roomBytes);
  builder.Finish(table(builder, Hand{}));
  size_t length = builder.GetSize();
  std::memcpy(scene.room.get(), builder.GetBufferPointer(), length);
  for (auto _ : state) {
    benchmark::DoNotOptimize(length);
    flatbuffers::Verifier verifier(scene.room.get(), length);
    if (!verifier.VerifyBuffer<Table>(nullptr)) throw std::length_error("not a buffer");
    Bench::take(*scene.value, *flatbuffers::GetRoot<Table>(scene.room.get())->value());
    benchmark::ClobberMemory();
  }
  if (*scene.value != Hand{}) state.SkipWithError("decoded something else");
}

BENCHMARK(encodeFlatBuffers<HandVector>)->Name("PriorityVector/encode/peer:flatbuffers");
BENCHMARK(decodeFlatBuffers<stp_bench_flat::Vector, HandVector>)
    ->Name("PriorityVector/decode/peer:flatbuffers");
BENCHMARK(encodeFlatBuffers<HandTimes>)->Name("TimesVector/encode/peer:flatbuffers");
BENCHMARK(decodeFlatBuffers<stp_bench_flat::Times, HandTimes>)
    ->Name("TimesVector/decode/peer:flatbuffers");
#endif

}  // namespace
