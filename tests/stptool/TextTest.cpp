// How the tool orders, aligns and shows text.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "Process.h"
#include "Tovo/Printable.h"
#include "stptool/commands/RateTable.h"
#include "stptool/json/Json.h"
#include "stptool/model/Explain.h"
#include "stptool/reference/Page.h"
#include "stptool/text/NaturalOrder.h"
#include "stptool/text/Suggest.h"
#include "stptool/text/Table.h"
#include "stptool/text/TimeText.h"

namespace stptool {
namespace {

TEST(NaturalOrder, IsStrictAndTotalAndCountsNumbers) {
  std::vector<std::string> ordered = words(
      "0 00 1 2 10 Ethernet Ethernet1 Ethernet2 Ethernet02b Ethernet3/1 Ethernet3/10 Ethernet10 "
      "Ethernet99999999999999999999999 Port-Channel1 ethernet1 \xff");
  ordered.insert(ordered.begin(), "");
  for (size_t i = 0; i < ordered.size(); ++i) {
    for (size_t j = 0; j < ordered.size(); ++j) {
      // "0" and "00" differ in leading zeros alone: any order will do, as long as it is one.
      EXPECT_EQ(naturalLess(ordered[i], ordered[j]), i < j) << ordered[i] << " | " << ordered[j];
    }
  }
}

TEST(Suggestion, FindsSlipsOfTheHandAndNothingElse) {
  const std::vector<std::string> known = {"portState", "active", "Stp::MstiPortHw"};
  EXPECT_EQ(suggestion("protState", known), "; did you mean 'portState'?");
  EXPECT_EQ(suggestion("PORTSTATE", known), "; did you mean 'portState'?");
  EXPECT_EQ(suggestion("actve", known), "; did you mean 'active'?");
  EXPECT_EQ(suggestion("MstiPorthw", known), "; did you mean 'Stp::MstiPortHw'?");
  EXPECT_EQ(suggestion("zebra", known), "");
  EXPECT_EQ(suggestion("portABCDe", known), "") << "four of nine are wrong";
  EXPECT_EQ(suggestion("", known), "");
  EXPECT_EQ(suggestion("x", {}), "");
}

TEST(Printable, LetsNothingCommandATerminal) {
  EXPECT_EQ(Tovo::printable("Ethernet1 \xc3\xa4 \xf0\x9f\x94\x8c"),
            "Ethernet1 \xc3\xa4 \xf0\x9f\x94\x8c");
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"\x1b[2J", "\\x1b[2J"},  // escape sequence
      {"a\nb\x7f", "a\\x0ab\\x7f"},
      {"\xc2\x9b"
       "31m",
       "\\xc2\\x9b"
       "31m"},  // the same as one character of C1
      {"a\xe2\x80\xae"
       "b",
       "a\\xe2\\x80\\xae"
       "b"},                                         // right-to-left override
      {"\xe2\x81\xa6", "\\xe2\\x81\\xa6"},           // isolate
      {"\xe2\x80\x8b", "\\xe2\\x80\\x8b"},           // zero width space
      {"\xe2\x80\xa8", "\\xe2\\x80\\xa8"},           // line separator
      {"\xc2\xad", "\\xc2\\xad"},                    // soft hyphen
      {"\xef\xbb\xbf", "\\xef\\xbb\\xbf"},           // byte order mark
      {"\xf3\xa0\x81\x81", "\\xf3\\xa0\\x81\\x81"},  // tag
      {"\xff", "\\xff"},
      {"\xc3", "\\xc3"},                             // cut short
      {"\xc0\xaf", "\\xc0\\xaf"},                    // overlong
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // surrogate
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // above the last code point
      {std::string("\0", 1), "\\x00"},
  };
  for (const auto& [text, shown] : cases) {
    EXPECT_EQ(Tovo::printable(text), shown);
    EXPECT_FALSE(Tovo::isPrintable(text)) << shown;
  }
  const Json json{{"\xe2\x80\xae", "\xc2\x9b\xf3\xa0\x81\x81\x7f\xff\n\xc3\xa4"}};
  EXPECT_EQ(jsonText(json),
            "{\"\\u202e\":\"\\u009b\\udb40\\udc41\\u007f\xef\xbf\xbd\\n\xc3\xa4\"}");
  EXPECT_EQ(Json::parse(jsonText(json, 2)).begin().key(), "\xe2\x80\xae");
}

TEST(RateTable, HasTheMostFrequentOnesFirst) {
  RateTable table;
  const auto change = [&](const char* path, const char* attribute, int times) {
    for (; times > 0; --times) {
      table.add({ChangeEvent::Kind::set, path, attribute, {}, {}, {}, {}, {}});
    }
  };
  change("/a/2", "few", 1);
  change("/a/10", "many", 5);
  change("/a/10", "some", 3);
  change("/a/9", "some", 3);
  change("/a/9", "any", 3);
  std::string order;
  const Json json = table.json(2, 4);
  for (const Json& entry : json.at("top")) {
    order += entry.at("path").get<std::string>() + entry.at("attribute").get<std::string>() + " ";
  }
  EXPECT_EQ(order, "/a/10many /a/9any /a/9some /a/10some ");
  EXPECT_EQ(json.at("top")[0].at("perSecond"), 2.5);
}

TEST(TableText, AlignsByCharactersAndLeavesOutEmptyColumns) {
  Table table;
  table.header({"id", "unit", "name", "doc"});
  table.row({"1", "", "\xc3\xa4", "first"});
  table.row({"22", "", "abc", ""});
  EXPECT_EQ(table.text(" "),
            " id  name  doc\n"
            " 1   \xc3\xa4     first\n"
            " 22  abc\n");
}

TEST(Reference, EscapesWhatItsFormsTakeForMarkup) {
  const Prose cell{{"x|y", true}, {" a<b"}};
  const std::vector<Page> pages{{"page", "Page", {Rows{{"column"}, {{cell}}}}}};
  EXPECT_TRUE(markdownFiles(pages).front().text.ends_with("| `x\\|y` a\\<b |\n"));
  EXPECT_NE(htmlFiles(pages).front().text.find("x|y</code> a&lt;b"), std::string::npos);
}

TEST(FirstSentence, EndsWhereTheNextOneStarts) {
  EXPECT_EQ(firstSentence("One. Two."), "One.");
  EXPECT_EQ(firstSentence("See IEEE 802.1Q-2018 13.26, e.g. here. Then more."),
            "See IEEE 802.1Q-2018 13.26, e.g. here.");
  EXPECT_EQ(firstSentence("No end"), "No end");
  EXPECT_EQ(firstSentence(nullptr), "");
}

}  // namespace
// A damaged recording may name any of them.
TEST(TimeText, HasAllTimes) {
  const auto shown = [](int64_t count) {
    return universalTime(TimePoint(std::chrono::nanoseconds(count)));
  };
  EXPECT_EQ(shown(std::numeric_limits<int64_t>::min()), "1677-09-21T00:12:43.145Z");
  EXPECT_EQ(shown(-1), "1969-12-31T23:59:59.999Z");
  EXPECT_EQ(shown(0), "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(shown(std::numeric_limits<int64_t>::max()), "2262-04-11T23:47:16.854Z");
}

}  // namespace stptool
