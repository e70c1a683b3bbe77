#include "Tovo/OptionalByte.h"

#include <gtest/gtest.h>

#include "Support.h"

namespace Tovo {
namespace {

enum class Wide : uint8_t { low = 0, high = 254, absent = 255 };

TEST(OptionalByte, AbsenceIsNoneOfTheValues) {
  OptionalByte<bool> flag;
  EXPECT_FALSE(flag.present());
  EXPECT_NE(flag, OptionalByte<bool>(false));
  EXPECT_NE(OptionalByte<bool>(true), OptionalByte<bool>(false));
  flag = false;
  EXPECT_TRUE(flag.present());
  EXPECT_FALSE(flag.value());
  flag.clear();
  EXPECT_EQ(flag, OptionalByte<bool>());
  EXPECT_THROW(flag.value(), BadOptionalAccessException);

  EXPECT_EQ(OptionalByte<Wide>(Wide::high).value(), Wide::high);
  EXPECT_FALSE(OptionalByte<Wide>(Wide::absent).present());
}

}  // namespace
}  // namespace Tovo
