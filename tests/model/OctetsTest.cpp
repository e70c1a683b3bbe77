// Views on octets: the flags of BPDUs bit by bit, the digest byte by byte.
#include "Stp/StpTypes.h"
#include "Support.h"

namespace {

namespace Code = Tovo::OperationCode;
using Stp::MstpConfigDigest;
using Stp::RstpBpduFlags;
using Stp::StpBpduFlags;

// For all octets and all values: the view reads its bits, a write changes those alone, by the typed
// functions and by reflection.
template <class Flags, class Field, class Get, class Set>
void expectView(unsigned id, unsigned firstBit, unsigned width, const Get& get, const Set& set) {
  SCOPED_TRACE(id);
  const unsigned mask = ((1u << width) - 1) << firstBit;
  for (unsigned octet = 0; octet < 256; ++octet) {
    const Flags start(static_cast<uint8_t>(octet));
    Field read{};
    Flags object = start;
    EXPECT_EQ(attributeOp(Flags::tovoStaticType(), &read, &object, id, Code::get), 0);
    ASSERT_EQ(static_cast<unsigned>(read), (octet & mask) >> firstBit);
    ASSERT_EQ(get(start), read);
    for (unsigned value = 0; value < (std::is_same_v<Field, bool> ? 2u : 256u); ++value) {
      // Wider numbers lose their high bits.
      const auto field = static_cast<Field>(value);
      const unsigned expected = (octet & ~mask) | ((value << firstBit) & mask);
      Flags typed = start;
      set(typed, field);
      Flags reflected = start;
      attributeOp(Flags::tovoStaticType(), nullptr, &reflected, id, Code::set, nullptr, &field);
      ASSERT_EQ(typed.value(), expected);
      ASSERT_EQ(reflected.value(), expected);
    }
  }
}

#define VIEW(Flags, x, Field, id, firstBit, width)                       \
  expectView<Flags, Field>(                                              \
      id, firstBit, width, [](const Flags& flags) { return flags.x(); }, \
      [](Flags& flags, Field field) { flags.x##Is(field); })

TEST(Octets, EveryViewOfEveryOctet) {
  VIEW(StpBpduFlags, tc, bool, 258, 0, 1);
  VIEW(StpBpduFlags, unused, uint8_t, 259, 1, 6);
  VIEW(StpBpduFlags, tcAck, bool, 260, 7, 1);
  VIEW(RstpBpduFlags, proposal, bool, 258, 1, 1);
  VIEW(RstpBpduFlags, portRole, RstpBpduFlags::PortRole, 259, 2, 2);
  VIEW(RstpBpduFlags, learning, bool, 260, 4, 1);
  VIEW(RstpBpduFlags, forwarding, bool, 261, 5, 1);
  VIEW(RstpBpduFlags, agreement, bool, 262, 6, 1);
  VIEW(RstpBpduFlags, masterFlag, bool, 263, 7, 1);
}

TEST(Octets, RawBytesAreTheDigestByPosition) {
  const Tovo::TovoTypeBase type = MstpConfigDigest::tovoStaticType();
  for (uint8_t index = 0; index < 16; ++index) {
    MstpConfigDigest typed;
    typed.rawByteIs(index, 0xab);
    std::string expected(32, '0');
    expected.replace(size_t{2} * index, 2, "ab");
    EXPECT_EQ(hexOf(typed), expected);
    EXPECT_EQ(typed.rawByte(index), 0xab);

    MstpConfigDigest reflected;
    const uint8_t value = 0xab;
    uint8_t read = 0;
    EXPECT_EQ(attributeOp(type, nullptr, &reflected, 18, Code::set, &index, &value), 0);
    EXPECT_EQ(reflected, typed);
    EXPECT_EQ(attributeOp(type, &read, &reflected, 18, Code::get, &index), 0);
    EXPECT_EQ(read, 0xab);
    EXPECT_EQ(attributeOp(type, &read, &reflected, 18, Code::get), 1);
  }
}

TEST(Octets, RawBytesBeyondTheDigestAndDeletionsFailAssertions) {
  MstpConfigDigest digest;
  const Tovo::TovoTypeBase type = MstpConfigDigest::tovoStaticType();
  const uint8_t index = 16;
  uint8_t room = 0;
  const std::pair<std::function<void()>, std::string> failures[] = {
      {[&] { digest.rawByteIs(16, 1); }, "'index < sizeof( MstpConfigDigest )'"},
      {[&] { attributeOp(type, &room, &digest, 18, Code::get, &index); },
       "'index < sizeof( MstpConfigDigest )'"},
      {[&] { attributeOp(type, nullptr, &digest, 18, Code::del, &room); }, "'0'"},
      {[&] { fromHex<Stp::VlanIdOrRange>("020001"); },
       "'false && \"Unknown case for VlanIdOrRange\"'"},
  };
  for (const auto& [action, condition] : failures) {
    const AssertionsThrow guard;
    try {
      action();
      ADD_FAILURE() << condition;
    } catch (const Tovo::AssertionError& error) {
      const std::string message = error.what();
      EXPECT_NE(message.find(condition + " failed in Stp/StpTypes:"), message.npos) << message;
    }
  }
  EXPECT_EQ(digest, MstpConfigDigest());
  EXPECT_DEATH(digest.rawByteDel(3), "'0' failed in Stp/StpTypes.*rawByteDel");
}

}  // namespace
