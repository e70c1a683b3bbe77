// Bytes that no honest peer sends: a connection ends with a reason, and nothing else happens.
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "RawPeer.h"
#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpOpenConfigInterfaceConfig.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpStatus.h"
#include "Support.h"

namespace Mirror {
namespace {

class HostileTest : public Test {};

// ---------------------------------------------------------------------------------- handshake

TEST_F(HostileTest, ModuleDifferencesAreToldInWords) {
  Directory directory;
  RawPeer peer(directory);
  peer.send(greeting(3, text("StpHw") + text("0123456789abcdef") + text("Unknown") + text("1") +
                            text("StpStatus") + text("feed")));
  const char* const reason =
      "module StpHw is 0123456789abcdef at the peer and 32be5a5bd5db8b19 here; "
      "module StpStatus is feed at the peer and 6ad563b49f15c854 here";
  EXPECT_EQ(peer.connection().closeReason(), reason);
  EXPECT_EQ(peer.goodBye(), reason);
}

TEST_F(HostileTest, TheReasonArrivesEvenWhenWritingFailsFirst) {
  Directory directory;
  RawPeer peer(directory);
  ASSERT_GT(::send(peer.fd(), greeting().data(), greeting().size(), 0), 0);
  const std::string goodBye = message(0, 2, text("I have \x1b[31mseen\n enough"));
  ASSERT_GT(::send(peer.fd(), goodBye.data(), goodBye.size(), 0), 0);
  ::shutdown(peer.fd(), SHUT_RDWR);
  peer.connection().guest().mount("/somewhere", true);
  peer.connection().flush();
  EXPECT_EQ(peer.connection().closeReason(), "the peer closed: I have \\x1b[31mseen\\x0a enough");
}

// ------------------------------------------------------------------------------------- messages

struct Case {
  const char* what;
  std::string bytes;
  const char* reason;
};

const std::string endOfTurn = message(0, 9);

// A host of /quiesce (number 1), /hw (2) with Mst0 (3), /config (4), /oc (5), all writable.
class Served {
 public:
  Served() {
    directory.mount("/quiesce", Stp::quiesceConfigFactory("quiesce"));
    const auto instances = Stp::hwFactory("hw");
    instances->mstiHwIs("Mst0");
    directory.mount("/hw", instances);
    directory.mount("/config", Stp::configFactory("config"));
    directory.mount("/oc", Stp::oCInterfaceConfigDirFactory("oc"));
  }
  static std::string opening(bool readOnly = false) {
    std::string bytes = greeting();
    for (const char* path : {"/quiesce", "/hw"}) {
      bytes += message(0, 5, text(path) + u8(readOnly));
    }
    return bytes;
  }
  // Numbers in messages to the host.
  static constexpr uint32_t quiesce = 0x80000001;
  static constexpr uint32_t hw = 0x80000002;
  // An instance in /hw.
  static std::string element(const char* name, uint32_t number) {
    return message(hw, 258, text(name) + text(name) + u32(number));
  }

  Directory directory;
};

TEST_F(HostileTest, EveryWrongMessageHasItsReason) {
  const std::string overlong(5000, 'x');
  const Case beforeGreeting[] = {
      {"no greeting", message(0, 3), "the first message is no greeting"},
      {"data first", message(1, 258, u8(0)), "the first message is no greeting"},
      {"magic", message(0, 1, u32(0x47455420) + u16(1) + u16(0)), "speaks no attribute log"},
      {"version", message(0, 1, u32(0x54414c31) + u16(2) + u16(0)),
       "the peer speaks version 2 of the protocol; this is version 1"},
      {"cut greeting", message(0, 1, u32(0x54414c31) + u16(1) + u16(1) + u32(70)), "70 bytes"},
      {"rest", message(0, 1, u32(0x54414c31) + u16(1) + u16(0) + u8(0)), "left behind"},
      {"a module twice", greeting(2, text("A") + text("1") + text("A") + text("1")),
       "the peer names the module A twice"},
      {"a long greeting", u32(65537), "a message of 65537 bytes; 6 to 65536 are allowed"},
      {"another protocol", "GET / HTTP/1.1\r\n\r\n", "a message of 1195725856 bytes"},
  };
  const Case afterOpening[] = {
      {"second greeting", greeting(), "a second greeting"},
      {"too short", u32(5) + "12345", "a message of 5 bytes; 6 to 16777216 are allowed"},
      {"too long", u32(16777217), "a message of 16777217 bytes"},
      {"good-bye with rest", message(0, 2, text("bye") + u8(0)), "left behind"},
      {"control with rest", message(0, 3, u8(0)), "left behind"},
      {"count above what is left", message(0, 4, u32(0xffffffff)), "a list of 4294967295 elements"},
      {"refusal", message(0, 7, text("no")), "a refusal of nothing"},
      {"list not asked for", message(0, 4, u32(0)), "a list of mounts that was not asked for"},
      {"part of a list not asked for", message(0, 24, u32(0)), "a list of mounts that was not"},
      {"root not followed", message(0, 25, text("/x") + text("Stp::Hw")), "which are not followed"},
      {"pong not asked for", message(0, 11, u32(1)), "a pong 1 that was not asked for"},
      {"status not asked for", message(0, 16, text("{}")), "a status that was not asked for"},
      {"unmount not mounted", message(0, 13, text("/hw") + text("gone")),
       "the peer unmounts /hw, which is not mounted from there"},
      {"read-only not asked for", message(0, 14, text("/hw") + text("why")),
       "which was not asked for"},
      {"mount not asked for",
       message(0, 6, text("/hw") + u8(0) + text("Stp::Hw") + u32(1) + text("evil")),
       "which was not asked for"},
      {"taken", message(0, 12, u32(1000)), "the peer has taken 1000 messages"},
      {"number never given", message(0x80000777, 258, u8(0)), "was not given here"},
      {"number zero of this side", message(0x80000000, 258, u8(0)), "was not given here"},
      {"value cut", message(Served::quiesce, 258, "1234"), "a value of 8 bytes at byte 6"},
      {"value with rest", message(Served::quiesce, 259, "12"), "left behind"},
      {"text above what is left", message(Served::quiesce, 260, u32(0xffffffff)),
       "a value of 4294967295 bytes"},
      {"target of another type", message(Served::quiesce, 261, u32(Served::hw)),
       "'stpConfig' refers to a Stp::Hw; it takes a Stp::Config"},
      {"reference never given", message(Served::quiesce, 261, u32(0x80001234)),
       "was not given here"},
      {"element without number", message(Served::hw, 258, text("Mst1") + text("Mst1") + u32(0)),
       "the number 0"},
      {"element of another name", message(Served::hw, 258, text("Mst1") + text("Mst2") + u32(1)),
       "has another name than its key"},
      {"element with the owner's number",
       message(Served::hw, 258, text("Mst1") + text("Mst1") + u32(Served::hw)),
       "stands for something else"},
      {"element with another's number",
       message(Served::hw, 258, text("Mst1") + text("Mst1") + u32(Served::quiesce)),
       "stands for something else"},
      {"element for which a reference of another type waits",
       message(Served::quiesce, 261, u32(1)) +
           message(Served::hw, 258, text("Mst1") + text("Mst1") + u32(1)),
       "'stpConfig' refers to a Stp::MstiHw; it takes a Stp::Config"},
      {"removal cut", message(Served::hw, 65536 - 258, u32(9)), "9 bytes"},
      {"values cut", message(Served::quiesce, 3, u16(258) + u16(259) + "12345678"),
       "a value of 9 bytes at byte 10"},
      {"values with rest", message(Served::quiesce, 3, u16(258) + u16(259) + "1234567890"),
       "left behind"},
      {"values backwards", message(Served::quiesce, 3, u16(259) + u16(258)),
       "the values of ovuInProgress to peerWaitTime, which comes before it"},
      {"values of any size", message(Served::quiesce, 3, u16(258) + u16(262) + "1234567890"),
       "the values of peerWaitTime to stpNormalOperationStage, where overriddenBy has no fixed"},
      {"transfer of a scalar", message(Served::quiesce, 1, u16(258)), "which is no collection"},
      {"transfer without beginning", message(Served::hw, 2, u16(258)), "did not begin"},
  };
  const auto expect = [](RawPeer& peer, const Case& wrong) {
    EXPECT_TRUE(peer.connection().closed()) << wrong.what;
    EXPECT_NE(peer.connection().closeReason().find(wrong.reason), std::string::npos)
        << wrong.what << ": " << peer.connection().closeReason();
    EXPECT_EQ(peer.goodBye(), peer.connection().closeReason()) << wrong.what;
  };
  Served served;
  const Plain before = plainOf(*served.directory.mounted("/hw"));
  for (const Case& wrong : beforeGreeting) {
    RawPeer peer(served.directory);
    peer.send(wrong.bytes);
    expect(peer, wrong);
  }
  for (const Case& wrong : afterOpening) {
    RawPeer peer(served.directory);
    peer.send(Served::opening());
    ASSERT_EQ(peer.connection().closeReason(), "");
    peer.send(wrong.bytes + endOfTurn);
    expect(peer, wrong);
    EXPECT_EQ(plainOf(*served.directory.mounted("/hw")), before) << wrong.what;
  }
  EXPECT_EQ(served.directory.mounts().size(), 4u);
}

TEST_F(HostileTest, WideEnumeratorOfTheStreamIsRefused) {
  Served served;
  RawPeer peer(served.directory);
  peer.send(greeting() + message(0, 5, text("/oc") + u8(0)));
  // The one element's value: three optional enumerations of four bytes, the last one too wide.
  peer.send(message(0x80000001, 258, u32(0) + u32(7) + u32(0) + u32(7) + u32(1)));
  peer.send(message(1, 259, u8(1) + u32(255) + std::string(20, '\0')) + endOfTurn);
  EXPECT_TRUE(peer.connection().closed());
  EXPECT_NE(peer.goodBye(), "");
}

TEST_F(HostileTest, WritesToAReadOnlyMountAreRefused) {
  const std::string writes[] = {
      message(Served::quiesce, 259, u8(1)),
      message(Served::quiesce, 999, u8(1)),
      message(Served::quiesce, 3, u16(258) + u16(259) + "123456789"),
      message(Served::hw, 258, text("Mst1") + text("Mst1") + u32(1)),
      message(Served::hw, 65536 - 258, text("Mst0")),
      message(Served::hw, 1, u16(258)),
  };
  for (const std::string& write : writes) {
    for (const bool askedFor : {false, true}) {
      Served served;
      const Plain before = plainOf(*served.directory.mounted("/hw"));
      RawPeer peer(served.directory);
      peer.connection().host().servesIs(true, askedFor);
      peer.send(Served::opening(askedFor) + write + endOfTurn);
      EXPECT_NE(peer.goodBye().find("is mounted read-only; a write of "), std::string::npos)
          << peer.goodBye();
      EXPECT_EQ(plainOf(*served.directory.mounted("/hw")), before);
    }
  }
}

TEST_F(HostileTest, UnknownIdsAndGoneEntitiesAreCounted) {
  Served served;
  RawPeer peer(served.directory);
  peer.send(Served::opening());
  static_cast<Stp::Hw&>(*served.directory.mounted("/hw")).mstiHwDel("Mst0");
  peer.settle();
  peer.send(message(Served::quiesce, 154, text("name")) + message(Served::quiesce, 9999, "any") +
            message(Served::quiesce, 65536 - 258, "any") +
            message(Served::quiesce, 3, u16(258) + u16(263) + "any") +
            message(0x80000003, 258, "gone") + message(77, 258, "never there") +
            message(0, 99, "any") + endOfTurn);
  EXPECT_FALSE(peer.connection().closed()) << peer.connection().closeReason();
  EXPECT_EQ(peer.connection().figures().unknownControls, 1u);
  EXPECT_EQ(peer.connection().figures().unknownAttributes, 4u);
  EXPECT_EQ(peer.connection().figures().unknownEntities, 2u);
  // They are taken as well: what they said is not under way any more.
  peer.received();
  peer.send(message(77, 258, "never there") + endOfTurn);
  EXPECT_EQ(peer.received(), message(0, 12, u32(7)));
  EXPECT_EQ(served.directory.mounted("/quiesce")->name().view(), "quiesce");
}

TEST_F(HostileTest, ARootOfAnUnknownTypeIsLeftOut) {
  Directory directory;
  RawPeer peer(directory);
  peer.send(greeting());
  peer.connection().guest().mount("/other", true);
  peer.connection().guest().mount("/hw", true);
  peer.send(message(0, 6, text("/other") + u8(1) + text("Other::Type") + u32(1) + "any") +
            message(1, 258, "any") +
            message(0, 6, text("/hw") + u8(1) + text("Stp::Hw") + u32(2) + text("hw")) + endOfTurn);
  EXPECT_EQ(peer.connection().closeReason(), "");
  EXPECT_EQ(
      peer.connection().guest().refusals(),
      std::vector<std::string>{"the peer's /other is a Other::Type, which is not known here"});
  EXPECT_EQ(directory.mounts().size(), 1u);
  EXPECT_EQ(peer.connection().guest().state("/hw"), GuestSide::State::complete);
  // Under a path that nobody asked for, it ends the connection as any type does.
  peer.send(message(0, 6, text("/third") + u8(1) + text("Other::Type") + u32(3)));
  EXPECT_NE(peer.connection().closeReason(), "");
}

// Numbers may be left out, and given again when nobody has them any more.
TEST_F(HostileTest, NumbersNeedNotFollowOneAnother) {
  Served served;
  const auto& hw = static_cast<const Stp::Hw&>(*served.directory.mounted("/hw"));
  RawPeer peer(served.directory);
  peer.send(Served::opening());
  peer.send(Served::element("A", 1) + Served::element("B", 7) + Served::element("C", 0x7fffffff) +
            endOfTurn);
  peer.send(message(Served::hw, 65536 - 258, text("B")) + Served::element("D", 7) + endOfTurn);
  peer.send(message(7, 258, text("Et1") + text("Et1") + u32(9)) + endOfTurn);
  EXPECT_EQ(peer.connection().closeReason(), "");
  EXPECT_TRUE(hw.mstiHw("A") && hw.mstiHw("C") && !hw.mstiHw("B"));
  EXPECT_TRUE(hw.mstiHw("D")->mstiPortHw("Et1"));
}

// A peer that asks twice keeps what it has, and is told so.
TEST_F(HostileTest, ASecondMountOfAPathIsRefused) {
  Served served;
  const auto& hw = static_cast<const Stp::Hw&>(*served.directory.mounted("/hw"));
  RawPeer peer(served.directory);
  peer.send(Served::opening());
  peer.received();
  peer.send(message(0, 5, text("/hw") + u8(1)));
  EXPECT_EQ(peer.received(), message(0, 7, text("/hw is mounted already")));
  peer.send(Served::element("A", 1) + endOfTurn);
  EXPECT_TRUE(hw.mstiHw("A"));
  // This side does not even ask.
  Pair pair;
  pair.root("/hw", "Stp::Hw");
  pair.guest->guest().mount("/hw", true);
  pair.mirror("/hw", true);
  pair.mirror("/hw", true);
  pair.expectOpen();
  EXPECT_TRUE(pair.guest->guest().refusals().empty());
  EXPECT_EQ(pair.host->figures().refused, 0u);
}

// The end of one direction is the end of both; what is whole by then counts.
TEST_F(HostileTest, AStreamThatIsHalfClosedEnds) {
  for (const bool insideATurn : {false, true}) {
    Served served;
    const auto& hw = static_cast<const Stp::Hw&>(*served.directory.mounted("/hw"));
    RawPeer peer(served.directory);
    peer.send(Served::opening());
    peer.send(Served::element("A", 1) + endOfTurn + (insideATurn ? Served::element("B", 2) : ""));
    ::shutdown(peer.fd(), SHUT_WR);
    peer.settle();
    EXPECT_TRUE(hw.mstiHw("A"));
    EXPECT_FALSE(hw.mstiHw("B"));
    EXPECT_EQ(peer.connection().closeReason(),
              insideATurn ? "end of stream inside a turn" : "end of stream");
    EXPECT_EQ(peer.connection().ending(), Tovo::NboAttrLog::Ending::peerGone);
  }
}

// ------------------------------------------------------------------------------------- limits

TEST_F(HostileTest, AMessageMayBeAsLongAsTheLimit) {
  for (const uint32_t length : {1000u, 1001u}) {
    Directory directory;
    Limits limits;
    limits.messageBytes = 1000;
    RawPeer peer(directory, limits);
    peer.send(greeting() + message(0, 99, std::string(length - 6, 'x')));
    EXPECT_EQ(peer.connection().closeReason(),
              length == 1000 ? "" : "a message of 1001 bytes; 6 to 1000 are allowed");
  }
}

// Whatever the peer says of it, a mirror that is to be read-only is.
TEST_F(HostileTest, AMirrorIsNoMoreWritableThanWasAsked) {
  for (const bool readOnly : {false, true}) {
    Directory directory;
    RawPeer peer(directory);
    peer.connection().guest().mount("/hw", readOnly);
    peer.send(greeting() +
              message(0, 6, text("/hw") + u8(0) + text("Stp::Hw") + u32(1) + text("hw")) +
              endOfTurn);
    ASSERT_TRUE(directory.mounted("/hw")) << peer.connection().closeReason();
    EXPECT_EQ(peer.connection().log().numbers().flowCount(), readOnly ? 0u : 1u);
    // Its number is not given twice.
    peer.connection().guest().mount("/b", true);
    peer.send(message(0, 6, text("/b") + u8(0) + text("Stp::Hw") + u32(1) + text("hw")));
    EXPECT_EQ(peer.connection().closeReason(), "the number 2147483649 for a mounted entity");
  }
}

// A list costs the peer nothing to ask for: it is told when there is room.
TEST_F(HostileTest, ListsAreOwedAndNotHeld) {
  Served served;
  const Sockets sockets;
  Limits limits;
  limits.outputBytes = 4096;
  Connection connection(sockets.a, served.directory, limits);
  std::string bytes = greeting();
  for (int i = 0; i < 1000; ++i) bytes += message(0, 3);
  for (int round = 0; round < 100; ++round) {
    ASSERT_EQ(::send(sockets.b, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
    bytes.erase(0, bytes.size() - size_t{1000} * 10);
    while (readable(connection.readFd())) connection.handleReadable();
    connection.flush();
    EXPECT_LT(connection.held().sum(), 20u * 1024);
  }
  EXPECT_EQ(connection.closeReason(), "");
  ::close(sockets.b);
  // Who asks holds one at a time.
  limits.turnBytes = 100;
  RawPeer host(served.directory, limits);
  host.send(greeting());
  for (int i = 0; i < 10; ++i) {
    host.connection().guest().roots().ask();
    host.send(message(0, 4, u32(1) + text("/hw") + text("Stp::Hw")));
  }
  EXPECT_EQ(host.connection().closeReason(), "");
}

TEST_F(HostileTest, WhoAsksMustRead) {
  const std::string requests[] = {message(0, 5, text("/nothing") + u8(1)),
                                  message(0, 8, text("wrong") + text("wrong"))};
  for (const std::string& request : requests) {
    Served served;
    const Sockets sockets;
    Limits limits;
    limits.outputBytes = 4096;
    Connection connection(sockets.a, served.directory, limits);
    std::string bytes = greeting();
    for (int i = 0; i < 1000; ++i) bytes += request;
    for (int round = 0; round < 100 && !connection.closed(); ++round) {
      ASSERT_EQ(::send(sockets.b, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(bytes.size()));
      bytes.erase(0, bytes.size() - 1000 * request.size());
      while (readable(connection.readFd())) connection.handleReadable();
      connection.flush();
      EXPECT_LT(connection.figures().bytesWaiting, 200u * 1024);
      EXPECT_LE(connection.held().requests, limits.requestsBytes);
    }
    EXPECT_NE(connection.closeReason().find("does not read"), std::string::npos)
        << connection.closeReason();
    ::close(sockets.b);
  }
}

// A peer that may not write does not make the process hold what it says.
TEST_F(HostileTest, OfAListenerNothingIsHeld) {
  for (const bool mayWrite : {false, true}) {
    Served served;
    RawPeer peer(served.directory);
    peer.connection().host().servesIs(true, mayWrite);
    peer.send(Served::opening());
    peer.connection().host().servesIs(true, false);  // what is mounted stays as it is
    peer.send(message(77, 258, std::string(60000, 'x')));
    EXPECT_EQ(peer.connection().figures().unknownEntities, mayWrite ? 0u : 1u)
        << "held for the end of its turn";
    peer.send(message(77, 258, std::string(70000, 'x')));
    EXPECT_EQ(peer.connection().closeReason(),
              mayWrite ? "" : "a message of 70006 bytes; 6 to 65536 are allowed");
    // Who has nothing left to write to listens as well.
    for (const char* path : {"/quiesce", "/hw"}) served.directory.unmount(path);
    peer.settle();
    peer.send(message(77, 258, std::string(70000, 'x')));
    EXPECT_EQ(peer.connection().closeReason(), "a message of 70006 bytes; 6 to 65536 are allowed");
  }
}

TEST_F(HostileTest, TooManyPings) {
  Directory directory;
  RawPeer peer(directory);
  std::string pings = greeting();
  for (uint32_t i = 0; i < 1025; ++i) pings += message(0, 10, u32(i));
  // All of them in one read, so that none is answered between.
  ASSERT_EQ(::send(peer.fd(), pings.data(), pings.size(), 0), static_cast<ssize_t>(pings.size()));
  peer.connection().handleReadable();
  EXPECT_EQ(peer.connection().closeReason(), "too many unanswered pings");
  RawPeer asked(directory);
  for (int i = 0; i < 2; ++i) asked.connection().questions().ping();
  asked.send(greeting() + message(0, 11, u32(2)));
  EXPECT_EQ(asked.connection().closeReason(), "a pong 2 that was not asked for");
}

TEST_F(HostileTest, TooManyEntities) {
  Directory directory;
  directory.mount("/hw", Stp::hwFactory("hw"));
  Limits limits;
  limits.entities = 10;
  RawPeer peer(directory, limits);
  std::string bytes = greeting() + message(0, 5, text("/hw") + u8(0));
  for (uint32_t i = 1; i <= 20; ++i) {
    const std::string name = text("Mst" + std::to_string(i));
    bytes += message(0x80000001, 258, name + name + u32(i));
  }
  // The mount's number exists when its request is handled.
  peer.send(bytes + endOfTurn);
  EXPECT_EQ(peer.connection().closeReason(), "more than 10 entities");
  EXPECT_EQ(static_cast<Stp::Hw*>(directory.mounted("/hw"))->mstiHw().size(), 9u);

  // Mounts are counted like elements.
  Directory mirrors;
  limits.entities = 1;
  RawPeer host(mirrors, limits);
  bytes = greeting();
  for (const char* path : {"/a", "/b"}) {
    host.connection().guest().mount(path, true);
    bytes += message(0, 6, text(path) + u8(1) + text("Stp::Hw") + u32(path[1]) + text("hw"));
  }
  host.send(bytes + endOfTurn);
  EXPECT_EQ(host.connection().closeReason(), "more than 1 entities");
  EXPECT_EQ(mirrors.mounts().size(), 1u);
}

TEST_F(HostileTest, TooDeep) {
  Directory directory;
  directory.mount("/hw", Stp::hwFactory("hw"));
  Limits limits;
  limits.nesting = 1;
  RawPeer peer(directory, limits);
  const std::string name = text("Mst1");
  peer.send(greeting() + message(0, 5, text("/hw") + u8(0)));
  peer.send(message(0x80000001, 258, name + name + u32(1)) + message(0, 9));
  EXPECT_FALSE(peer.connection().closed()) << peer.connection().closeReason();
  peer.send(message(1, 258, name + name + u32(2)) + message(0, 9));
  EXPECT_EQ(peer.goodBye(), "an element nested deeper than 1");
  EXPECT_EQ(peer.connection().ending(), Tovo::NboAttrLog::Ending::nesting);
  const auto& hw = static_cast<const Stp::Hw&>(*directory.mounted("/hw"));
  EXPECT_EQ(hw.mstiHw("Mst1")->mstiPortHw().size(), 0u);
}

TEST_F(HostileTest, MessageAboveTheLimitClosesTheSender) {
  Limits limits;
  limits.messageBytes = 4096;
  Pair pair(limits);
  const auto quiesce = Stp::quiesceConfigFactory("quiesce");
  pair.hostDirectory.mount("/quiesce", quiesce);
  pair.mirror("/quiesce");
  quiesce->overriddenByIs(std::string(5000, 'x'));
  pair.settle();
  EXPECT_NE(pair.host->closeReason().find("above the limit of 4096"), std::string::npos);
  EXPECT_NE(pair.guest->closeReason().find("above the limit of 4096"), std::string::npos);
}

// A guest that makes and deletes without reading leaves nothing behind in the host.
TEST_F(HostileTest, ChurnWithoutReadingHoldsNothing) {
  const auto hw = Stp::hwFactory("hw");
  Directory directory;
  directory.mount("/hw", hw);
  const Sockets sockets;
  Limits limits;
  limits.outputBytes = 4096;
  Connection connection(sockets.a, directory, limits);
  std::string bytes = greeting() + message(0, 5, text("/hw") + u8(0));
  for (uint32_t i = 1; i <= 50000 && !connection.closed(); ++i) {
    const std::string name = text("Mst" + std::to_string(i));
    bytes += message(0x80000001, 258, name + name + u32(i));
    bytes += message(i, 1, u16(258));  // a transfer that never ends
    bytes += message(0x80000001, 65536 - 258, name) + endOfTurn;
    ASSERT_EQ(::send(sockets.b, bytes.data(), bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size()));
    bytes.clear();
    connection.handleReadable();
    if (i % 16 == 0) connection.flush();
  }
  EXPECT_EQ(connection.closeReason(), "");
  EXPECT_EQ(connection.log().numbers().count(), 1u);
  EXPECT_LT(connection.log().carrier().queue().heldBytes(), 100u * 1024);
  EXPECT_TRUE(hw->mstiHw().empty());
  ::close(sockets.b);
}

// ------------------------------------------------------------------------- garbled real streams

// What one end of a session sent: a tree with every kind of collection, references, updates,
// removals and second lives.
struct Session {
  std::string toGuest;
  std::string toHost;
};

Ptr<Entity> smallTree() {
  const auto status = Stp::statusFactory("status");
  const auto stpi = status->stpiStatusIs("Mst");
  const auto msti = stpi->mstiStatusIs("Mst0", Stp::InstanceId(0));
  msti->rootPortIs(msti->mstiPortStatusIs("Et1", 1));
  status->backupIntfStatusIs("Et1", "Et2")->primaryActiveVlanIs(10, true);
  return status;
}

std::string drain(int fd) {
  std::string bytes;
  char buffer[4096];
  while (readable(fd)) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got <= 0) break;
    bytes.append(buffer, static_cast<size_t>(got));
  }
  return bytes;
}

// Passes what two connections write through a recording.
Session record() {
  Directory hostDirectory;
  Directory guestDirectory;
  const Ptr<Entity> root = smallTree();
  auto& status = static_cast<Stp::Status&>(*root);
  hostDirectory.mount("/status", root);
  const Sockets toHost;
  const Sockets toGuest;
  Session session;
  {
    Connection host(toHost.a, hostDirectory);
    Connection guest(toGuest.a, guestDirectory);
    const auto pass = [&] {
      for (int quiet = 0; quiet < 2; ++quiet) {
        host.flush();
        guest.flush();
        const std::string forward = drain(toHost.b);
        const std::string back = drain(toGuest.b);
        session.toGuest += forward;
        session.toHost += back;
        if (!forward.empty() || !back.empty()) quiet = -1;
        (void)!::write(toGuest.b, forward.data(), forward.size());
        (void)!::write(toHost.b, back.data(), back.size());
        host.handleReadable();
        guest.handleReadable();
      }
    };
    guest.guest().mount("/status", false);
    pass();
    auto& mirror = static_cast<Stp::Status&>(*guestDirectory.mounted("/status"));
    status.backupIntfStatusDel("Et1");
    status.backupIntfStatusIs("Et1", "Et3");
    status.vlanMembershipIs(Nelka::IntfId(3))->vidsIs(Bridging::VlanId(1), true);
    pass();
    const auto msti = mirror.stpiStatus("Mst")->mstiStatus("Mst0");
    msti->rootPortIs(msti->mstiPortStatusIs("Et2", 2));
    msti->mstiPortStatusDel("Et1");
    mirror.lastUnstableReasonIs("because");
    mirror.vlanMembershipDesiredIs(Nelka::IntfId(9), true);
    pass();
    guest.questions().ping();
    host.questions().ping();
    pass();
    EXPECT_EQ(guest.questions().pongs(), 1u);
    expectSame(status, mirror);
  }
  ::close(toHost.b);
  ::close(toGuest.b);
  return session;
}

// Calls run(bytes) with the stream cut at each position, and with each bit turned.
int mutate(const std::string& stream, const std::function<void(const std::string&)>& run) {
  int runs = 0;
  for (size_t at = 0; at < stream.size(); ++at) {
    SCOPED_TRACE("byte " + std::to_string(at));
    run(stream.substr(0, at));
    ++runs;
    for (unsigned bit = 0; bit < 8; ++bit) {
      std::string garbled = stream;
      garbled[at] = static_cast<char>(garbled[at] ^ (1 << bit));
      run(garbled);
      ++runs;
    }
    if (::testing::Test::HasFailure()) break;
  }
  return runs;
}

TEST_F(HostileTest, GarbledStreamsToAGuest) {
  const Session session = record();
  const int runs = mutate(session.toGuest, [](const std::string& bytes) {
    Directory directory;
    RawPeer peer(directory);
    peer.connection().guest().mount("/status", false);
    peer.connection().questions().ping();
    peer.send(bytes);
    EXPECT_EQ(peer.connection().closed(), !peer.connection().closeReason().empty());
    EXPECT_LE(peer.connection().log().numbers().count(), 20u);
    EXPECT_LE(directory.mounts().size(), 1u);
    // Whatever it has by now is a tree.
    if (Entity* mirror = directory.mounted("/status")) plainOf(*mirror);
  });
  RecordProperty("runs", runs);
  EXPECT_GT(runs, 15000);
}

TEST_F(HostileTest, GarbledStreamsToAHostLeaveOthersAlone) {
  const Session session = record();
  Pair good;
  const Ptr<Entity> root = smallTree();
  good.hostDirectory.mount("/status", root);
  Entity& mirror = good.mirror("/status");
  const int runs = mutate(session.toHost, [&](const std::string& bytes) {
    RawPeer peer(good.hostDirectory);
    peer.send(bytes);
    EXPECT_EQ(peer.connection().closed(), !peer.connection().closeReason().empty());
    good.settle();
    EXPECT_FALSE(good.host->closed()) << good.host->closeReason();
    EXPECT_FALSE(good.guest->closed()) << good.guest->closeReason();
  });
  static_cast<Stp::Status&>(*root).stpiStatusDelAll();
  good.settle();
  expectSame(*root, mirror);
  RecordProperty("runs", runs);
  EXPECT_GT(runs, 10000);
}

}  // namespace
}  // namespace Mirror
