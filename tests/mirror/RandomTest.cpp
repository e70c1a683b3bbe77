// Random writers, random scheduling: whatever happens on the way, both ends are equal in the end
// and what the mirror published adds up to what it is.
#include <algorithm>
#include <cstdlib>
#include <string>

#include "Support.h"
#include "Tovo/Collection.h"

namespace Mirror {
namespace {

class RandomTest : public Test {};

const char* const treeTypes[] = {"Stp::Config",
                                 "Stp::Status",
                                 "Stp::Hw",
                                 "Stp::Input::Config",
                                 "Stp::PortCounterDir",
                                 "Stp::OCMstiConfigDir",
                                 "Stp::OCInterfaceStateDir"};

struct Schedule {
  uint64_t seed;
  const char* type;
  bool guestWrites;
};

void run(const Schedule& schedule) {
  std::mt19937_64 random(schedule.seed);
  const auto below = [&](uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
  // From less than one message to more than everything.
  const size_t outputs[] = {1, 40, 300, 4000, 256 * 1024};
  const size_t chunks[] = {1, 3, 17, 100, 4096};
  Limits hostLimits;
  Limits guestLimits;
  hostLimits.outputBytes = outputs[below(5)];
  guestLimits.outputBytes = outputs[below(5)];
  const size_t chunk = chunks[below(5)];

  Directory hostDirectory;
  Directory guestDirectory;
  Relay relay;
  Connection host(relay.hostFd(), hostDirectory, hostLimits);
  Connection guest(relay.guestFd(), guestDirectory, guestLimits);
  const Ptr<Entity> root = hostDirectory.newEntity("/root", schedule.type);
  // What the guest has from before is brought up to date.
  if (below(2) == 0) {
    const Ptr<Entity> old = guestDirectory.newEntity("/root", schedule.type);
    Writer(*old, random()).steps(static_cast<int>(below(60)));
  }
  Writer hostWriter(*root, random());
  hostWriter.steps(static_cast<int>(below(200)));
  guest.guest().mount("/root", !schedule.guestWrites);

  std::unique_ptr<Replay> replay;
  std::unique_ptr<Writer> guestWriter;
  const auto meet = [&] {
    Entity* mirror = guestDirectory.mounted("/root");
    if (!mirror || replay || guest.log().numbers().count() == 0) return;
    replay = std::make_unique<Replay>(*mirror);
    guestWriter = std::make_unique<Writer>(*mirror, random());
  };
  const auto readGuest = [&] {
    guest.handleReadable();
    if (replay) replay->turnIsOver();
  };
  const int rounds = 100 + static_cast<int>(below(200));
  for (int round = 0; round < rounds; ++round) {
    meet();
    switch (below(10)) {
      case 0:
      case 1:
        hostWriter.steps(static_cast<int>(below(12)));
        break;
      case 2:
        if (schedule.guestWrites && guestWriter) guestWriter->steps(static_cast<int>(below(12)));
        break;
      case 3:
        host.flush();
        break;
      case 4:
        guest.flush();
        break;
      case 5:
        host.handleReadable();
        break;
      case 6:
        readGuest();
        break;
      case 7:
        for (uint32_t i = below(60); i > 0; --i) relay.toHost(chunk);
        break;
      default:
        for (uint32_t i = below(60); i > 0; --i) relay.toGuest(chunk);
    }
  }
  const auto settle = [&] {
    for (int quiet = 0; quiet < 3; ++quiet) {
      meet();
      host.flush();
      guest.flush();
      while (relay.toGuest(chunk)) quiet = -1;
      while (relay.toHost(chunk)) quiet = -1;
      host.handleReadable();
      readGuest();
    }
  };
  settle();
  // The guest may have deleted what the host refers to.
  hostWriter.clearDangling();
  settle();
  ASSERT_FALSE(host.closed()) << host.closeReason();
  ASSERT_FALSE(guest.closed()) << guest.closeReason();
  ASSERT_TRUE(replay);
  expectSame(*root, *guestDirectory.mounted("/root"));
  replay->expectComplete();
  EXPECT_TRUE(host.log().carrier().queue().empty());
  EXPECT_TRUE(guest.log().carrier().queue().empty());
  // Nothing is carried that does not exist.
  EXPECT_EQ(guest.guest().synced(), 1u);
}

// MIRROR_SEEDS=500 runs more; MIRROR_SEED=17 runs one.
uint64_t firstSeed() {
  const char* one = std::getenv("MIRROR_SEED");
  return one ? std::strtoull(one, nullptr, 10) : 1;
}

uint64_t lastSeed() {
  if (std::getenv("MIRROR_SEED")) return firstSeed();
  const char* more = std::getenv("MIRROR_SEEDS");
  return more ? std::strtoull(more, nullptr, 10) : 40;
}

TEST_F(RandomTest, ReaderEndsEqual) {
  for (const char* type : treeTypes) {
    for (uint64_t seed = firstSeed(); seed <= lastSeed(); ++seed) {
      SCOPED_TRACE(std::string(type) + ", seed " + std::to_string(seed));
      ASSERT_NO_FATAL_FAILURE(run({seed, type, false}));
      if (HasFailure()) return;
    }
  }
}

TEST_F(RandomTest, BothWriteAndConverge) {
  for (const char* type : treeTypes) {
    for (uint64_t seed = firstSeed(); seed <= lastSeed(); ++seed) {
      SCOPED_TRACE(std::string(type) + ", seed " + std::to_string(seed));
      ASSERT_NO_FATAL_FAILURE(run({seed, type, true}));
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace Mirror
