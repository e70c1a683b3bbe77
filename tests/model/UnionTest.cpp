// One VLAN or a range of VLANs: alternatives, order, text and log form.
#include "Stp/StpTypes.h"
#include "Support.h"

namespace {

namespace Code = Tovo::OperationCode;
using Bridging::VlanId;
using Bridging::VlanIdRange;
using Stp::VlanIdOrRange;

VlanIdOrRange single(uint16_t vlan) {
  VlanIdOrRange value;
  value.singleIs(VlanId(vlan));
  return value;
}
VlanIdOrRange range(uint16_t first, uint16_t last) {
  VlanIdOrRange value;
  value.rangeIs({VlanId(first), VlanId(last)});
  return value;
}

TEST(Union, HoldsOneAlternative) {
  VlanIdOrRange value;
  const Tovo::TovoTypeBase type = VlanIdOrRange::tovoStaticType();
  VlanId vlan;
  VlanIdRange vlans;
  const auto expectHeld = [&](bool isSingle) {
    EXPECT_EQ(value.containsSingle(), isSingle);
    EXPECT_EQ(value.containsRange(), !isSingle);
    EXPECT_EQ(value.heldIndex(), isSingle ? 0 : 1);
    bool contains[2] = {};
    EXPECT_EQ(attributeOp(type, &contains[0], &value, 4, Code::get), 0);
    EXPECT_EQ(attributeOp(type, &contains[1], &value, 5, Code::get), 0);
    EXPECT_EQ(contains[0], isSingle);
    EXPECT_EQ(contains[1], !isSingle);
    EXPECT_EQ(attributeOp(type, &vlan, &value, 2, Code::get), isSingle ? 0 : 1);
    EXPECT_EQ(attributeOp(type, &vlans, &value, 3, Code::get), isSingle ? 1 : 0);
  };
  expectHeld(true);
  EXPECT_EQ(value.single(), VlanId(1));
  EXPECT_THROW(value.range(), Tovo::BadAlternativeException);
  value.rangeIs({VlanId(2), VlanId(4)});
  expectHeld(false);
  EXPECT_THROW(value.single(), Tovo::BadAlternativeException);
  EXPECT_EQ(value.range(), VlanIdRange(VlanId(2), VlanId(4)));
  vlan = VlanId(9);
  EXPECT_EQ(attributeOp(type, nullptr, &value, 2, Code::set, nullptr, &vlan), 0);
  expectHeld(true);
  EXPECT_EQ(value, single(9));
  EXPECT_EQ(attributeOp(type, nullptr, &value, 3, Code::set, nullptr, &vlans), 0);
  expectHeld(false);
}

TEST(Union, SinglesFirstThenWiderRanges) {
  // The last pair came upside down from the log; its span counts with its sign.
  const std::vector<VlanIdOrRange> sorted = {
      single(0),   single(1),         single(4095), range(1, 4094),    range(5, 4000), range(1, 2),
      range(3, 4), range(4000, 4001), range(0, 0),  range(4095, 4095), range(10, 3)};
  for (size_t i = 0; i < sorted.size(); ++i) {
    for (size_t j = 0; j < sorted.size(); ++j) {
      EXPECT_EQ(sorted[i] <=> sorted[j], i <=> j) << i << " " << j;
      EXPECT_EQ(sorted[i] == sorted[j], i == j);
    }
  }
  EXPECT_NE(range(5, 5), single(5));
}

TEST(Union, ReadsItsTextAndNothingElse) {
  const std::string prefix = "Value('Stp::VlanIdOrRange'";
  const std::string unknown = "Invalid string rep for VlanIdOrRange:  unknown alternative ";
  struct Row {
    std::string text;
    std::string expected;  // the value as text, or the error
    size_t position;       // where reading stands afterwards
  };
  const size_t name = prefix.size() + 2;
  const Row rows[] = {
      {prefix + ", single=5)", prefix + ", single=5)", name + 9},
      {prefix + ", range=2-4)", prefix + ", range=2-4)", name + 10},
      // Without a comma the text ends with the type's name.
      {prefix, prefix + ", single=1)", prefix.size()},
      {prefix + " and more", prefix + ", single=1)", prefix.size()},
      {prefix + ", vlan=5)", unknown + "vlan", name},
      {prefix + ", single =5)", unknown + "single ", name},
      {prefix + ", rangeX=5-6)", unknown + "rangeX", name},
      {prefix + ", ", unknown, name},
      {prefix + ",single=5)", "expected ', ' at character 26, found ',single=5)'", prefix.size()},
      {prefix + ", single=5", "expected ')' at character 36, found the end of the text", name + 8},
      {"", "expected 'Value(\\'Stp::VlanIdOrRange\\'' at character 0, found the end of the text",
       0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    Tovo::CharRange text(row.text);
    try {
      const VlanIdOrRange value(text);
      std::string printed;
      value.appendText(printed);
      EXPECT_EQ(printed, row.expected);
    } catch (const Tovo::RangeException& error) {
      EXPECT_EQ(error.what(), row.expected);
      EXPECT_EQ(error.field(), "");
    }
    EXPECT_EQ(text.position(), row.position);
  }
  // What the held type refuses names the alternative.
  for (const auto& [rest, field] : {std::pair<std::string, std::string>{", single=4096)", "single"},
                                    {", single=x)", "single.value"},
                                    {", range=7-3)", "range"},
                                    {", range=5)", "range"}}) {
    const std::string all = prefix + rest;
    Tovo::CharRange text(all);
    try {
      const VlanIdOrRange value(text);
      ADD_FAILURE() << rest;
    } catch (const Tovo::RangeException& error) {
      EXPECT_EQ(error.field(), field) << rest;
    }
  }
  // Reading a whole text leaves nothing behind.
  EXPECT_EQ(Tovo::strepToValue<VlanIdOrRange>(prefix), single(1));
  EXPECT_THROW(Tovo::strepToValue<VlanIdOrRange>(prefix + ")"), Tovo::ParseException);
}

}  // namespace
