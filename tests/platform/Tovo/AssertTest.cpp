#include "Tovo/Assert.h"

#include <gtest/gtest.h>

#include <string>

namespace Tovo {
namespace {

int fourth(int value) {
  TOVO_ASSERT_AT("Test/Source", value % 4 == 0);
  return value / 4;
}

TEST(Assert, AHandlerMayThrow) {
  const AssertionHandler before = assertionHandlerIs(&throwAssertionError);
  EXPECT_EQ(before, nullptr);
  EXPECT_EQ(fourth(8), 2);
  try {
    fourth(7);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const AssertionError& error) {
    const std::string what = error.what();
    EXPECT_TRUE(what.starts_with("assertion 'value % 4 == 0' failed in Test/Source:")) << what;
    EXPECT_NE(what.find("fourth(int)"), std::string::npos) << what;
  }
  EXPECT_EQ(assertionHandlerIs(before), &throwAssertionError);
}

TEST(AssertDeathTest, AbortsWithoutAHandlerAndWhenItReturns) {
  EXPECT_DEATH(fourth(7), "assertion 'value % 4 == 0' failed in Test/Source:.*fourth\\(int\\)");
  EXPECT_DEATH(
      {
        assertionHandlerIs([](const AssertionFailure&) {});
        fourth(7);
      },
      "failed in Test/Source");
}

}  // namespace
}  // namespace Tovo
