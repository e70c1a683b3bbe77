#include "Tovo/System.h"

#include <gtest/gtest.h>

#include <thread>

namespace Tovo {
namespace {

TEST(System, TheClockStopsWhereItIsPutAndRunsOn) {
  const Seconds start = System::currentTime();
  EXPECT_GE(System::currentTime(), start);
  for (const Seconds moment : {0.0, 1234.5, -1.0, start - 10}) {
    System::currentTimeIs(moment);
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    EXPECT_EQ(System::currentTime(), moment);
  }
  System::clockRuns();
  EXPECT_GE(System::currentTime(), start);
  const Seconds before = System::currentTime();
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  EXPECT_GE(System::currentTime() - before, 0.002);
}

}  // namespace
}  // namespace Tovo
