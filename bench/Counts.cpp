// The hot paths, each run some thousand times, for bench/counts.sh, which lets callgrind count the
// instructions. With --build it prints what it was compiled with.
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "LocalMirror.h"
#include "MemoryLog.h"
#include "Stp/StpHw.h"
#include "Switch.h"
#include "Tovo/GenericIf.h"

namespace {

using Tovo::NboAttrLog::FlowOut;
using Tovo::NboAttrLog::In;
using Tovo::NboAttrLog::MountSide;
using Tovo::NboAttrLog::Out;

/// The compiler cannot know what is done with it.
template <class T>
void keep(T&& value) {
  asm volatile("" : : "g"(&value) : "memory");
}

/// Counts what `work` takes, which does `units` operations, for one of them.
template <class Work>
void count(const char* name, size_t units, const Work& work) {
  char label[128];
  std::snprintf(label, sizeof label, "%s %zu", name, units);
  CALLGRIND_ZERO_STATS;
  work();
  CALLGRIND_DUMP_STATS_AT(label);
}

/// Once before: symbols are bound, buffers are there.
template <class Operation>
void countEach(const char* name, size_t times, const Operation& operation) {
  const auto all = [&] {
    for (size_t i = 0; i < times; ++i) operation(i);
  };
  all();
  count(name, times, all);
}

constexpr size_t often = 10000;
constexpr Tovo::AttributeId changed = 261;  // MstiPortStatus::fdbFlush

struct Tree {
  Pelmo::Ptr<Stp::Status> root = Stp::Status::StatusIs("status");
  Pelmo::Ptr<Stp::MstiPortStatus> port = root->stpiStatusIs("cist")
                                             ->mstiStatusIs("mst1", Stp::InstanceId(1))
                                             ->mstiPortStatusIs("Ethernet1", 1);
};

struct Counting : Pelmo::Observer {
  uint64_t calls = 0;
  void handleChange(const Pelmo::Change&) override { ++calls; }
};

void setters() {
  const Tree tree;
  Stp::MstiPortStatus& port = *tree.port;
  uint32_t number = 0;
  countEach("set-unchanged", often, [&](size_t) {
    port.fdbFlushIs(number);
    keep(port);
  });
  countEach("set-changed", often, [&](size_t) {
    port.fdbFlushIs(++number);
    keep(port);
  });
  Counting observer;
  observer.observe(port.nodePublisher());
  countEach("set-changed-observed", often, [&](size_t) { port.fdbFlushIs(++number); });
  observer.detach();
  Counting above;
  above.observeRecursive(tree.root->nodePublisher());
  countEach("set-changed-observed-from-root", often, [&](size_t) { port.fdbFlushIs(++number); });
  if (observer.calls != 2 * often || above.calls != 2 * often) {
    throw std::runtime_error("the observers were not called once a change");
  }
}

void collections() {
  std::vector<std::string> texts(often);
  for (size_t i = 0; i < often; ++i) texts[i] = "Ethernet" + std::to_string(i + 1);
  std::vector<Pelmo::String> names;
  for (const std::string& text : texts) names.push_back(Pelmo::String::interned(text));
  std::vector<size_t> order(often);
  std::iota(order.begin(), order.end(), size_t{0});
  std::shuffle(order.begin(), order.end(), std::minstd_rand(1));
  const auto owner = Stp::MstiHw::MstiHwIs("mst1");
  const auto create = [&] {
    for (const Pelmo::String& name : names) owner->mstiPortHwIs(name);
  };
  const auto erase = [&] {
    for (const size_t i : order) owner->mstiPortHwDel(names[i]);
  };
  create();
  erase();
  count("create", often, create);
  countEach("find", often, [&](size_t i) { keep(owner->mstiPortHw(names[order[i]])); });
  countEach("find-text", often, [&](size_t i) { keep(owner->mstiPortHw(texts[order[i]])); });
  count("erase", often, erase);
}

void values() {
  Stp::PriorityVector vector;
  vector.extRootPathCostIs(Stp::PathCost(20000));
  uint8_t room[64] = {};
  countEach("value-encode", often, [&](size_t) {
    Out out(room);
    out << vector;
    keep(room);
  });
  countEach("value-decode", often, [&](size_t) {
    In in(room);
    keep(in.next<Stp::PriorityVector>());
  });
  std::string text;
  countEach("text-print", often, [&](size_t) {
    text.clear();
    vector.appendText(text);
  });
  countEach("text-parse", often,
            [&](size_t) { keep(Tovo::strepToValue<Stp::PriorityVector>(text)); });
}

void attributeLog() {
  const Tree tree;
  Stp::MstiPortStatus& port = *tree.port;
  {
    Bench::MemoryLog log;
    log.carry(port, MountSide::host, FlowOut::startNowhere);
    countEach("attribute-encode", often, [&](size_t i) {
      log.clear();
      port.fdbFlushIs(static_cast<uint32_t>(i + 1));
      log.pump();
    });
  }
  Bench::MemoryLog log;
  const uint32_t id = log.carry(port, MountSide::guest, FlowOut::startNowhere);
  countEach("attribute-decode", often, [&](size_t i) {
    const uint8_t payload[] = {0, 0, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
    log.handleMessage(id, changed, payload);
  });
}

/// For one port, and again for ten times as many: it must not depend on how many there are.
void fullSwitch(size_t instances, const char* build, const char* mirror, const char* change,
                const char* tearDown) {
  std::unique_ptr<Bench::Switch> tree;
  const size_t ports = Bench::Switch::portCount * instances;
  count(build, ports, [&] { tree = std::make_unique<Bench::Switch>(instances); });
  {
    std::unique_ptr<Bench::LocalMirror> mirrored;
    count(mirror, ports,
          [&] { mirrored = std::make_unique<Bench::LocalMirror>("/status", tree->root()); });
    if (mirrored->carried() != tree->entities()) throw std::runtime_error("not all is mirrored");
    const std::vector<Stp::MstiPortStatus*>& all = tree->ports();
    const size_t step = all.size() / 256;
    count(change, 256, [&] {
      for (size_t i = 0; i < 256; ++i) {
        Stp::MstiPortStatus& port = *all[i * step];
        port.fdbFlushIs(port.fdbFlush() + 1);
      }
      mirrored->settle();
    });
  }
  count(tearDown, ports, [&] { tree = nullptr; });
}

void all() {
  setters();
  collections();
  values();
  attributeLog();
  (void)Bench::Switch(4);  // once before
  fullSwitch(4, "switch-build", "switch-mirror", "switch-change", "switch-tear-down");
  fullSwitch(40, "switch-build-x10", "switch-mirror-x10", "switch-change-x10",
             "switch-tear-down-x10");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--build") == 0) {
    std::puts("compiler " STP_BENCH_COMPILER "\nflags " STP_BENCH_FLAGS);
    return 0;
  }
  try {
    all();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "stp_counts: %s\n", error.what());
    return 1;
  }
  return 0;
}
