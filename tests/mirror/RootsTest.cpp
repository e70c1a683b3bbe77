// Roots that a guest has made and removed, and how others hear of it.
#include <sys/socket.h>

#include "Stp/StpStatus.h"
#include "Support.h"
#include "Tovo/Exceptions.h"

namespace Mirror {
namespace {

class RootsTest : public Test {};

std::vector<std::string> pathsAt(const Connection& guest) {
  std::vector<std::string> paths;
  for (const auto& [path, type] : guest.guest().roots().all()) paths.push_back(path);
  return paths;
}

TEST_F(RootsTest, AreMadeWithParametersFollowedAndRemoved) {
  Pair pair;
  pair.guest->guest().roots().follow();
  pair.settle();
  const auto status = Stp::statusFactory("other");
  const auto instance = status->stpiStatusIs("Mstp")->mstiStatusIs("Mst7", Stp::InstanceId(7));
  pair.guest->guest().create("/instance", *instance);
  pair.guest->guest().create("/status", *status);
  pair.settle();
  EXPECT_EQ(pathsAt(*pair.guest), (std::vector<std::string>{"/instance", "/status"}));
  const auto& made = static_cast<Stp::MstiStatus&>(pair.mirror("/instance"));
  EXPECT_EQ(made.instanceId(), Stp::InstanceId(7));
  EXPECT_EQ(made.name().view(), "Mst7");
  EXPECT_EQ(pair.hostDirectory.mounted("/status")->name().view(), "other");

  pair.guest->guest().remove("/instance");
  pair.settle();
  EXPECT_EQ(pathsAt(*pair.guest), std::vector<std::string>{"/status"});
  EXPECT_FALSE(pair.guestDirectory.mounted("/instance")) << "the mirror has gone too";

  // On its own: nobody asked again.
  pair.hostDirectory.newEntity("/later", "Stp::Hw");
  pair.settle();
  EXPECT_EQ(pathsAt(*pair.guest), (std::vector<std::string>{"/later", "/status"}));
  EXPECT_TRUE(pair.guest->guest().refusals().empty());
  pair.expectOpen();
}

TEST_F(RootsTest, AreRefusedInWords) {
  Pair pair;
  pair.root("/hw", "Stp::Hw");
  const auto hw = pair.guestDirectory.newEntity("/mine", "Stp::Hw");
  pair.guest->guest().create("/hw/below", *hw);
  pair.guest->guest().remove("/nothing");
  pair.settle();
  pair.host->host().servesIs(true, false, "only the owner writes");
  pair.guest->guest().create("/more", *hw);
  pair.guest->guest().remove("/hw");
  pair.settle();
  const std::vector<std::string>& refusals = pair.guest->guest().refusals();
  ASSERT_EQ(refusals.size(), 4u);
  const char* const reasons[] = {"'/hw' is a Stp::Hw already", "no root is mounted at '/nothing'",
                                 "nothing can be created here", "nothing can be removed here"};
  for (size_t i = 0; i < refusals.size(); ++i) {
    EXPECT_NE(refusals[i].find(reasons[i]), std::string::npos) << refusals[i];
  }
  EXPECT_EQ(pair.hostDirectory.mounts().size(), 1u);
  pair.expectOpen();
}

std::string numbered(int i) { return "/root" + std::to_string(i); }

// Many roots cost neither end more than a bounded room, and nobody the connection: who lists them,
// who mounts all of them, who makes and removes them, and who does not read meanwhile.
TEST_F(RootsTest, ThousandsComeAndGo) {
  constexpr int count = 8000;
  Pair reader;
  for (int i = 0; i < count; ++i) reader.root(numbered(i), "Stp::Hw");
  reader.guest->guest().roots().follow();
  reader.guest->guest().roots().ask();
  reader.settle();
  ASSERT_EQ(reader.guest->guest().roots().all().size(), size_t{count});
  for (const auto& [path, type] : reader.guest->guest().roots().all())
    reader.guest->guest().mount(path, true);
  reader.settle();
  EXPECT_EQ(reader.guestDirectory.mounts().size(), size_t{count});
  EXPECT_EQ(reader.guest->guest().synced(), uint32_t{count});

  const Sockets sockets;
  Connection host(sockets.a, reader.hostDirectory);
  Directory none;
  Connection writer(sockets.b, none);
  for (int i = 0; i < count; i += 2) {
    writer.guest().remove(numbered(i));
    writer.guest().create(numbered(count + i), "Stp::Status");
  }
  for (int quiet = 0; quiet < 2; ++quiet) {
    writer.flush();
    for (Connection* end : {&host, &writer}) {
      while (readable(end->readFd())) {
        end->handleReadable();
        quiet = -1;
      }
    }
    host.flush();
    reader.host->flush();
    EXPECT_LT(reader.host->held().output, 130u * 1024);
  }
  EXPECT_FALSE(writer.closed()) << writer.closeReason();
  EXPECT_TRUE(writer.guest().refusals().empty());
  reader.settle();
  reader.expectOpen();
  EXPECT_EQ(reader.guestDirectory.mounts().size(), size_t{count} / 2);
  std::vector<std::string> expected;
  for (const auto& [path, root] : reader.hostDirectory.mounts()) expected.push_back(path);
  EXPECT_EQ(pathsAt(*reader.guest), expected);
}

TEST_F(RootsTest, WhatComesAndGoesWhileAListIsSentIsToldBehindIt) {
  Limits limits;
  limits.outputBytes = 4096;
  Pair pair(limits);
  for (int i = 0; i < 3000; ++i) pair.root(numbered(i), "Stp::Hw");
  const int smallest = 1;
  ::setsockopt(pair.host->writeFd(), SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
  pair.guest->guest().roots().follow();
  pair.guest->guest().roots().ask();
  pair.guest->flush();
  pair.host->handleReadable();
  pair.host->flush();
  // Both stand in the part that is sent already.
  pair.hostDirectory.unmount(numbered(0));
  pair.root("/first", "Stp::Hw");
  pair.settle();
  const std::vector<std::string> paths = pathsAt(*pair.guest);
  ASSERT_EQ(paths.size(), 3000u);
  EXPECT_EQ(paths.front(), "/first");
  EXPECT_EQ(paths[1], numbered(1));
}

// What is mounted elsewhere is gone from where it was, and a list is as long as it takes.
TEST_F(RootsTest, ARootThatIsMountedElsewhereHasGone) {
  Pair pair;
  const Ptr<Entity> hw = pair.root("/a", "Stp::Hw");
  const auto status = Stp::statusFactory("below");
  status->stpiStatusIs("Mst");
  pair.hostDirectory.mount("/below", status);
  pair.mirror("/a");
  pair.mirror("/below/stpiStatus/Mst");
  pair.hostDirectory.unmount("/a");
  pair.hostDirectory.mount("/b", hw);
  pair.hostDirectory.unmount("/below");
  pair.hostDirectory.mount("/elsewhere", status);
  pair.settle();
  EXPECT_TRUE(pair.guestDirectory.mounts().empty());
  pair.mirror("/b");
  pair.expectOpen();
}

TEST_F(RootsTest, OfAHostThatKeepsSomeOfThemToItself) {
  Pair pair;
  const Ptr<Entity> root = Stp::statusFactory("status");
  pair.hostDirectory.mount("/status", root, "the agent writes it");
  pair.hostDirectory.newEntity("/hw", "Stp::Hw");
  for (const char* path : {"/status", "/hw"}) pair.guest->guest().mount(path, false);
  pair.settle();
  EXPECT_EQ(pair.guest->guest().whyReadOnly("/status"), "the agent writes it");
  EXPECT_EQ(pair.guest->guest().whyReadOnly("/hw"), "");

  pair.hostDirectory.rootsAreFixedIs(true);
  pair.guest->guest().create("/more", *pair.hostDirectory.mounted("/hw"));
  pair.guest->guest().remove("/hw");
  pair.settle();
  EXPECT_EQ(
      pair.guest->guest().refusals(),
      (std::vector<std::string>{"nothing can be created here", "nothing can be removed here"}));
  EXPECT_EQ(pair.hostDirectory.mounts().size(), 2u);
  // The reason goes with the root.
  pair.hostDirectory.unmount("/status");
  pair.hostDirectory.mount("/status", root);
  EXPECT_EQ(pair.hostDirectory.whyReadOnly("/status"), "");
  pair.expectOpen();
}

}  // namespace
}  // namespace Mirror
