// What values of one number are made from. Most of it is decided while this file is compiled.
#include <gtest/gtest.h>

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Bridging/VlanIdOrNone.h"
#include "Bridging/VlanIdRange.h"
#include "Nelka/NetU8.h"
#include "Stp/StpConfig.h"
#include "Stp/StpOpenConfigInterfaceState.h"
#include "Stp/StpOpenConfigMstp.h"
#include "Stp/StpStatus.h"
#include "Stp/StpTypes.h"
#include "Support.h"

namespace {

template <class... T>
struct Types {};

/// Every type of one number. That none of the model's is missing is tested below.
using OneNumber =
    Types<Stp::BridgePriority, Stp::BridgeSystemId, Stp::PortPriority, Stp::PortNumber,
          Stp::PathCost, Stp::StpBpduVersion, Stp::StpBpduType, Stp::StpBpduFlags,
          Stp::RstpBpduFlags, Stp::InstanceId, Stp::PacketsPerSecond, Stp::OCBridgePriority,
          Bridging::VlanId, Bridging::VlanIdOrNone, Nelka::NetU8>;

template <class T>
using NumberOf = decltype(std::declval<T>().value());
template <class T>
constexpr NumberOf<T> widest = std::numeric_limits<NumberOf<T>>::max();
/// The highest number that a type takes: below what its width holds where it has a range.
template <class T>
constexpr NumberOf<T> highest = widest<T>;
template <>
constexpr uint16_t highest<Stp::BridgePriority> = Stp::BridgePriority::maxBridgePriority;
template <>
constexpr uint16_t highest<Stp::OCBridgePriority> = 61440;
template <>
constexpr uint16_t highest<Stp::PortNumber> = Stp::PortNumber::max;
template <>
constexpr uint16_t highest<Stp::InstanceId> = Stp::InstanceId::maxInternalInstanceId;

enum Plain { plain = 1 };
enum PlainOctet : uint8_t { plainOctet = 1 };
enum class Scoped { scoped = 1 };
struct AsNumber {
  operator int() const { return 1; }
};

template <class T, class... From>
constexpr bool convertsFromEach = (std::convertible_to<From, T> && ...);
template <class T, class... From>
constexpr bool isMadeFromNone = (!std::constructible_from<T, From> && ...);

/// Whether T(number) is a constant.
template <class T, auto number>
concept Constant = requires {
  typename std::bool_constant<(T(number), true)>;
};

template <class T>
constexpr bool takesIntegers =
    convertsFromEach<T, signed char, unsigned char, short, unsigned short, int, unsigned, long,
                     unsigned long, long long, unsigned long long, const int&, int&&>&&
        isMadeFromNone<T, bool, char, wchar_t, char8_t, char16_t, char32_t, float, double,
                       long double, Plain, PlainOctet, Scoped, AsNumber, std::nullptr_t, void*,
                       const char*, std::string, Pelmo::String, std::optional<int>, Nelka::EthAddr>;

template <class T>
constexpr bool keepsItsWidth =
    Constant<T, 0>&& Constant<T, 0ULL>&& Constant<T, highest<T>>&&
        Constant<T, static_cast<long long>(highest<T>)> &&
    !Constant<T, highest<T> + 1LL> && !Constant<T, widest<T> + 1LL> && !Constant<T, -1> &&
    !Constant<T, -256LL> && !Constant<T, std::numeric_limits<uint64_t>::max()> &&
    !Constant<T, std::numeric_limits<int64_t>::min()>;

/// One of them where another one is wanted; a VLAN becomes a VLAN or none where that is written.
template <class T, class Other>
constexpr bool staysApart = std::same_as<T, Other> || !std::convertible_to<Other, T>;

template <class T>
constexpr bool comparesWithNumbers = T(1) == 1 && 1 == T(1) && T(1) != 0 && 0u != T(1);

template <class... T>
constexpr bool eachTakesIntegers(Types<T...>) {
  return ((takesIntegers<T> && keepsItsWidth<T> && comparesWithNumbers<T>)&&...);
}
template <class T, class... Other>
constexpr bool staysApartFromAll = (staysApart<T, Other> && ...);
template <class... T>
constexpr bool eachStaysApart(Types<T...>) {
  return (staysApartFromAll<T, T...> && ...);
}

static_assert(eachTakesIntegers(OneNumber()));
static_assert(eachStaysApart(OneNumber()));

// What holds more than a number, or none, is not made from one by itself.
static_assert(!std::convertible_to<int, Stp::OCMstiState>);
static_assert(!std::convertible_to<int, Stp::InterfaceState>);
static_assert(!std::convertible_to<Nelka::IntfId, Stp::InterfaceState>);
static_assert(!std::convertible_to<int, Stp::VlanIdOrRange>);
static_assert(!std::convertible_to<int, Stp::OCMsti> && !std::constructible_from<Stp::Config, int>);

// A default is as constant as it was.
static_assert(Stp::OCBridgePriority() == 32768 && Stp::PathCost() == 1);
static_assert(Stp::BridgeId(4096, 1, Nelka::EthAddr()).priority() == 4096);

template <class... T>
std::set<std::string> namesOf(Types<T...>) {
  return {typeName(Tovo::TypeOf<T>::type())...};
}

TEST(OneNumber, IsNeverCutToItsWidth) {
  int number = 256;
  EXPECT_EQ(rangeError([&] { Stp::PortPriority{number}; }),
            "Stp::PortPriority::value < 0 or > 255 not allowed");
}

TEST(OneNumber, IsTestedForEachTypeOfTheModel) {
  const std::set<std::string> tested = namesOf(OneNumber());
  forEachType({Tovo::TypeKind::value}, [&](Tovo::TovoTypeBase type) {
    const bool number = Tovo::valueOps(type)->number;
    EXPECT_EQ(tested.count(typeName(type)), number ? 1u : 0u);
  });
}

class BareNumbers : public ModelTest {};

TEST_F(BareNumbers, StandWhereAValueOfOneNumberIsWanted) {
  const auto config = Stp::configFactory("sw");
  const auto mst1 = config->stpiConfigIs("Mstp")->mstiConfigIs("m1", 1);
  EXPECT_EQ(mst1->instanceId(), 1);
  EXPECT_EQ(rangeError([&] { config->txHoldCountIs(0); }),
            "Stp::ConfigBase::txHoldCount < Stp::ConfigBase::minTxHoldCount or > "
            "Stp::ConfigBase::maxTxHoldCount not allowed");
  EXPECT_EQ(rangeError([&] { config->txHoldCountIs(262); }),
            "Stp::PacketsPerSecond::value < 0 or > 255 not allowed");
  EXPECT_LT(config->txHoldCount(), 7);
  const auto membership = Stp::statusFactory("sw")->vlanMembershipIs(Nelka::IntfId("Ethernet1"));
  membership->vidsIs(10, true);
  EXPECT_TRUE(membership->vids(10));
  EXPECT_EQ(Bridging::VlanIdRange(10, 20).last(), 20);
}

}  // namespace
