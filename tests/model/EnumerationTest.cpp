// Literals by number, by name and as text.
#include <iomanip>
#include <sstream>

#include "Stp/PortStateString.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpTypes.h"
#include "Support.h"
#include "Tovo/EnumType.h"

namespace {

// The functions of one enumeration: of its last literal, and of a number that has none.
template <class E, class ByNumber, class ByName>
void expectFunctions(E literal, int number, const std::string& name, const ByNumber& byNumber,
                     const ByName& byName) {
  SCOPED_TRACE(name);
  EXPECT_EQ(static_cast<int>(literal), number);
  EXPECT_EQ(byNumber(number), literal);
  EXPECT_EQ(byName(name), literal);
  EXPECT_EQ(stringValue(literal), name.c_str());
  std::ostringstream os;
  os << std::setw(static_cast<int>(name.size()) + 1) << literal << '|';
  EXPECT_EQ(os.str(), " " + name + "|");
  // The literal ends where no identifier goes on.
  const std::string line = name + ", next";
  Tovo::CharRange range(line);
  auto read = static_cast<E>(99);
  sequenceToValue(range, &read);
  EXPECT_EQ(read, literal);
  EXPECT_EQ(range.rest(), ", next");
  for (const std::string& wrong : {name + "x", name.substr(1), std::string()}) {
    Tovo::CharRange at(wrong);
    EXPECT_THROW(sequenceToValue(at, &read), Tovo::ParseException) << wrong;
    EXPECT_EQ(at.position(), 0u);
    EXPECT_THROW(byName(wrong), Tovo::RangeException) << wrong;
  }
  // The log may deliver any number that fits; it prints as itself.
  EXPECT_THROW(byNumber(99), Tovo::RangeException);
  EXPECT_THROW(stringValue(static_cast<E>(99)), Tovo::RangeException);
  std::ostringstream odd;
  odd << std::hex << static_cast<E>(99);
  EXPECT_EQ(odd.str(), "99");
}

#define FUNCTIONS(scope, E, literal, number)                                                  \
  expectFunctions(                                                                            \
      scope::E::literal, number, #literal, [](int each) { return scope::E##Instance(each); }, \
      [](const std::string& name) { return scope::E##Instance(Pelmo::String(name)); })

TEST(Enumeration, LiteralsByNumberNameAndText) {
  FUNCTIONS(Stp, Version, rapidPvstp, 101);
  FUNCTIONS(Stp, Version, none, -1);
  FUNCTIONS(Stp::RstpBpduFlags, PortRole, alternateOrBackup, 1);
  FUNCTIONS(Stp, OcStpEnabledProtocol, RAPID_PVST, 2);
  FUNCTIONS(Stp::OCIntfConfigTypes, OcStpEdgePort, EDGE_AUTO, 2);
}

// What the log had brought comes back from a file, up to what the width holds.
TEST(Enumeration, NumbersAreReadWhereRangesAreNotChecked) {
  const auto accepts = [](const char* type, const std::string& number) {
    Tovo::CharRange text(number, Tovo::Ranges::kept);
    try {
      return std::to_string(Tovo::EnumType::sequenceToValue(text, typeNamed(type))) == number;
    } catch (const Tovo::ParseException&) {
      return false;
    }
  };
  EXPECT_TRUE(accepts("Stp::PortState", "255"));
  EXPECT_FALSE(accepts("Stp::PortState", "256"));
  EXPECT_TRUE(accepts("Stp::Version", "-2147483648"));
  EXPECT_FALSE(accepts("Stp::Version", "2147483648"));
}

TEST(Enumeration, ReflectionKnowsTheWidth) {
  namespace Code = Tovo::OperationCode;
  const Tovo::TovoTypeBase version = typeNamed("Stp::Version");
  const auto none = Stp::Version::none;
  const auto stp = Stp::Version::stp;
  bool answer = false;
  EXPECT_EQ(wholeOp(version, answer, &none, Code::less, &stp), 0);
  EXPECT_TRUE(answer);
  EXPECT_EQ(wholeOp(version, answer, &none, Code::isSet), 0);
  EXPECT_TRUE(answer);
  EXPECT_EQ(wholeOp(version, answer, &stp, Code::isSet), 0);
  EXPECT_FALSE(answer);
  EXPECT_EQ(hexOf(none), "ffffffff");
  EXPECT_EQ(hexOf(Stp::OcStpEnabledProtocol::RAPID_PVST), "02");
}

TEST(Enumeration, PortStateStringIsTotal) {
  const char* const names[] = {"discarding", "learning", "forwarding"};
  for (unsigned number = 0; number < 256; ++number) {
    EXPECT_STREQ(Stp::portStateString(static_cast<Stp::PortState>(number)),
                 number < 3 ? names[number] : "unknown");
  }
}

}  // namespace
