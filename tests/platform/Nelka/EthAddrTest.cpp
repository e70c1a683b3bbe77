#include "Nelka/EthAddr.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Support.h"
#include "Tovo/Exceptions.h"
#include "Tovo/GenericIf.h"

namespace Nelka {
namespace {

using namespace platform::test;

static_assert(EthAddr("00:00:5e:00:53:01").octets() ==
              EthAddr::Octets{0x00, 0x00, 0x5e, 0x00, 0x53, 0x01});

TEST(EthAddr, RandomAddressesOrderAsNumbersAndReadBack) {
  std::mt19937_64 random(8);
  const auto number = [](const EthAddr& address) {
    uint64_t value = 0;
    for (const uint8_t octet : address.octets()) value = value << 8 | octet;
    return value;
  };
  EthAddr last;
  for (int round = 0; round < 2000; ++round) {
    EthAddr::Octets octets = last.octets();
    octets[random() % 6] = static_cast<uint8_t>(random());
    const EthAddr address(octets);
    std::string text;
    address.appendText(text);
    ASSERT_EQ(text.size(), 17u);
    ASSERT_EQ(Tovo::strepToValue<EthAddr>(text), address);
    for (char& c : text) c = static_cast<char>(std::toupper(c));
    ASSERT_EQ(Tovo::strepToValue<EthAddr>(text), address);
    ASSERT_EQ(address <=> last, number(address) <=> number(last));
    if (address == last) {
      ASSERT_EQ(address.hash(), last.hash());
    }
    last = address;
  }
}

TEST(EthAddr, RefusedTexts) {
  for (const std::string& text :
       barred("|00:00:5e:00:53|00:00:5e:00:53:0|00-00-5e-00-53-01|0:00:5e:00:53:01|"
              "00:00:5e:00:53:0g|0000.5e00.5301|00:00:5e:00:53 01| 00:00:5e:00:53:01")) {
    Tovo::CharRange range(text);
    EXPECT_EQ(faultAt([&] { EthAddr{range}; }), 0u) << text;
  }
  Tovo::CharRange range("00:00:5e:00:53:01:02");
  EthAddr{range};
  EXPECT_EQ(range.rest(), ":02");
}

TEST(EthAddr, PrintsLowerCaseWhateverTheStream) {
  EXPECT_EQ(printedOddly(EthAddr("00:00:5e:00:53:f1")), "00:00:5e:00:53:f1");
}

}  // namespace
}  // namespace Nelka
