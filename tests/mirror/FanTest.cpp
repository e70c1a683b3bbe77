// Many readers of one tree, and mirrors of mirrors: what happens to one is nothing to the others.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "Stp/StpHw.h"
#include "Support.h"

namespace Mirror {
namespace {

class FanTest : public Test {};

// A host's connection and the mirror at its other end.
struct Reader {
  Reader(Directory& host, Limits limits = {}) {
    const Sockets sockets;
    served = std::make_unique<Connection>(sockets.a, host, limits);
    reads = std::make_unique<Connection>(sockets.b, directory);
    reads->guest().mount("/hw", true);
  }
  bool work() {
    served->flush();
    if (reading) reads->flush();
    bool worked = false;
    if (readable(served->readFd())) {
      served->handleReadable();
      worked = true;
    }
    if (reading && readable(reads->readFd())) {
      reads->handleReadable();
      worked = true;
    }
    return worked;
  }

  Directory directory;
  std::unique_ptr<Connection> served;
  std::unique_ptr<Connection> reads;
  bool reading = true;
};

double processorNanoseconds() { return 1e9 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

// Nobody counts readers when a tree is written: each more costs a mark, not a walk of its own.
TEST_F(FanTest, WhatReadersCostTheWriter) {
  constexpr unsigned ports = 200;
  constexpr unsigned writes = 200000;
  std::map<size_t, double> cost;  // of a write in nanoseconds, by readers
  for (const size_t readers : {0, 1, 50}) {
    Directory directory;
    const auto hw = Stp::hwFactory("hw");
    directory.mount("/hw", hw);
    std::vector<Ptr<Stp::MstiPortHw>> all;
    for (unsigned i = 0; i < ports; ++i) {
      all.push_back(hw->mstiHwIs("Mst0")->mstiPortHwIs(portName(i)));
    }
    std::list<Reader> fan;
    for (size_t i = 0; i < readers; ++i) fan.emplace_back(directory);
    double spent = 0;
    for (unsigned write = 0; write < writes;) {
      for (bool worked = true; worked;) {
        worked = false;
        for (Reader& reader : fan) worked = reader.work() || worked;
      }
      const double start = processorNanoseconds();
      for (unsigned end = write + 10 * ports; write < end; ++write) {
        all[write % ports]->activeIs(write / ports % 2 == 0);
      }
      spent += processorNanoseconds() - start;
    }
    cost[readers] = spent / writes;
    RecordProperty("tenths_of_a_nanosecond_with_" + std::to_string(readers) + "_readers",
                   static_cast<int>(10 * cost[readers]));
  }
  // Fifty marks, of flows that are in no cache any more.
  EXPECT_LT(cost[50], 500 * cost[1]);
}

TEST_F(FanTest, FiftyReadersAndTheTroubleOfSome) {
  constexpr unsigned ports = 200;
  constexpr unsigned readers = 50;
  Directory directory;
  const auto hw = Stp::hwFactory("hw");
  directory.mount("/hw", hw);
  const auto mst0 = hw->mstiHwIs("Mst0");
  for (unsigned i = 0; i < ports; ++i) mst0->mstiPortHwIs(portName(i));
  Limits limits;
  limits.outputBytes = 8 * 1024;
  std::list<Reader> fan;
  for (unsigned i = 0; i < readers; ++i) fan.emplace_back(directory, limits);
  const auto settle = [&] {
    for (bool worked = true; worked;) {
      worked = false;
      for (Reader& reader : fan) worked = reader.work() || worked;
    }
  };
  settle();
  auto at = fan.begin();
  Reader& stalled = *at++;
  Reader& killed = *at++;
  Reader& hostile = *at++;
  Reader& good = *at;
  stalled.reading = false;
  const int smallest = 1;
  ::setsockopt(stalled.served->writeFd(), SOL_SOCKET, SO_SNDBUF, &smallest, sizeof smallest);
  const uint64_t messagesBefore = good.reads->figures().messagesReceived;
  uint64_t changes = 0;
  std::mt19937 random(5);
  for (unsigned round = 0; round < 200; ++round) {
    for (unsigned i = 0; i < 10; ++i) {
      const auto port = mst0->mstiPortHw(portName(random() % ports));
      port->activeIs(!port->active());
      ++changes;
    }
    if (round == 50) ::shutdown(killed.reads->writeFd(), SHUT_RDWR);
    if (round == 100) {
      const std::string garbage(100, '\xff');
      ASSERT_GT(::send(hostile.reads->writeFd(), garbage.data(), garbage.size(), 0), 0);
    }
    settle();
    // Whoever reads has all of it after each round.
    const auto& mirrored = static_cast<Stp::Hw&>(*good.directory.mounted("/hw"));
    const Pelmo::String probe = portName(random() % ports);
    ASSERT_EQ(mirrored.mstiHw("Mst0")->mstiPortHw(probe)->active(),
              mst0->mstiPortHw(probe)->active());
  }
  EXPECT_TRUE(killed.served->closed());
  EXPECT_TRUE(hostile.served->closed());
  EXPECT_GT(stalled.served->figures().dirty.attributes, 0u);
  // The good ones got each change and nothing else: the others cost them no message.
  EXPECT_LE(good.reads->figures().messagesReceived - messagesBefore, changes);
  for (Reader& reader : fan) {
    if (&reader == &killed || &reader == &hostile || &reader == &stalled) continue;
    ASSERT_FALSE(reader.served->closed()) << reader.served->closeReason();
    EXPECT_EQ(reader.served->figures().dirty.attributes, 0u);
    EXPECT_EQ(reader.served->figures().messagesSent, good.served->figures().messagesSent);
    expectSame(*hw, *reader.directory.mounted("/hw"));
  }
  stalled.reading = true;
  settle();
  expectSame(*hw, *stalled.directory.mounted("/hw"));
}

// A reader that stops while everything is written over and over: what is held for it stays under a
// bound, and at the end each thing arrives once.
TEST_F(FanTest, AStalledReaderOfAWholeTree) {
  constexpr unsigned ports = 5000;  // with two attributes each
  constexpr unsigned writes = MIRROR_STALL_WRITES;
  Directory directory;
  const auto hw = Stp::hwFactory("hw");
  directory.mount("/hw", hw);
  const auto mst0 = hw->mstiHwIs("Mst0");
  std::vector<Pelmo::String> names;
  std::vector<Ptr<Stp::MstiPortHw>> all;
  for (unsigned i = 0; i < ports; ++i) {
    names.push_back(portName(i));
    all.push_back(mst0->mstiPortHwIs(names.back()));
  }
  Reader reader(directory);
  const auto settle = [&] {
    while (reader.work()) {
    }
  };
  settle();
  reader.reading = false;
  const size_t flowsBefore = reader.served->log().numbers().flowCount();
  size_t mostHeld = 0;
  std::minstd_rand random(3);
  std::vector<double> tenths;  // when each tenth of the writes began
  for (unsigned write = 0; write < writes; ++write) {
    if (write % (writes / 10) == 0) tenths.push_back(processorNanoseconds());
    const unsigned at = random() % ports;
    Ptr<Stp::MstiPortHw>& port = all[at];
    if (!port) {
      port = mst0->mstiPortHwIs(names[at]);
    } else if (write % 1000 == 0) {
      mst0->mstiPortHwDel(names[at]);
      port = nullptr;
    } else if (write % 2 == 0) {
      port->activeIs(!port->active());
    } else {
      port->portStateIs(static_cast<Stp::PortState>(write / 2 % 3));
    }
    if (write % 1024 == 0) reader.served->flush();
    if (write % 65536 == 0)
      mostHeld = std::max(mostHeld, reader.served->log().carrier().queue().heldBytes());
  }
  const double early = 10 * (tenths[1] - tenths[0]) / writes;
  const double late = 10 * (processorNanoseconds() - tenths.back()) / writes;
  EXPECT_LT(late, 3 * early + 100);
  RecordProperty("nanoseconds_of_an_early_write", static_cast<int>(early));
  RecordProperty("nanoseconds_of_a_late_write", static_cast<int>(late));
  RecordProperty("bytes_held_at_most", static_cast<int>(mostHeld));
  // docs/reliability.md states the bounds.
  constexpr size_t bytesAKey = 192;
  EXPECT_LE(reader.served->figures().bytesWaiting, Limits().outputBytes);
  EXPECT_LT(mostHeld, ports * bytesAKey);
  EXPECT_LE(reader.served->log().numbers().flowCount(), flowsBefore);

  // What is dirty goes out once. An element that was made again is a removal, itself and its two
  // attributes; its collection is between markers when it goes whole.
  const auto dirty = reader.served->figures().dirty;
  RecordProperty("dirty_attributes", static_cast<int>(dirty.attributes));
  RecordProperty("dirty_keys", static_cast<int>(dirty.keys));
  const uint64_t sentBefore = reader.served->figures().messagesSent;
  reader.reading = true;
  settle();
  expectSame(*hw, *reader.directory.mounted("/hw"));
  EXPECT_LE(reader.served->figures().messagesSent - sentBefore,
            dirty.attributes + 4 * std::max<size_t>(dirty.keys, ports) + 2);
  EXPECT_EQ(reader.served->figures().dirty.keys + reader.served->figures().dirty.attributes, 0u);
}

}  // namespace
}  // namespace Mirror
