#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "Bridging/VlanId.h"
#include "Bridging/VlanIdOrNone.h"
#include "Bridging/VlanIdRange.h"
#include "Interface/IntfLoggingMode.h"
#include "Nelka/EthAddr.h"
#include "Nelka/IntfId.h"
#include "Nelka/NetU8.h"
#include "SampleModule.h"
#include "Support.h"
#include "Tovo/Exceptions.h"
#include "Tovo/ValueOps.h"

namespace Tovo::NboAttrLog {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytesOf(std::string_view hex) {
  Bytes bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 3) {
    bytes.push_back(static_cast<uint8_t>(std::stoi(std::string(hex.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

/// The bytes are the value's, whole and nothing more: written exactly, read back equal, and every
/// shorter message and every smaller room is refused.
template <class T, Wire wire = Wire::plain>
void expectForm(const T& value, std::string_view hex) {
  SCOPED_TRACE(std::string(typeid(T).name()) + " " + std::string(hex));
  const ValueOps& ops = ValueOpsOf<T, wire>::table;
  const Bytes bytes = bytesOf(hex);
  ASSERT_EQ(ops.attrLogSize(&value), bytes.size());
  if (ops.encodedSize != TypeDescriptor::variableSize) {
    EXPECT_EQ(ops.encodedSize, bytes.size());
  }

  Bytes written(bytes.size() + 1, 0xcc);
  Out out({written.data(), bytes.size()});
  ops.write(out, &value);
  EXPECT_EQ(out.left(), 0u);
  EXPECT_EQ(written.back(), 0xcc);
  written.pop_back();
  EXPECT_EQ(written, bytes);

  In in(bytes);
  ValueBuffer again(ops);
  again.read(in);
  EXPECT_TRUE(ops.equal(again.get(), &value));
  EXPECT_NO_THROW(in.expectEnd());
  for (size_t length = 0; length < bytes.size(); ++length) {
    // A copy of just that length, so that AddressSanitizer sees a read behind it.
    const Bytes part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    In shortened(part);
    ValueBuffer refused(ops);
    EXPECT_THROW(refused.read(shortened), StreamException) << length;
    Bytes room(length);
    Out narrow(room);
    EXPECT_THROW(ops.write(narrow, &value), std::length_error) << length;
  }
  Bytes more = bytes;
  more.push_back(0);
  In longer(more);
  ValueBuffer first(ops);
  first.read(longer);
  EXPECT_THROW(longer.expectEnd(), StreamException);
}

TEST(InOut, PrimitivesToTheByte) {
  expectForm(uint8_t{0x9a}, "9a");
  expectForm(uint16_t{0x1234}, "12 34");
  expectForm(uint32_t{0x12345678}, "12 34 56 78");
  expectForm(true, "01");
  expectForm(false, "00");
  expectForm(Seconds{1.5}, "3f f8 00 00 00 00 00 00");
  expectForm(Seconds{-0.0}, "80 00 00 00 00 00 00 00");
  expectForm(Pelmo::String(), "00 00 00 00");
  expectForm(Pelmo::String(std::string_view("a\0\xff", 3)), "00 00 00 03 61 00 ff");
  const Bytes odd{7};
  EXPECT_TRUE(In(odd).nextbool());
}

TEST(InOut, ForeignValuesToTheByte) {
  expectForm(Nelka::EthAddr("00:00:5e:00:53:01"), "00 00 5e 00 53 01");
  expectForm(Nelka::IntfId(uint64_t{0x0102030405060708}), "01 02 03 04 05 06 07 08");
  expectForm(Nelka::NetU8(200), "c8");
  expectForm(Bridging::VlanId(4094), "0f fe");
  expectForm(Bridging::VlanId(0xffff), "ff ff");  // the log is unchecked
  expectForm(Bridging::VlanIdOrNone(1), "00 01");
  expectForm(Bridging::VlanIdRange(Bridging::VlanId(9), Bridging::VlanId(2)), "00 09 00 02");
  expectForm(Interface::IntfLoggingMode::useGlobal, "02");
  expectForm(static_cast<Interface::IntfLoggingMode>(77), "4d");  // kept, though unknown
  expectForm(Sample::Colour::blue, "ff ff ff ff");
}

TEST(InOut, OptionalsListsAndWideEnumerators) {
  using Mode = Interface::IntfLoggingMode;
  expectForm(OptionalByte<bool>(), "00");
  EXPECT_THROW(OptionalByte<bool>().value(), BadOptionalAccessException);
  expectForm(OptionalByte<bool>(false), "01 00");
  expectForm(OptionalByte<Mode>(Mode::on), "01 01");
  expectForm<Mode, Wire::u32>(Mode::useGlobal, "00 00 00 02");
  expectForm<OptionalByte<Mode>, Wire::u32>(Mode::on, "01 00 00 00 01");
  expectForm<OptionalByte<Mode>, Wire::u32>({}, "00");
  for (const char* hex : {"00 00 00 ff", "00 00 01 00", "ff ff ff ff"}) {
    const Bytes bytes = bytesOf(hex);
    In in(bytes);
    EXPECT_THROW((LogForm<Mode, Wire::u32>::read(in)), StreamException) << hex;
  }

  Pelmo::BasicVector<uint16_t> numbers;
  expectForm(numbers, "00 00 00 00");
  numbers.push(1);
  numbers.push(0x203);
  expectForm(numbers, "00 00 00 02 00 01 02 03");
  Pelmo::BasicVector<Pelmo::String> names;
  names.push("");
  names.push("b");
  expectForm(names, "00 00 00 02 00 00 00 00 00 00 00 01 62");
}

TEST(InOut, CountsAndLengthsAboveWhatIsLeftAreRefusedBeforeAnythingIsAllocated) {
  for (const char* hex : {"ff ff ff ff", "7f ff ff ff 00 00", "00 00 00 03 00 00 00 00 00"}) {
    const Bytes bytes = bytesOf(hex);
    In list(bytes);
    EXPECT_THROW(LogForm<Pelmo::BasicVector<uint16_t>>::read(list), StreamException) << hex;
  }
  for (const char* hex : {"ff ff ff ff", "80 00 00 00 61", "00 00 00 02 61"}) {
    const Bytes bytes = bytesOf(hex);
    In text(bytes);
    EXPECT_THROW(text.nextString(), StreamException) << hex;
  }
  const Bytes exact = bytesOf("00 00 00 02 00 00");
  EXPECT_EQ(In(exact).nextCount(1), 2u);
  EXPECT_EQ(In(exact).nextCount(0), 2u);
  EXPECT_THROW(In(exact).nextCount(2), StreamException);
}

TEST(InOut, PeekingDoesNotMove) {
  const Bytes bytes = bytesOf("00 00 01 02 03");
  In in(bytes);
  EXPECT_EQ(in.peekEntityId(), 258u);
  EXPECT_EQ(in.position(), 0u);
  in.nextU16();
  EXPECT_THROW(in.peekEntityId(), StreamException);
  EXPECT_EQ(in.remaining(), 3u);
  EXPECT_THROW(in.take(SIZE_MAX), StreamException);
}

TEST(InOut, ARefusedWriteChangesNothing) {
  Bytes room(6, 0xcc);
  Out out(room);
  out << uint32_t{1};
  EXPECT_THROW(out << uint32_t{2}, std::length_error);
  EXPECT_EQ(out.written(), 4u);
  EXPECT_EQ(room[4], 0xcc);
  out << uint16_t{3};
  out.bytes(nullptr, 0);
  EXPECT_EQ(room, bytesOf("00 00 00 01 00 03"));
}

}  // namespace
}  // namespace Tovo::NboAttrLog
