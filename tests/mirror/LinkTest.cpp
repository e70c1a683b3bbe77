// A link brings its mirrors back, whatever happened to the connection and to the other end.
#include "Mirror/Link.h"
#include "Mirror/wire/DescriptorStream.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <list>
#include <string>
#include <vector>

#include "RawPeer.h"
#include "Stp/StpHw.h"
#include "Stp/StpStatus.h"
#include "Support.h"

namespace Mirror {
namespace {

using std::chrono::milliseconds;
using Tovo::NboAttrLog::DescriptorStream;
using Tovo::NboAttrLog::Ending;
using Tovo::NboAttrLog::Link;
using Tovo::NboAttrLog::LinkObserver;
using Tovo::NboAttrLog::LinkOptions;
using Tovo::NboAttrLog::LinkState;
using Tovo::NboAttrLog::Stream;

class LinkTest : public Test {};

LinkOptions options() {
  LinkOptions chosen;
  chosen.firstWait = milliseconds(100);
  chosen.longestWait = milliseconds(1000);
  chosen.seed = 1;
  return chosen;
}

// Somebody to connect to, who can go and come back with another tree.
class Server {
 public:
  std::unique_ptr<Stream> connect() {
    if (!directory) throw std::runtime_error("nobody is there");
    const Sockets sockets;
    connections.push_back(std::make_unique<Connection>(sockets.a, *directory));
    return std::make_unique<DescriptorStream>(sockets.b);
  }
  void start() { directory = std::make_unique<Directory>(); }
  void stop() {
    connections.clear();
    directory.reset();
  }
  // False when there was nothing to do.
  bool work() {
    bool worked = false;
    for (const auto& connection : connections) {
      connection->flush();
      while (readable(connection->readFd())) {
        connection->handleReadable();
        connection->flush();
        worked = true;
      }
    }
    std::erase_if(connections, [](const auto& connection) { return connection->closed(); });
    return worked;
  }

  std::unique_ptr<Directory> directory;
  std::list<std::unique_ptr<Connection>> connections;
};

// A link with a clock that stands still until it is told, and what its observer heard.
class Client : public LinkObserver {
 public:
  explicit Client(Server& server, LinkOptions chosen = options())
      : server_(server), link([&server] { return server.connect(); }, directory, chosen) {
    link.observerIs(this);
  }
  void settle() {
    for (int quiet = 0; quiet < 2; ++quiet) {
      link.handle(now);
      if (server_.work()) quiet = -1;
    }
  }
  // To the time at which the link has something to do.
  void wait() {
    now = std::max(now, link.due().value_or(now));
    settle();
  }
  void handleLinkState(Link& changed) override {
    EXPECT_EQ(&changed, &link);
    states.emplace_back(linkStateName(link.state()));
  }
  void handleMounted(Link&, const std::string& path, Entity& entity, bool isNew) override {
    EXPECT_EQ(directory.mounted(path), &entity);
    events.push_back((isNew ? "new " : "same ") + path);
  }
  void handleUnmounted(Link&, const std::string& path, const std::string& reason) override {
    EXPECT_EQ(directory.mounted(path), nullptr);
    events.push_back("no " + path + ": " + reason);
  }
  std::vector<std::string> takeStates() { return std::exchange(states, {}); }
  std::vector<std::string> takeEvents() { return std::exchange(events, {}); }

 private:
  Server& server_;

 public:
  Directory directory;
  Link link;
  Link::Clock::time_point now = Link::Clock::now();
  std::vector<std::string> states;
  std::vector<std::string> events;
};

using Words = std::vector<std::string>;

TEST_F(LinkTest, ComesBackAndPublishesOnlyWhatChanged) {
  Server server;
  const auto tree = [&](bool second) {
    server.start();
    auto status = Stp::statusFactory("status");
    server.directory->mount("/status", status);
    const auto mst0 = status->stpiStatusIs("Mstp")->mstiStatusIs("Mst0", Stp::InstanceId(0));
    for (int i = 0; i < 4; ++i) {
      mst0->mstiPortStatusIs(Pelmo::String("Et" + std::to_string(i)), i == 1 && second ? 77 : 1);
    }
    mst0->rootPortIs(mst0->mstiPortStatus("Et3"));
    if (second) {
      mst0->mstiPortStatusDel("Et2");
      mst0->mstiPortStatus("Et0")->stateIs(Stp::PortState::learning);
      status->stpiStatus("Mstp")->mstiStatusIs("Mst1", Stp::InstanceId(1));
    }
    return status;
  };
  tree(false);
  Client client(server);
  client.link.mount("/status", true);
  client.settle();
  ASSERT_TRUE(client.link.isMirrored("/status"));
  EXPECT_EQ(client.takeStates(), (Words{"connecting", "greeting", "synced"}));

  auto& mirror = static_cast<Stp::Status&>(*client.directory.mounted("/status"));
  const Ptr<Entity> kept(&mirror);
  const auto mst0 = mirror.stpiStatus("Mstp")->mstiStatus("Mst0");
  const auto et0 = mst0->mstiPortStatus("Et0");
  const auto et1 = mst0->mstiPortStatus("Et1");
  const Plain before = plainOf(mirror);
  server.stop();
  client.settle();
  EXPECT_EQ(client.link.state(), LinkState::waiting);
  EXPECT_EQ(client.link.reason(), "end of stream");
  EXPECT_EQ(plainOf(mirror), before) << "the mirror stays while the server is away";

  const auto changed = tree(true);
  Replay replay(mirror);
  std::vector<std::string> published;
  Watch watch(mirror, [&](Entity& source, const Pelmo::Change& change) {
    published.push_back(std::string(source.nameString().view()) + "." +
                        attributeById(source.tovoType(), change.attribute).name());
  });
  client.wait();
  EXPECT_EQ(client.takeStates(), (Words{"waiting", "connecting", "greeting", "synced"}));
  EXPECT_EQ(client.takeEvents(), (Words{"new /status", "same /status"}));
  expectSame(*changed, mirror);
  replay.expectComplete();
  std::sort(published.begin(), published.end());
  EXPECT_EQ(published, (Words{"Et0.state", "Mst0.mstiPortStatus", "Mst0.mstiPortStatus",
                              "Mst0.mstiPortStatus", "Mstp.mstiStatus"}))
      << "Et1 goes and comes, Et2 goes, Mst1 comes";
  EXPECT_EQ(mst0->mstiPortStatus("Et0"), et0);
  EXPECT_NE(mst0->mstiPortStatus("Et1"), et1);
  EXPECT_EQ(client.link.connections(), 2u);
}

// Whoever a link calls may destroy it there.
TEST_F(LinkTest, WhoeverItCallsMayDestroyIt) {
  class Destroyer : public LinkObserver {
   public:
    Destroyer(Server& server, std::string moment)
        : moment_(std::move(moment)),
          link_(std::make_unique<Link>(
              [this, &server] {
                at("connect");
                if (!server.directory) at("no stream");
                return server.connect();
              },
              directory_, options())) {
      link_->observerIs(this);
      link_->mountAll(true);
    }
    // False when nothing is left of it.
    bool handle() {
      if (!link_) return false;
      link_->handle(now_);
      if (link_) now_ = link_->nextTry().value_or(now_);
      return link_ != nullptr;
    }

   private:
    void handleLinkState(Link& link) override { at(linkStateName(link.state())); }
    void handleMounted(Link&, const std::string& path, Entity& root, bool) override {
      watches_.push_back(
          std::make_unique<Watch>(root, [this](Entity&, const Pelmo::Change&) { at("a change"); }));
      at("mounted " + path);
    }
    void handleUnmounted(Link&, const std::string&, const std::string&) override {
      at("unmounted");
    }
    void at(const std::string& moment) {
      if (moment == moment_) link_.reset();
    }

    const std::string moment_;
    Directory directory_;
    std::unique_ptr<Link> link_;
    std::vector<std::unique_ptr<Watch>> watches_;
    Link::Clock::time_point now_ = Link::Clock::now();
  };
  for (const char* moment : {"connect", "connecting", "greeting", "syncing", "synced", "mounted /a",
                             "mounted /b", "a change", "unmounted", "waiting", "no stream"}) {
    Server server;
    server.start();
    const auto status = Stp::statusFactory("a");
    server.directory->mount("/a", status);
    server.directory->newEntity("/b", "Stp::Hw");
    Destroyer destroyer(server, moment);
    bool alive = true;
    const auto work = [&] {
      for (int round = 0; round < 10 && alive; ++round) {
        alive = destroyer.handle();
        if (server.directory) server.work();
      }
    };
    work();
    status->stableIs(true);
    work();
    server.directory->unmount("/b");
    work();
    server.stop();
    work();
    EXPECT_FALSE(alive) << moment;
  }
}

TEST_F(LinkTest, WhatWasWrittenWithoutAConnectionGivesWay) {
  Server server;
  server.start();
  const auto hw = Stp::hwFactory("hw");
  server.directory->mount("/hw", hw);
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Et1");
  Client client(server);
  client.link.mount("/hw", false);
  client.settle();
  auto& mirror = static_cast<Stp::Hw&>(*client.directory.mounted("/hw"));
  const auto port = mirror.mstiHw("Mst0")->mstiPortHw("Et1");
  server.connections.clear();
  client.settle();
  port->activeIs(!port->active());
  mirror.mstiHwIs("Mst7");
  mirror.mstiHwDel("Mst0");
  client.wait();
  expectSame(*hw, mirror);
  mirror.mstiHw("Mst0")->mstiPortHw("Et1")->portStateIs(Stp::PortState::learning);
  client.settle();
  expectSame(*hw, mirror);
  EXPECT_EQ(hw->mstiHw("Mst0")->mstiPortHw("Et1")->portState(), Stp::PortState::learning);
}

TEST_F(LinkTest, WaitsGrowWithinTheirBoundsAndStartOver) {
  Server server;
  std::vector<double> shares;
  for (uint64_t seed = 1; seed <= 20; ++seed) {
    LinkOptions chosen = options();
    chosen.seed = seed;
    Client client(server, chosen);
    client.link.handle(client.now);
    for (const int step : {100, 200, 400, 800, 1000, 1000}) {
      ASSERT_EQ(client.link.state(), LinkState::waiting);
      EXPECT_EQ(client.link.reason(), "nobody is there");
      const auto wait = *client.link.nextTry() - client.now;
      EXPECT_GE(wait, milliseconds(step / 2));
      EXPECT_LE(wait, milliseconds(step));
      shares.push_back(std::chrono::duration<double>(wait) / milliseconds(step));
      client.link.handle(*client.link.nextTry() - milliseconds(1));
      client.wait();
    }
    EXPECT_EQ(client.link.failures(), 7u);
    // A server that falls again at once is not tried more often.
    server.start();
    client.wait();
    ASSERT_EQ(client.link.state(), LinkState::synced);
    server.stop();
    client.settle();
    EXPECT_GE(*client.link.nextTry() - client.now, milliseconds(500));
    server.start();
    client.wait();
    client.now += milliseconds(1000);
    server.stop();
    client.settle();
    EXPECT_LE(*client.link.nextTry() - client.now, milliseconds(100));
    EXPECT_EQ(client.link.failures(), 7u) << "those that were made are none";
  }
  const auto [least, most] = std::minmax_element(shares.begin(), shares.end());
  EXPECT_LT(*least, 0.55) << "all come at the same time";
  EXPECT_GT(*most, 0.95);
}

TEST_F(LinkTest, RootsThatGoAndCome) {
  Server server;
  server.start();
  const auto hw = Stp::hwFactory("hw");
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Et1");
  server.directory->mount("/hw", hw);
  Client client(server);
  client.link.mount("/hw/mstiHw/Mst0", true);
  client.link.mount("/other", true);
  client.settle();
  const std::string nothing = "nothing is mounted at '/other'; mounted: /hw";
  EXPECT_EQ(client.takeEvents(), (Words{"new /hw/mstiHw/Mst0", "no /other: " + nothing}));
  EXPECT_EQ(client.link.state(), LinkState::synced) << "all that there is";

  // While connected: by the end of an element, and of a root.
  hw->mstiHwDel("Mst0");
  client.settle();
  EXPECT_EQ(client.takeEvents(), (Words{"no /hw/mstiHw/Mst0: /hw/mstiHw/Mst0 has been deleted"}));
  hw->mstiHwIs("Mst0");
  server.directory->newEntity("/other", "Stp::Status");
  client.wait();
  EXPECT_EQ(client.takeEvents(), (Words{"new /hw/mstiHw/Mst0", "new /other"}));
  const Ptr<Entity> held(server.directory->unmount("/other"));
  client.settle();
  EXPECT_EQ(client.takeEvents(), (Words{"no /other: /other is not mounted any more"}));
  client.wait();
  EXPECT_EQ(client.takeEvents(), Words{}) << "it still is not there";
  server.directory->mount("/other", held);
  client.wait();
  EXPECT_EQ(client.takeEvents(), (Words{"new /other"}));

  // While away: another type, and nothing.
  server.stop();
  client.settle();
  server.start();
  server.directory->newEntity("/other", "Stp::Hw");
  client.wait();
  EXPECT_EQ(client.link.state(), LinkState::synced);
  const Words events = client.takeEvents();
  ASSERT_EQ(events.size(), 2u);
  EXPECT_TRUE(events[0].starts_with("no /hw/mstiHw/Mst0: nothing is mounted")) << events[0];
  EXPECT_EQ(events[1], "new /other");
  EXPECT_NE(dynamic_cast<Stp::Hw*>(client.directory.mounted("/other")), nullptr);
}

// What a link asks for again is not here before it is answered and whole.
TEST_F(LinkTest, IsSyncedAgainWhenAllIsAnswered) {
  Directory directory;
  int peer = -1;
  const auto connect = [&] {
    const Sockets sockets;
    peer = sockets.a;
    return std::make_unique<DescriptorStream>(sockets.b);
  };
  Link link(connect, directory, options());
  link.mount("/hw", true);
  auto now = Link::Clock::now();
  const std::string hw = message(0, 6, text("/hw") + u8(1) + text("Stp::Hw") + u32(1) + text("hw"));
  for (int time = 0; time < 2; ++time) {
    for (const std::string& bytes : {greeting(), hw, message(0, 9)}) {
      link.handle(now);
      EXPECT_NE(link.state(), LinkState::synced);
      ASSERT_EQ(::send(peer, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
      link.handle(now);
    }
    EXPECT_EQ(link.state(), LinkState::synced);
    ::close(peer);
    link.handle(now);
    now = link.nextTry().value_or(now);
  }
}

TEST_F(LinkTest, FollowsAllRoots) {
  Server server;
  server.start();
  server.directory->newEntity("/a", "Stp::Hw");
  Client client(server);
  client.settle();
  EXPECT_EQ(client.link.state(), LinkState::synced) << "nothing is wanted yet";
  client.link.mountAll(true);
  EXPECT_EQ(client.link.state(), LinkState::syncing);
  client.settle();
  EXPECT_EQ(client.link.state(), LinkState::synced);
  EXPECT_EQ(client.takeEvents(), (Words{"new /a"}));
  server.directory->newEntity("/b", "Stp::Hw");
  client.wait();
  EXPECT_EQ(client.takeEvents(), (Words{"new /b"}));
  const Ptr<Entity> held(server.directory->unmount("/b"));
  client.settle();
  server.directory->mount("/b", held);
  client.settle();  // without waiting
  EXPECT_EQ(client.takeEvents(), (Words{"no /b: /b is not mounted any more", "new /b"}));
  server.stop();
  client.settle();
  server.start();
  server.directory->newEntity("/b", "Stp::Hw");
  server.directory->newEntity("/c", "Stp::Hw");
  client.wait();
  const Words events = client.takeEvents();
  EXPECT_NE(std::find(events.begin(), events.end(), "same /b"), events.end());
  EXPECT_NE(std::find(events.begin(), events.end(), "new /c"), events.end());
  EXPECT_EQ(client.directory.mounts().size(), 2u);
}

// What is gone at the end of a chain's head is gone at its tail.
TEST_F(LinkTest, AChainPassesOnWhatIsUnmounted) {
  Server head;
  head.start();
  const auto hw = Stp::hwFactory("hw");
  head.directory->mount("/hw", hw);
  Client middle(head);
  middle.link.mount("/hw", true);
  Directory tail;
  const Sockets sockets;
  Connection host(sockets.a, middle.directory);
  Connection guest(sockets.b, tail);
  const auto settle = [&] {
    for (int round = 0; round < 4; ++round) {
      middle.settle();
      for (Connection* end : {&host, &guest}) {
        end->flush();
        end->handleReadable();
      }
    }
  };
  settle();
  guest.guest().mount("/hw", true);
  settle();
  ASSERT_NE(tail.mounted("/hw"), nullptr);
  hw->mstiHwIs("Mst3");
  settle();
  expectSame(*hw, *tail.mounted("/hw"));
  head.directory->unmount("/hw");
  settle();
  EXPECT_EQ(tail.mounted("/hw"), nullptr);
  EXPECT_FALSE(guest.closed()) << guest.closeReason();
  EXPECT_EQ(guest.log().numbers().count() + host.log().numbers().count(), 0u);
}

// ------------------------------------------------------------------------ peers that do not answer

TEST_F(LinkTest, ADifferenceIsToldAtBothEndsAndTriedSeldom) {
  const std::string hash = "0123456789abcdef";
  const struct {
    std::string greeting;
    std::string here;
  } cases[] = {
      {greeting(1, text("StpHw") + text(hash)), "module StpHw is " + hash + " at the peer and "},
      {message(0, 1, u32(0x54414c31) + u16(9) + u16(0)), "the peer speaks version 9 of the "},
  };
  for (const auto& wrong : cases) {
    // With and without the peer being gone by the time that its words are read.
    for (const bool gone : {false, true}) {
      Directory directory;
      int far = -1;
      Link link(
          [&] {
            const Sockets sockets;
            far = sockets.b;
            EXPECT_GT(::send(far, wrong.greeting.data(), wrong.greeting.size(), 0), 0);
            if (gone) ::shutdown(far, SHUT_RD);
            return std::make_unique<DescriptorStream>(sockets.a);
          },
          directory, options());
      const auto now = Link::Clock::now();
      link.mount("/hw", true);
      link.handle(now);
      EXPECT_EQ(link.state(), LinkState::refused);
      EXPECT_EQ(link.ending(), Ending::difference);
      EXPECT_TRUE(link.reason().starts_with(wrong.here)) << link.reason();
      EXPECT_GE(*link.nextTry() - now, milliseconds(500));
      if (!gone) {
        std::string told(64 * 1024, '\0');
        told.resize(
            static_cast<size_t>(std::max<ssize_t>(::read(far, told.data(), told.size()), 0)));
        EXPECT_NE(told.find(link.reason()), std::string::npos) << "the peer is not told";
      }
      ::close(far);
    }
  }
}

TEST_F(LinkTest, SilentPeersAreGivenUp) {
  Directory directory;
  LinkOptions chosen = options();
  chosen.connectTime = milliseconds(300);
  chosen.limits.greetingTime = milliseconds(700);
  bool takesBytes = false;
  std::list<int> far;
  Link link(
      [&] {
        const Sockets sockets;
        far.push_back(sockets.b);
        // A socket that takes no bytes looks like one that is being connected.
        const char bytes[4096] = {};
        while (!takesBytes && ::send(sockets.a, bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
        }
        return std::make_unique<DescriptorStream>(sockets.a);
      },
      directory, chosen);
  auto now = Link::Clock::now();
  const auto expect = [&](LinkState state, int due, const char* reason) {
    now += milliseconds(due - 1);
    link.handle(now);
    EXPECT_EQ(link.state(), state);
    ASSERT_EQ(link.due(), now + milliseconds(1));
    now += milliseconds(1);
    link.handle(now);
    EXPECT_EQ(link.state(), LinkState::waiting);
    EXPECT_EQ(link.reason(), reason);
  };
  link.handle(now);
  expect(LinkState::connecting, 300, "no connection within 300 ms");
  takesBytes = true;
  now = *link.nextTry();
  link.handle(now);
  expect(LinkState::greeting, 700, "no greeting within 700 ms");
  EXPECT_EQ(link.ending(), Ending::greetingTime);
  for (const int fd : far) ::close(fd);
}

TEST_F(LinkTest, AHostGivesUpSilentGuests) {
  Directory directory;
  RawPeer peer(directory);
  const auto start = Connection::Clock::now();
  peer.connection().tick(start);
  peer.connection().tick(start + milliseconds(9999));
  EXPECT_FALSE(peer.connection().closed());
  EXPECT_EQ(peer.connection().due(), start + milliseconds(10000));
  peer.connection().tick(start + milliseconds(10000));
  EXPECT_EQ(peer.goodBye(), "no greeting within 10000 ms");
  RawPeer greeted(directory);
  greeted.connection().tick(start);
  greeted.send(greeting());
  greeted.connection().tick(start + milliseconds(20000));
  EXPECT_FALSE(greeted.connection().closed());
}

}  // namespace
}  // namespace Mirror
