// A module that somebody else described, beside ours in one process.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <memory>

#include "Mirror/Connection.h"
#include "Tovo/Directory.h"
#include "Tovo/Exceptions.h"
#include "Tovo/Inspect.h"
#include "Tovo/ValueOps.h"
#include "frame/Sample.h"

namespace {

using Tovo::NboAttrLog::Connection;

class SecondModule : public testing::Test {
 protected:
  SecondModule() : chassis_(Sample::chassisFactory("chassis")) {
    here_.mount("/chassis", chassis_);
    int fds[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    host_ = std::make_unique<Connection>(fds[0], here_);
    guest_ = std::make_unique<Connection>(fds[1], there_);
    guest_->guest().mount("/chassis", true);
    exchange();
  }

  void exchange() {
    for (int turn = 0; turn < 8; ++turn) {
      host_->flush();
      guest_->flush();
      host_->handleReadable();
      guest_->handleReadable();
    }
  }

  void expectSame() {
    std::string difference;
    EXPECT_TRUE(Tovo::sameTree(*chassis_, *there_.mounted("/chassis"), difference)) << difference;
    EXPECT_FALSE(host_->closed()) << host_->closeReason();
    EXPECT_FALSE(guest_->closed()) << guest_->closeReason();
  }

  Tovo::Directory here_;
  Tovo::Directory there_;
  Pelmo::Ptr<Sample::Chassis> chassis_;
  std::unique_ptr<Connection> host_;
  std::unique_ptr<Connection> guest_;
};

TEST_F(SecondModule, attributesBeyondOneWordOfFlagsAreSentOneByOne) {
  const auto card = chassis_->cardIs("1");
  exchange();
  expectSame();
  const uint64_t before = host_->figures().messagesSent;
  card->lane69Is(7);
  card->lane00Is(8);
  card->lane63Is(9);
  card->lane63Is(10);
  exchange();
  expectSame();
  EXPECT_EQ(host_->figures().messagesSent, before + 3);
}

TEST_F(SecondModule, listsAndRecordsAsKeysTravel) {
  Sample::Notes notes;
  notes.linesPush("check the fan");
  notes.linesPush(Pelmo::String(std::string_view("\0\xff", 2)));
  notes.bridgesPush(Stp::BridgeId(Stp::BridgePriority(4096), {}, Nelka::EthAddr()));
  notes.urgentIs(true);
  const auto card = chassis_->cardIs("1");
  card->notesIs(notes);
  chassis_->labelIs(Sample::Slot(3, 12), "uplinks");
  chassis_->bySlotIs(Sample::Slot(3, 12), card);
  exchange();
  expectSame();
  chassis_->cardDel("1");
  chassis_->labelDel(Sample::Slot(3, 12));
  chassis_->bySlotDel(Sample::Slot(3, 12));
  exchange();
  expectSame();
}

TEST_F(SecondModule, valuesPrintAndParseThroughTheSameCode) {
  Sample::Notes notes;
  notes.linesPush("it's");
  notes.bridgesPush(Stp::BridgeId());
  std::string text;
  notes.appendText(text);
  EXPECT_EQ(text,
            "Value('Sample::Notes', lines=['it\\'s'], bridges=[Value('Stp::BridgeId', priority=0, "
            "systemId=0, address=00:00:00:00:00:00)], urgent=None, face=front)");
  EXPECT_EQ(Tovo::strepToValue<Sample::Notes>(text), notes);
  notes.faceIs(static_cast<Sample::Face>(200));  // as the log may bring it
  text.clear();
  notes.appendText(text);
  EXPECT_TRUE(text.ends_with(", face=200)")) << text;
  EXPECT_THROW(Sample::Slot(1, 49), Tovo::RangeException);
  try {
    Tovo::strepToValue<Sample::Slot>("Value('Sample::Slot', rack=1, unit=0)");
    ADD_FAILURE() << "unit 0 was accepted";
  } catch (const Tovo::RangeException& error) {
    EXPECT_STREQ(error.what(), "unit: Sample::Slot::unit < 1 or > 48 not allowed");
  }
}

TEST(GeneratedCode, mayUseTheNamesOfParametersAndTables) {
  const auto rack = Sample::rackFactory("rack");
  rack->heightIs(6);
  EXPECT_THROW(rack->heightIs(5), Tovo::RangeException);
  const auto tray = rack->trayIs("1", 2, 3);
  EXPECT_EQ(rack->trayIs("1", 2, 3), tray);
  EXPECT_THROW(rack->trayIs("1", 3, 3), Tovo::MutatorReinstantiatingException);
  EXPECT_THROW(rack->trayIs("1", 2, 4), Tovo::MutatorReinstantiatingException);
  EXPECT_EQ(rack->hooks(), 1);
  rack->levelIs(5);
  EXPECT_THROW(rack->levelIs(6), Tovo::RangeException);
  EXPECT_EQ(rack->level(), 5);
  EXPECT_EQ(rack->deep().level(), 7);
}

TEST(GeneratedCode, takesAnAlternativeByItsPlace) {
  Sample::Place place;
  EXPECT_EQ(place.slot(), 4);
  place.costIs(7);
  EXPECT_EQ(place.cost(), 7);
  EXPECT_THROW(place.slot(), Tovo::BadAlternativeException);
  place.slotIs(1);
  EXPECT_EQ(place.heldIndex(), 0);
}

// 2^53 + 1 is the first number that a double does not hold.
TEST(WideNumbers, keepAllBitsInEveryForm) {
  constexpr uint64_t all = ~uint64_t{0};
  for (const uint64_t number : {uint64_t{1}, (uint64_t{1} << 53) + 1, all - 1}) {
    const Sample::Octets octets(number);
    EXPECT_EQ(Tovo::strepToValue<Sample::Octets>(std::to_string(number)), octets);
    std::string text;
    octets.appendText(text);
    EXPECT_EQ(text, std::to_string(number));
    uint8_t bytes[Sample::Octets::attrLogBytes];
    octets.encode(bytes);
    EXPECT_EQ(Sample::Octets::decode(bytes), octets);
  }
  uint8_t bytes[8];
  Sample::Octets(0x0102030405060708).encode(bytes);
  for (uint8_t i = 0; i < 8; ++i) EXPECT_EQ(bytes[i], i + 1);

  EXPECT_THROW(Sample::Octets{0}, Tovo::RangeException);
  EXPECT_THROW(Sample::Octets{all}, Tovo::RangeException);
  for (const char* refused : {"0", "18446744073709551615", "18446744073709551616", "-1"}) {
    EXPECT_THROW(Tovo::strepToValue<Sample::Octets>(refused), Tovo::RangeException) << refused;
  }
  const auto meter = Sample::meterFactory("meter");
  EXPECT_EQ(meter->octets().value(), Sample::Octets::highest);
  EXPECT_EQ(meter->first().value(), (uint64_t{1} << 53) + 1);
  EXPECT_EQ(meter->total(), all);
  const Tovo::Attribute total = Tovo::attributeByName(meter->tovoType(), "total");
  EXPECT_STREQ(total.typeName(), "u64");
  EXPECT_EQ(Tovo::defaultText(total), "18446744073709551615");
}

TEST(SameTree, findsADifferenceBelowACollection) {
  const auto a = Sample::chassisFactory("chassis");
  const auto b = Sample::chassisFactory("chassis");
  a->cardIs("1");
  b->cardIs("1");
  std::string difference;
  EXPECT_TRUE(Tovo::sameTree(*a, *b, difference)) << difference;
  b->card("1")->lane07Is(1);
  EXPECT_FALSE(Tovo::sameTree(*a, *b, difference));
  EXPECT_TRUE(difference.ends_with("/card/1/lane07")) << difference;
  b->card("1")->lane07Is(a->card("1")->lane07());
  b->labelIs(Sample::Slot(1, 1), "x");
  EXPECT_FALSE(Tovo::sameTree(*a, *b, difference));
  a->labelIs(Sample::Slot(1, 1), "y");
  EXPECT_FALSE(Tovo::sameTree(*a, *b, difference));
}

TEST(Registration, aLaterLibraryComesBehindOurs) {
  const auto modules = Tovo::tovoModules();
  EXPECT_EQ(Tovo::moduleName(*modules.back()), "Sample");
  EXPECT_TRUE(Tovo::typeByName("Sample::Card"));
  EXPECT_TRUE(Tovo::typeByName("Stp::Hw"));
}

}  // namespace
