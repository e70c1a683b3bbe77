// Random worlds, and one that is cut at each byte that ends a message: all mirrors end equal.
//
//   MIRROR_SIM_SEEDS=50000   runs so many instead
//   MIRROR_SIM_FROM=7000     begins there
//   MIRROR_SIM_SCHEDULE=...  runs one schedule, as a failure prints it; with MIRROR_SIM_CUT=800 or
//                            MIRROR_SIM_FAILING=30 the streams or that allocation fail
//   MIRROR_SIM_MINIMISE=17   makes the schedule of a seed that crashes shorter
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include "../Support.h"
#include "Faults.h"
#include "Simulation.h"

namespace Mirror {
namespace {

class SimulationTest : public Test {};

uint64_t setting(const char* name, uint64_t otherwise) {
  const char* text = std::getenv(name);
  return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

// Which seed it was is known even if the process does not live to say it.
char running[128];

void sayAndDie(int number) {
  (void)!::write(STDERR_FILENO, running, std::strlen(running));
  std::signal(number, SIG_DFL);
  std::raise(number);
}

void runSeed(uint64_t seed) {
  std::snprintf(running, sizeof running, "\ncrashed; MIRROR_SIM_MINIMISE=%llu makes it shorter\n",
                static_cast<unsigned long long>(seed));
  const Schedule schedule = scheduleOf(seed);
  if (const auto wrong = run(schedule)) {
    const Schedule shorter = minimised(schedule);
    FAIL() << "seed " << seed << ": " << run(shorter).value_or(*wrong)
           << "\nkeep in tests/mirror/sim/regressions.txt:\n"
           << textOf(shorter);
  }
}

TEST_F(SimulationTest, EverySeedEndsEqual) {
  for (const int number : {SIGSEGV, SIGABRT, SIGBUS}) std::signal(number, &sayAndDie);
  if (const uint64_t crashing = setting("MIRROR_SIM_MINIMISE", 0)) {
    FAIL() << textOf(minimised(scheduleOf(crashing)));
  }
  if (const char* schedule = std::getenv("MIRROR_SIM_SCHEDULE")) {
    Trouble trouble;
    if (const uint64_t cut = setting("MIRROR_SIM_CUT", 0)) trouble.cutAfter = cut;
    if (const uint64_t failing = setting("MIRROR_SIM_FAILING", 0)) {
      trouble.failingAllocation = failing;
    }
    // What the process remembers for ever is there before: allocations are counted without it.
    run(scheduleFrom(schedule));
    const auto wrong = run(scheduleFrom(schedule), trouble);
    ASSERT_FALSE(wrong) << *wrong;
    return;
  }
  const uint64_t first = setting("MIRROR_SIM_FROM", 1);
  const uint64_t last = first + setting("MIRROR_SIM_SEEDS", MIRROR_SIM_USUAL) - 1;
  for (uint64_t seed = first; seed <= last; ++seed) {
    ASSERT_NO_FATAL_FAILURE(runSeed(seed));
  }
}

// Two worlds whose steps are the same, so that each message and each allocation has its place.
const char* const short_[] = {"2 a0.3 w0.11 a0.3 w1.12 w0.13 a0.3 a0.3 t0.900 a0.3 w0.14 a0.3",
                              "9 a0.3 w0.21 a0.3 w1.22 w2.23 a0.3 a0.3 t0.900 a0.3 w0.24 a0.3"};

TEST_F(SimulationTest, PeersThatAreKilledAtEachMessage) {
  for (const char* text : short_) {
    const Schedule schedule = scheduleFrom(text);
    ASSERT_FALSE(run(schedule, {UINT64_MAX, {}}));
    const std::vector<uint64_t> boundaries = Cut::boundaries();
    ASSERT_GT(boundaries.size(), 15u);
    for (const uint64_t boundary : boundaries) {
      for (const uint64_t cut : {boundary, boundary + 3, boundary + 9}) {
        const auto wrong = run(schedule, {cut, {}});
        ASSERT_FALSE(wrong) << text << ", cut behind " << cut << " bytes: " << *wrong;
      }
    }
  }
}

TEST_F(SimulationTest, EachAllocationThatFails) {
  for (const char* text : short_) {
    const Schedule schedule = scheduleFrom(text);
    ASSERT_FALSE(run(schedule));
    uint64_t failures = Faults::failures();
    for (uint64_t failing = 1;; ++failing) {
      const auto wrong = run(schedule, {{}, failing});
      ASSERT_FALSE(wrong) << text << ", allocation " << failing << ": " << *wrong;
      // None left that could fail.
      if (std::exchange(failures, Faults::failures()) == Faults::failures()) break;
      ASSERT_LT(failing, 100000u);
    }
  }
}

// What once went wrong.
TEST_F(SimulationTest, Regressions) {
  std::ifstream file(MIRROR_SIM_REGRESSIONS);
  ASSERT_TRUE(file) << MIRROR_SIM_REGRESSIONS;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.empty() || line.front() == '#') continue;
    const auto wrong = run(scheduleFrom(line));
    EXPECT_FALSE(wrong) << "line " << number << ": " << *wrong;
  }
}

}  // namespace
}  // namespace Mirror
