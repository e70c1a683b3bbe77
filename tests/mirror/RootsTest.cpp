// Roots that a guest has made and removed, and how others hear of it.
#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/Exceptions.h"

namespace Mirror {
namespace {

class RootsTest : public Test {};

std::vector<std::string> pathsAt(const Connection& guest) {
  std::vector<std::string> paths;
  for (const auto& mount : guest.remoteMounts()) paths.push_back(mount.path);
  return paths;
}

TEST_F(RootsTest, AreMadeWithParametersFollowedAndRemoved) {
  Pair pair;
  pair.guest->followMounts();
  pair.settle();
  const auto status = Stp::statusFactory("other");
  const auto instance = status->stpiStatusIs("Mstp")->mstiStatusIs("Mst7", Stp::InstanceId(7));
  pair.guest->create("/instance", *instance);
  pair.guest->create("/status", *status);
  pair.settle();
  EXPECT_EQ(pathsAt(*pair.guest), (std::vector<std::string>{"/instance", "/status"}));
  const auto& made = static_cast<Stp::MstiStatus&>(pair.mirror("/instance"));
  EXPECT_EQ(made.instanceId(), Stp::InstanceId(7));
  EXPECT_EQ(made.name().view(), "Mst7");
  EXPECT_EQ(pair.hostDirectory.mounted("/status")->name().view(), "other");

  pair.guest->remove("/instance");
  pair.settle();
  EXPECT_EQ(pathsAt(*pair.guest), std::vector<std::string>{"/status"});
  EXPECT_FALSE(pair.guestDirectory.mounted("/instance")) << "the mirror has gone too";

  // On its own: nobody asked again.
  pair.hostDirectory.newEntity("/later", "Stp::Hw");
  pair.settle();
  EXPECT_EQ(pathsAt(*pair.guest), (std::vector<std::string>{"/later", "/status"}));
  EXPECT_TRUE(pair.guest->refusals().empty());
  pair.expectOpen();
}

TEST_F(RootsTest, AreRefusedInWords) {
  Pair pair;
  pair.root("/hw", "Stp::Hw");
  const auto hw = pair.guestDirectory.newEntity("/mine", "Stp::Hw");
  pair.guest->create("/hw/below", *hw);
  pair.guest->remove("/nothing");
  pair.settle();
  pair.host->servesIs(true, false, "only the owner writes");
  pair.guest->create("/more", *hw);
  pair.guest->remove("/hw");
  pair.settle();
  const std::vector<std::string>& refusals = pair.guest->refusals();
  ASSERT_EQ(refusals.size(), 4u);
  const char* const reasons[] = {"'/hw' is a Stp::Hw already", "no root is mounted at '/nothing'",
                                 "nothing can be created here", "nothing can be removed here"};
  for (size_t i = 0; i < refusals.size(); ++i) {
    EXPECT_NE(refusals[i].find(reasons[i]), std::string::npos) << refusals[i];
  }
  EXPECT_EQ(pair.hostDirectory.mounts().size(), 1u);
  pair.expectOpen();
}

}  // namespace
}  // namespace Mirror
