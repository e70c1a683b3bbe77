// stp_bench_memory WHAT: makes 100 ports in each of 1,000 instances and prints in bytes what the
// process took for them: objects, slots, pages, heap, resident. A process of its own, since a heap
// that was used before gives other figures. WHAT is
//
//   collections   ports in the collections of their instances
//   instances     the instances without ports
//   names         the names of the ports
//   peer          a class of the same attributes in an unordered_map
//   peer-absl     the same in a flat_hash_map
//
// or makes 100,000 elements of 320 bytes with different names in one collection:
//
//   blocks        entities
//   blocks-std    in an unordered_map
//   blocks-absl   in a flat_hash_map
#include <malloc.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Morsa/Slab.h"
#include "Stp/StpStatus.h"
#include "bench/BenchBlock.h"

#ifdef STP_BENCH_ABSL
#include <absl/container/flat_hash_map.h>
#endif

namespace {

constexpr size_t portCount = 100;
constexpr size_t instanceCount = 1000;

struct Taken {
  size_t objects = 0;   // entities of all kinds, as they account for themselves
  size_t slots = 0;     // the allocator's slots for them
  size_t pages = 0;     // the allocator's pages, mapped apart from the heap
  size_t heap = 0;      // malloc: everything else
  size_t resident = 0;  // memory that was touched

  static Taken now() {
    Taken taken;
    for (const auto* type = Tovo::AllocTrackTypeInfo::first(); type; type = type->next()) {
      taken.objects += type->liveBytes();
    }
    taken.slots = Morsa::usage().slotBytes;
    taken.pages = Morsa::usage().pageBytes;
    const struct mallinfo2 heap = ::mallinfo2();
    taken.heap = heap.uordblks + heap.hblkhd;
    if (std::FILE* file = std::fopen("/proc/self/statm", "r")) {
      size_t total = 0;
      if (std::fscanf(file, "%zu %zu", &total, &taken.resident) != 2) taken.resident = 0;
      std::fclose(file);
      taken.resident *= static_cast<size_t>(::sysconf(_SC_PAGESIZE));
    }
    return taken;
  }

  void printSince(const Taken& before) const {
    std::printf("%zu %zu %zu %zu %zu\n", objects - before.objects, slots - before.slots,
                pages - before.pages, heap - before.heap, resident - before.resident);
  }
};

std::string portName(size_t i) { return "Ethernet" + std::to_string(i + 1); }

/// Stage after stage; the one that is asked for is measured.
void measureStp(std::string_view what) {
  std::vector<Pelmo::String> names(portCount);
  std::vector<Stp::MstiStatus*> owners(instanceCount);
  const Pelmo::Ptr<Stp::StpiStatus> tree = Stp::StpiStatus::StpiStatusIs("cist");
  const auto stage = [&](std::string_view name, const auto& make) {
    const Taken before = Taken::now();
    make();
    if (name == what) Taken::now().printSince(before);
  };
  stage("names", [&] {
    for (size_t i = 0; i < portCount; ++i) {
      names[i] = Pelmo::String::interned(std::string_view(portName(i)));
    }
  });
  stage("instances", [&] {
    for (size_t i = 0; i < instanceCount; ++i) {
      const Stp::InstanceId id(static_cast<uint16_t>(i));
      owners[i] = tree->mstiStatusIs("mst" + std::to_string(i), id).get();
    }
  });
  stage("collections", [&] {
    for (Stp::MstiStatus* owner : owners) {
      for (const Pelmo::String& name : names) owner->mstiPortStatusIs(name, 1);
    }
  });
}

/// The usual way: a name, an owner and a list of observers.
struct PeerPort {
  virtual ~PeerPort() = default;
  std::string name;
  void* owner = nullptr;
  std::vector<void*> observers;
  std::array<uint8_t, sizeof(Stp::MstiPortStatus) - sizeof(Tovo::Entity)> attributes{};
};

template <class Map>
void measurePeer() {
  std::vector<Map> owners(instanceCount);
  const Taken before = Taken::now();
  for (auto& owner : owners) {
    for (size_t i = 0; i < portCount; ++i) {
      auto port = std::make_unique<PeerPort>();
      port->name = portName(i);
      owner.emplace(portName(i), std::move(port));
    }
  }
  Taken::now().printSince(before);
}

// ------------------------------------------------------------------------------------------ blocks

constexpr size_t blockBytes = 320;
constexpr size_t blockCount = 100 * 1000;

void measureBlocks() {
  static_assert(sizeof(Bench::Block) == blockBytes, "change what is in BenchBlock.tdl");
  const auto owner = Bench::Blocks::BlocksIs("blocks");
  const Taken before = Taken::now();
  for (size_t i = 0; i < blockCount; ++i) owner->blockIs(portName(i));
  Taken::now().printSince(before);
}

struct PeerBlock {
  virtual ~PeerBlock() = default;
  std::string name;
  void* owner = nullptr;
  std::vector<void*> observers;
  std::array<uint8_t, blockBytes - sizeof(void*) - sizeof(std::string) - sizeof(void*) -
                          sizeof(std::vector<void*>)>
      attributes{};
};
static_assert(sizeof(PeerBlock) == blockBytes);

template <class Map>
void measurePeerBlocks() {
  Map owner;
  const Taken before = Taken::now();
  owner.reserve(blockCount);
  for (size_t i = 0; i < blockCount; ++i) {
    auto block = std::make_unique<PeerBlock>();
    block->name = portName(i);
    owner.emplace(portName(i), std::move(block));
  }
  Taken::now().printSince(before);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc == 2 ? argv[1] : "";
  if (what == "peer") {
    measurePeer<std::unordered_map<std::string, std::unique_ptr<PeerPort>>>();
  } else if (what == "blocks") {
    measureBlocks();
  } else if (what == "blocks-std") {
    measurePeerBlocks<std::unordered_map<std::string, std::unique_ptr<PeerBlock>>>();
#ifdef STP_BENCH_ABSL
  } else if (what == "peer-absl") {
    measurePeer<absl::flat_hash_map<std::string, std::unique_ptr<PeerPort>>>();
  } else if (what == "blocks-absl") {
    measurePeerBlocks<absl::flat_hash_map<std::string, std::unique_ptr<PeerBlock>>>();
#endif
  } else if (what == "collections" || what == "instances" || what == "names") {
    measureStp(what);
  } else {
    std::fprintf(stderr, "usage: stp_bench_memory WHAT\n");
    return 2;
  }
  return 0;
}
