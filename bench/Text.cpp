// A priority vector as text with the names of its fields, beside a bare form through stdio.
#include <benchmark/benchmark.h>

#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "Tovo/GenericIf.h"
#include "Values.h"

#ifdef STP_BENCH_PROTOBUF
#include <google/protobuf/text_format.h>
#endif

namespace {

const char* const bareForm =
    "8001.02:00:00:00:00:01 20000 8001.02:00:00:00:00:01 2000 "
    "8001.02:00:00:00:00:01 128.7";

struct Bare {
  struct Bridge {
    uint16_t number = 0x8001;
    uint8_t address[6] = {2, 0, 0, 0, 0, 1};
  };
  Bridge root;
  uint32_t external = 20000;
  Bridge regional;
  uint32_t internal = 2000;
  Bridge bridge;
  uint8_t portPriority = 128;
  uint16_t portNumber = 7;
};

Stp::PriorityVector sample() { return Bench::sample<Stp::PriorityVector>(); }

void print(benchmark::State& state) {
  Stp::PriorityVector vector = sample();
  std::string text;
  for (auto _ : state) {
    benchmark::DoNotOptimize(vector);
    text.clear();
    vector.appendText(text);
    benchmark::DoNotOptimize(text.data());
    benchmark::ClobberMemory();
  }
}

void parse(benchmark::State& state) {
  std::string text;
  sample().appendText(text);
  Stp::PriorityVector vector;
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    benchmark::ClobberMemory();
    vector = Tovo::strepToValue<Stp::PriorityVector>(text);
    benchmark::DoNotOptimize(vector);
  }
  if (vector != sample()) state.SkipWithError("read something else");
}

#define BENCH_ADDRESS "%04" PRIx16 ".%02x:%02x:%02x:%02x:%02x:%02x"
#define BENCH_BRIDGE(b)                                                                       \
  (b).number, (b).address[0], (b).address[1], (b).address[2], (b).address[3], (b).address[4], \
      (b).address[5]

void printBare(benchmark::State& state) {
  Bare vector;
  char text[128] = "";
  for (auto _ : state) {
    benchmark::DoNotOptimize(vector);
    std::snprintf(
        text, sizeof text,
        BENCH_ADDRESS " %" PRIu32 " " BENCH_ADDRESS " %" PRIu32 " " BENCH_ADDRESS " %u.%u",
        BENCH_BRIDGE(vector.root), vector.external, BENCH_BRIDGE(vector.regional), vector.internal,
        BENCH_BRIDGE(vector.bridge), unsigned{vector.portPriority}, unsigned{vector.portNumber});
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
  if (std::string(text) != bareForm) state.SkipWithError("printed something else");
}

#define BENCH_SCAN_ADDRESS "%4" SCNx16 ".%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx"
#define BENCH_SCAN_BRIDGE(b)                                                       \
  &(b).number, &(b).address[0], &(b).address[1], &(b).address[2], &(b).address[3], \
      &(b).address[4], &(b).address[5]

void parseBare(benchmark::State& state) {
  const std::string text = bareForm;
  Bare vector;
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    const int fields =
        std::sscanf(text.c_str(),
                    BENCH_SCAN_ADDRESS " %" SCNu32 " " BENCH_SCAN_ADDRESS " %" SCNu32
                                       " " BENCH_SCAN_ADDRESS " %" SCNu8 ".%" SCNu16,
                    BENCH_SCAN_BRIDGE(vector.root), &vector.external,
                    BENCH_SCAN_BRIDGE(vector.regional), &vector.internal,
                    BENCH_SCAN_BRIDGE(vector.bridge), &vector.portPriority, &vector.portNumber);
    benchmark::DoNotOptimize(vector);
    if (fields != 25) {
      state.SkipWithError("not read to the end");
      break;
    }
  }
}

/// By hand: the bare form, and nothing but digits.
char* putNumber(char* to, uint32_t number) {
  char digits[10];
  size_t count = 0;
  do {
    digits[count++] = static_cast<char>('0' + number % 10);
    number /= 10;
  } while (number != 0);
  while (count > 0) *to++ = digits[--count];
  return to;
}

char* putBridge(char* to, const Bare::Bridge& bridge) {
  static constexpr char digits[] = "0123456789abcdef";
  for (int shift = 12; shift >= 0; shift -= 4) *to++ = digits[bridge.number >> shift & 15];
  char separator = '.';
  for (const uint8_t octet : bridge.address) {
    *to++ = separator;
    *to++ = digits[octet >> 4];
    *to++ = digits[octet & 15];
    separator = ':';
  }
  *to++ = ' ';
  return to;
}

void printByHand(benchmark::State& state) {
  Bare vector;
  char text[128] = "";
  for (auto _ : state) {
    benchmark::DoNotOptimize(vector);
    char* to = putNumber(putBridge(text, vector.root), vector.external);
    *to++ = ' ';
    to = putNumber(putBridge(to, vector.regional), vector.internal);
    *to++ = ' ';
    to = putNumber(putBridge(to, vector.bridge), vector.portPriority);
    *to++ = '.';
    *putNumber(to, vector.portNumber) = '\0';
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
  }
  if (std::string(text) != bareForm) state.SkipWithError("printed something else");
}

struct Reader {
  const char* at;
  bool good = true;

  void need(char wanted) { good = good && *at++ == wanted; }
  uint32_t number() {
    const char* const start = at;
    uint32_t number = 0;
    while (*at >= '0' && *at <= '9') number = number * 10 + static_cast<uint32_t>(*at++ - '0');
    good = good && at != start;
    return number;
  }
  uint32_t hex(int digits) {
    uint32_t number = 0;
    for (; good && digits > 0; --digits, ++at) {
      const bool decimal = *at >= '0' && *at <= '9';
      good = decimal || (*at >= 'a' && *at <= 'f');
      number = number << 4 | static_cast<uint32_t>(*at - (decimal ? '0' : 'a' - 10));
    }
    return number;
  }
  void bridge(Bare::Bridge& bridge) {
    bridge.number = static_cast<uint16_t>(hex(4));
    char separator = '.';
    for (uint8_t& octet : bridge.address) {
      need(separator);
      octet = static_cast<uint8_t>(hex(2));
      separator = ':';
    }
    need(' ');
  }
};

void parseByHand(benchmark::State& state) {
  const std::string text = bareForm;
  Bare vector;
  for (auto _ : state) {
    benchmark::DoNotOptimize(text.data());
    Reader reader{text.c_str()};
    reader.bridge(vector.root);
    vector.external = reader.number();
    reader.need(' ');
    reader.bridge(vector.regional);
    vector.internal = reader.number();
    reader.need(' ');
    reader.bridge(vector.bridge);
    vector.portPriority = static_cast<uint8_t>(reader.number());
    reader.need('.');
    vector.portNumber = static_cast<uint16_t>(reader.number());
    benchmark::DoNotOptimize(vector);
    if (!reader.good || *reader.at != '\0') {
      state.SkipWithError("not read to the end");
      break;
    }
  }
}

// JSON with the names of the fields.

nlohmann::json jsonOf(const Bench::HandBridge& bridge) {
  char text[32];
  const uint8_t* a = bridge.address;
  std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", a[0], a[1], a[2], a[3], a[4],
                a[5]);
  return {{"priority", bridge.priority}, {"systemId", bridge.systemId}, {"address", text}};
}

void take(Bench::HandBridge& to, const nlohmann::json& from) {
  to.priority = from.at("priority").get<uint16_t>();
  to.systemId = from.at("systemId").get<uint16_t>();
  uint8_t* a = to.address;
  const auto& text = from.at("address").get_ref<const std::string&>();
  if (std::sscanf(text.c_str(), "%2hhx:%2hhx:%2hhx:%2hhx:%2hhx:%2hhx", &a[0], &a[1], &a[2], &a[3],
                  &a[4], &a[5]) != 6) {
    throw std::runtime_error("not an address");
  }
}

std::string jsonText(const Bench::HandVector& vector) {
  const nlohmann::json object = {
      {"cistRoot", jsonOf(vector.root)},         {"extRootPathCost", vector.external},
      {"regionalRoot", jsonOf(vector.regional)}, {"intRootPathCost", vector.internal},
      {"bridge", jsonOf(vector.bridge)},         {"portPriority", vector.portPriority},
      {"portNumber", vector.portNumber}};
  return object.dump();
}

void printJson(benchmark::State& state) {
  const Bench::Scene<Bench::HandVector> scene(Bench::HandVector{});
  for (auto _ : state) {
    benchmark::DoNotOptimize(jsonText(*scene.value));
    benchmark::ClobberMemory();
  }
}

void parseJson(benchmark::State& state) {
  const std::string text = jsonText({});
  const Bench::Scene<Bench::HandVector> scene(Bench::cleared<Bench::HandVector>());
  Bench::HandVector& vector = *scene.value;
  for (auto _ : state) {
    const nlohmann::json object = nlohmann::json::parse(text);
    take(vector.root, object.at("cistRoot"));
    vector.external = object.at("extRootPathCost").get<uint32_t>();
    take(vector.regional, object.at("regionalRoot"));
    vector.internal = object.at("intRootPathCost").get<uint32_t>();
    take(vector.bridge, object.at("bridge"));
    vector.portPriority = object.at("portPriority").get<uint8_t>();
    vector.portNumber = object.at("portNumber").get<uint16_t>();
    benchmark::ClobberMemory();
  }
  if (vector != Bench::HandVector{}) state.SkipWithError("read something else");
}

#ifdef STP_BENCH_PROTOBUF
void printProtobuf(benchmark::State& state) {
  stp_bench::PriorityVector message;
  Bench::fill(message, {});
  std::string text;
  for (auto _ : state) {
    benchmark::DoNotOptimize(google::protobuf::TextFormat::PrintToString(message, &text));
    benchmark::ClobberMemory();
  }
}

void parseProtobuf(benchmark::State& state) {
  stp_bench::PriorityVector from;
  Bench::fill(from, {});
  std::string text;
  google::protobuf::TextFormat::PrintToString(from, &text);
  stp_bench::PriorityVector message;
  for (auto _ : state) {
    benchmark::DoNotOptimize(google::protobuf::TextFormat::ParseFromString(text, &message));
    benchmark::ClobberMemory();
  }
  if (message.SerializeAsString() != from.SerializeAsString()) {
    state.SkipWithError("read something else");
  }
}

BENCHMARK(printProtobuf)->Name("Text/print/peer:protobuf_text");
BENCHMARK(parseProtobuf)->Name("Text/parse/peer:protobuf_text");
#endif

BENCHMARK(print)->Name("Text/print/stp");
BENCHMARK(printByHand)->Name("Text/print/limit");
BENCHMARK(printBare)->Name("Text/print/peer:snprintf");
BENCHMARK(parse)->Name("Text/parse/stp");
BENCHMARK(parseByHand)->Name("Text/parse/limit");
BENCHMARK(parseBare)->Name("Text/parse/peer:sscanf");
BENCHMARK(printJson)->Name("Text/print/peer:json");
BENCHMARK(parseJson)->Name("Text/parse/peer:json");

}  // namespace
