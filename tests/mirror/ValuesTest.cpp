// Several values in one message.
#include <string>
#include <vector>

#include "RawPeer.h"
#include "Stp/StpQuiesceConfig.h"
#include "Support.h"

namespace Mirror {
namespace {

class ValuesTest : public Test {};

const std::string twoSeconds = "\x40" + std::string(7, '\0');

// Any byte but zero reads true: what is stored must be one all the same.
TEST_F(ValuesTest, AMirrorThatNobodyObserves) {
  Directory directory;
  RawPeer peer(directory);
  peer.connection().guest().mount("/quiesce", true);
  const std::string type = text("Stp::QuiesceConfig");
  peer.send(greeting() + message(0, 6, text("/quiesce") + u8(1) + type + u32(1) + text("quiesce")) +
            message(1, 3, u16(258) + u16(259) + twoSeconds + u8(0x80)) + message(0, 9));
  Entity* mirror = directory.mounted("/quiesce");
  ASSERT_TRUE(mirror) << peer.connection().closeReason();
  const auto& quiesce = static_cast<Stp::QuiesceConfig&>(*mirror);
  EXPECT_EQ(quiesce.peerWaitTime(), 2.0);
  const bool stored = quiesce.ovuInProgress();
  EXPECT_EQ(static_cast<int>(*reinterpret_cast<const char*>(&stored)), 1);
}

// A part of them does as well, and each is published for itself, if it is another one.
TEST_F(ValuesTest, AHostThatIsObserved) {
  Directory directory;
  const auto quiesce = Stp::quiesceConfigFactory("quiesce");
  quiesce->ovuInProgressIs(true);
  directory.mount("/quiesce", quiesce);
  std::vector<Tovo::AttributeId> published;
  const Watch watch(*quiesce, [&](Entity&, const Pelmo::Change& change) {
    published.push_back(change.attribute);
  });
  RawPeer peer(directory);
  peer.send(greeting() + message(0, 5, text("/quiesce") + u8(0)));
  const uint32_t number = 0x80000001;
  const std::string both = u16(258) + u16(259) + twoSeconds + u8(1);
  const std::string one = u16(262) + u16(262) + u8(1);
  peer.send(message(number, 3, both) + message(number, 3, one) + message(0, 9));
  EXPECT_EQ(peer.connection().closeReason(), "");
  EXPECT_EQ(quiesce->peerWaitTime(), 2.0);
  EXPECT_TRUE(quiesce->stpNormalOperationStage());
  EXPECT_EQ(published, (std::vector<Tovo::AttributeId>{258, 262}));
}

}  // namespace
}  // namespace Mirror
