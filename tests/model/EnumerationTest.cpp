// Literals by number, by name and as text.
#include <iomanip>
#include <sstream>

#include "Stp/PortStateString.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpTypes.h"
#include "Support.h"

namespace {

// The five functions of one enumeration, against the literals that reflection has.
template <class E, class ByNumber, class ByName>
void expectFunctions(const ByNumber& byNumber, const ByName& byName) {
  const Tovo::TovoTypeBase type = Tovo::TypeOf<E>::type();
  const Tovo::TypeDescriptor& expected = typeDescriptor(type);
  SCOPED_TRACE(expected.name);
  using Number = std::conditional_t<std::is_same_v<E, Stp::Version>, int, unsigned>;
  static_assert(sizeof(E) == (std::is_same_v<E, Stp::Version> ? 4 : 1));
  for (int64_t number = -2; number < 260; ++number) {
    const auto* end = expected.literals + expected.literalCount;
    const auto* literal =
        std::find_if(expected.literals, end, [&](const auto& at) { return at.value == number; });
    const auto value = static_cast<E>(number);
    if (literal == end) {
      EXPECT_THROW(byNumber(static_cast<Number>(number)), Tovo::RangeException) << number;
      // The log may deliver any number that fits; it prints as itself.
      if (static_cast<int64_t>(value) == number) {
        EXPECT_THROW(stringValue(value), Tovo::RangeException) << number;
        std::ostringstream os;
        os << std::hex << value;
        EXPECT_EQ(os.str(), std::to_string(number));
      }
      continue;
    }
    const std::string name = literal->name;
    EXPECT_EQ(static_cast<int64_t>(byNumber(static_cast<Number>(number))), number);
    EXPECT_EQ(static_cast<int64_t>(byName(Pelmo::String(name))), number);
    EXPECT_EQ(stringValue(value).view(), name);
    std::ostringstream os;
    os << std::setw(static_cast<int>(name.size()) + 1) << value << '|';
    EXPECT_EQ(os.str(), " " + name + "|");
    // The literal ends where no identifier goes on.
    const std::string line = name + ", next";
    Tovo::CharRange range(line);
    auto read = static_cast<E>(99);
    sequenceToValue(range, &read);
    EXPECT_EQ(read, value);
    EXPECT_EQ(range.rest(), ", next");
    for (const std::string& wrong : {name + "x", name.substr(0, name.size() - 1), std::string()}) {
      Tovo::CharRange at(wrong);
      EXPECT_THROW(sequenceToValue(at, &read), Tovo::ParseException) << wrong;
      EXPECT_EQ(at.position(), 0u);
      EXPECT_THROW(byName(Pelmo::String(wrong)), Tovo::RangeException) << wrong;
    }
    EXPECT_EQ(read, value);
  }
}

#define FUNCTIONS(scope, E)                                                         \
  expectFunctions<scope::E>([](auto number) { return scope::E##Instance(number); }, \
                            [](const Pelmo::String& name) { return scope::E##Instance(name); })

TEST(Enumeration, LiteralsByNumberNameAndText) {
  FUNCTIONS(Stp, Version);
  FUNCTIONS(Stp, PortState);
  FUNCTIONS(Stp::RstpBpduFlags, PortRole);
  FUNCTIONS(Stp::OCIntfConfigTypes, OcStpEdgePort);
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
  EXPECT_EQ(hexOf(Stp::Version::rapidPvstp), "00000065");
  EXPECT_EQ(hexOf(Stp::OcStpEnabledProtocol::RAPID_PVST), "02");
  const auto& methods = *genericIf(version).methods;
  EXPECT_NE(methods.genericIfHash(&none, version), methods.genericIfHash(&stp, version));
}

TEST(Enumeration, PortStateStringIsTotal) {
  const char* const names[] = {"discarding", "learning", "forwarding"};
  for (unsigned number = 0; number < 256; ++number) {
    EXPECT_STREQ(Stp::portStateString(static_cast<Stp::PortState>(number)),
                 number < 3 ? names[number] : "unknown");
  }
}

}  // namespace
