#include <gtest/gtest.h>

#include "words/EditDistance.h"
#include "words/Phrases.h"

namespace {

TEST(EditDistance, CountsWhatAHandDoesWrong) {
  const struct {
    const char* a;
    const char* b;
    size_t distance;
  } cases[] = {
      {"", "", 0},
      {"", "port", 4},
      {"port", "port", 0},
      {"port", "Port", 1},             // case counts
      {"prot", "port", 1},             // a swap
      {"prt", "port", 1},              // an insertion
      {"poort", "port", 1},            // a deletion
      {"pert", "port", 1},             // a replacement
      {"ca", "abc", 3},                // what was swapped is not changed again
      {"rpotState", "portSatte", 3},   // a character that wanders costs two
      {"designated", "alternate", 6},  // nothing in common but some letters
  };
  for (const auto& [a, b, distance] : cases) {
    EXPECT_EQ(words::editDistance(a, b), distance) << a << " | " << b;
    EXPECT_EQ(words::editDistance(b, a), distance) << b << " | " << a;
  }
}

TEST(Phrases, KeepEmptyWordsAndAskForNothingWithoutOne) {
  EXPECT_EQ(words::joined({}), "");
  EXPECT_EQ(words::joined({"a"}), "a");
  EXPECT_EQ(words::joined({"", "a", ""}, " "), " a ");
  EXPECT_EQ(words::counted(0, "entity", "entities"), "0 entities");
  EXPECT_EQ(words::counted(1, "entity", "entities"), "1 entity");
  EXPECT_EQ(words::didYouMean(""), "");
  EXPECT_EQ(words::didYouMean("port"), "; did you mean 'port'?");
}

}  // namespace
