#include "Nelka/IntfId.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <vector>

#include "Nelka/NetU8.h"
#include "Support.h"
#include "Tovo/Exceptions.h"

namespace Nelka {
namespace {

using namespace platform::test;

std::string textOf(const IntfId& id) {
  std::string text;
  id.appendText(text);
  return text;
}

TEST(IntfId, NamesAndTheirNumbers) {
  const std::pair<const char*, uint64_t> cases[] = {
      {"", 0},
      {"Ethernet1", 0x1000100000000000},
      {"Ethernet0", 0x1000000000000000},
      {"Ethernet3/1", 0x1400300100000000},
      {"Ethernet3/1/2", 0x1800300100200000},
      {"Ethernet3/1.100", 0x1400300100000065},
      {"Ethernet16383/4095/4095.4095", 0x1bfffffffff01000},
      {"Ethernet1.0", 0x1000100000000001},
      {"Management1", 0x2000100000000000},
      {"Port-Channel10", 0x3000a00000000000},
      {"Port-Channel10.7", 0x3000a00000000008},
      {"Vlan4095", 0x40fff00000000000},
      {"Loopback0", 0x5000000000000000},
  };
  for (const auto& [name, number] : cases) {
    SCOPED_TRACE(name);
    EXPECT_EQ(IntfId(name).number(), number);
    EXPECT_EQ(textOf(IntfId(number)), name);
    EXPECT_EQ(IntfId(name).empty(), number == 0);
  }
}

TEST(IntfId, RandomNamesReadBackAndOrderByTheirParts) {
  const char* const kinds[] = {"Ethernet", "Management", "Port-Channel", "Vlan", "Loopback"};
  std::mt19937_64 random(9);
  struct Named {
    std::array<uint64_t, 6> parts;  // kind, count, numbers, subinterface plus 1
    IntfId id;
  };
  std::vector<Named> all;
  for (int round = 0; round < 400; ++round) {
    Named named{};
    auto& [kind, count, first, second, third, subinterface] = named.parts;
    kind = random() % 5;
    // Few numbers, so that names often share their first parts, and the highest ones.
    const auto number = [&](uint64_t highest) {
      return random() % 4 == 0 ? highest - random() % 2 : random() % 4;
    };
    first = number(kind == 3 ? 4095 : 16383);
    std::string name = kinds[kind] + std::to_string(first);
    if (kind < 2) count = random() % 3;
    if (count > 0) name += "/" + std::to_string(second = number(4095));
    if (count > 1) name += "/" + std::to_string(third = number(4095));
    if (kind < 3 && random() % 2) {
      subinterface = number(4095) + 1;
      name += "." + std::to_string(subinterface - 1);
    }
    named.id = IntfId(name);
    ASSERT_EQ(textOf(named.id), name);
    all.push_back(named);
  }
  for (const Named& a : all) {
    for (const Named& b : all) ASSERT_EQ(a.id <=> b.id, a.parts <=> b.parts);
  }
}

TEST(IntfId, AnyNumberPrintsAndReadsBack) {
  std::mt19937_64 random(10);
  for (int round = 0; round < 5000; ++round) {
    // Random bits, and names with one bit of them changed.
    const uint64_t number =
        round % 2 ? random() : IntfId("Ethernet3/1.100").number() ^ uint64_t { 1 } << random() % 64;
    const IntfId id(number);
    ASSERT_EQ(IntfId(textOf(id)), id) << textOf(id);
  }
  EXPECT_EQ(textOf(IntfId(uint64_t{1})), "0x1");
}

TEST(IntfId, RefusedNames) {
  for (const std::string& name :
       barred("Ethernet|Ethernet/1|Ethernet1/|Ethernet1/2/3/4|Ethernet16384|Ethernet1/4096|"
              "Ethernet1/2/4096|Ethernet1.4096|Ethernet1.|Ethernet01|Ethernet1/01|"
              "Ethernet99999999999|Ethernet-1|Ethernet+1|ethernet1|Et1|Vlan4096|Vlan1/2|Vlan1.2|"
              "Loopback0.1|Port-Channel|Port-Channel1/2|PortChannel1|Management| Ethernet1|"
              "Ethernet1 |1|0x|0xg|0x10000000000000000|-|007")) {
    SCOPED_TRACE(name);
    thrownBy<Tovo::ParseException>([&] { IntfId{name}; });
  }
}

TEST(IntfId, TakesTheLongestNameAtThePosition) {
  Tovo::CharRange text("Vlan7.5, Ethernet1/2)");
  EXPECT_EQ(IntfId(text), IntfId("Vlan7"));
  EXPECT_TRUE(text.accept(".5, "));
  EXPECT_EQ(IntfId(text), IntfId("Ethernet1/2"));
  EXPECT_TRUE(IntfId(text).empty());
  Tovo::CharRange number("17");
  EXPECT_TRUE(IntfId(number).empty());
  EXPECT_EQ(text.rest(), ")");
  Tovo::CharRange later("x=Ethernet)");
  later.skip(2);
  EXPECT_EQ(faultAt([&] { IntfId{later}; }), 2u);
}

TEST(IntfId, PrintsTheSameWhateverTheStream) {
  EXPECT_EQ(printedOddly(IntfId("Ethernet12345/10.1000")), "Ethernet12345/10.1000");
  EXPECT_EQ(printedOddly(IntfId(uint64_t{0xabcdef})), "0xabcdef");
  EXPECT_EQ(printedOddly(NetU8(200)), "200");
}

}  // namespace
}  // namespace Nelka
