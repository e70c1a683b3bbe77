// Every literal of every enumeration, by number, by name and as text.
#include <iomanip>
#include <locale>
#include <sstream>

#include "Stp/PortStateString.h"
#include "Stp/StpConfig.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpProtoStatus.h"
#include "Stp/StpStatus.h"
#include "Stp/StpTypes.h"
#include "Support.h"

namespace {

// The five functions of one enumeration, against the expected literals.
template <class E, class ByNumber, class ByName>
void expectFunctions(const ByNumber& byNumber, const ByName& byName) {
  const Tovo::TovoTypeBase type = Tovo::TypeOf<E>::type();
  const ExpectedModel::Type& expected = ExpectedModel::type(typeName(type));
  SCOPED_TRACE(expected.name);
  using Number = std::conditional_t<std::is_same_v<E, Stp::Version>, int, unsigned>;
  static_assert(sizeof(E) == (std::is_same_v<E, Stp::Version> ? 4 : 1));
  for (int64_t number = -2; number < 260; ++number) {
    const ExpectedModel::Literal* literal = nullptr;
    for (const ExpectedModel::Literal& at : expected.literals) {
      if (at.number == number) literal = &at;
    }
    const auto value = static_cast<E>(number);
    if (!literal) {
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
    EXPECT_EQ(static_cast<int64_t>(byNumber(static_cast<Number>(number))), number);
    EXPECT_EQ(static_cast<int64_t>(byName(Pelmo::String(literal->name))), number);
    EXPECT_EQ(stringValue(value).view(), literal->name);
    std::ostringstream os;
    os << std::setw(static_cast<int>(literal->name.size()) + 1) << value << '|';
    EXPECT_EQ(os.str(), " " + literal->name + "|");
    // The literal ends where no identifier goes on.
    const std::string line = literal->name + ", next";
    Tovo::CharRange range(line);
    auto read = static_cast<E>(99);
    sequenceToValue(range, &read);
    EXPECT_EQ(read, value);
    EXPECT_EQ(range.rest(), ", next");
    for (const std::string& wrong :
         {literal->name + "x", literal->name.substr(0, literal->name.size() - 1), std::string()}) {
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
  FUNCTIONS(Stp, OcStpLinkType);
  FUNCTIONS(Stp, OcStpEnabledProtocol);
  FUNCTIONS(Stp, BpduTypesProcessed);
  FUNCTIONS(Stp, StpPortMode);
  FUNCTIONS(Stp, MismatchedBpduMode);
  FUNCTIONS(Stp::PortConfigBase, AdminPointToPointMacType);
  FUNCTIONS(Stp::PortConfigBase, BpduguardEnabledState);
  FUNCTIONS(Stp::PortConfigBase, BpdufilterEnabledState);
  FUNCTIONS(Stp::PortConfigBase, IntfGuardState);
  FUNCTIONS(Stp::PortConfigBase, RateLimitState);
  FUNCTIONS(Stp::MstiPortStatus, Role);
  FUNCTIONS(Stp::MstiPortStatus, InfoStatus);
  FUNCTIONS(Stp::MstiPortStatus, GuardStatus);
  FUNCTIONS(Stp::StpiPortStatus, ProtocolMigrationState);
  FUNCTIONS(Stp::BackupIntfStatus, BackupIntfState);
  FUNCTIONS(Stp::ProtoStatus, RunMode);
  FUNCTIONS(Stp::OCIntfConfigTypes, OcStpEdgePort);
  FUNCTIONS(Stp::OCIntfStateTypes, OcStpEdgePort);
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
  EXPECT_EQ(methods.genericIfHash(&none, version), methods.genericIfHash(&none, version));
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
