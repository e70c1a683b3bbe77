// The worked example of docs/wire.md, byte for byte: this end plays the guest by hand.
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cctype>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>

#include "Mirror/control/Messages.h"
#include "Stp/StpConfig.h"
#include "Stp/StpHw.h"
#include "Stp/StpQuiesceConfig.h"
#include "Stp/StpStatus.h"
#include "Support.h"

namespace Mirror {
namespace {

class WireTest : public Test {};

struct Line {
  int number;
  std::string who;  // "guest", "host", or the scene that begins
  std::string bytes;
};

// The lines of the blocks that begin with ```wire: "-- scene" or "who  hex | words".
std::vector<Line> example() {
  std::ifstream file(MIRROR_WIRE_DOCUMENT);
  std::vector<Line> lines;
  std::string text;
  bool inside = false;
  for (int number = 1; std::getline(file, text); ++number) {
    if (text.starts_with("```")) {
      inside = text == "```wire";
    } else if (inside && text.starts_with("-- ")) {
      lines.push_back({number, text.substr(3), ""});
    } else if (inside && !text.empty()) {
      std::istringstream words(text.substr(0, text.find('|')));
      std::string who;
      std::string digits;
      words >> who;
      for (std::string group; words >> group;) digits += group;
      // A line without a name goes on with the message above.
      if (who == "guest" || who == "host") {
        lines.push_back({number, who, fromHex(digits)});
      } else {
        lines.back().bytes += fromHex(who + digits);
      }
    }
  }
  return lines;
}

// The document has the rows of the table that writes and reads them, and no others.
TEST_F(WireTest, TheDocumentedControlMessages) {
  std::ifstream file(MIRROR_WIRE_DOCUMENT);
  std::vector<std::string> documented;
  bool inside = false;
  for (std::string text; std::getline(file, text);) {
    inside = text.starts_with("| id | name | payload |") || (inside && text.starts_with('|'));
    // Without who sends it.
    if (inside && text.size() > 2 && std::isdigit(text[2]) != 0) {
      documented.push_back(text.substr(0, text.rfind(" | ") + 3));
    }
  }
  std::vector<std::string> written;
  for (const Tovo::NboAttrLog::Control::Row& row : Tovo::NboAttrLog::Control::rows()) {
    const std::string payload = row.payload.empty() ? "" : row.payload + ' ';
    written.push_back("| " + std::to_string(row.id) + " | " + std::string(row.name) + " | " +
                      payload + "| ");
  }
  EXPECT_EQ(documented, written);
}

TEST_F(WireTest, TheDocumentedBytes) {
  const std::vector<Line> lines = example();
  ASSERT_GT(lines.size(), 30u) << MIRROR_WIRE_DOCUMENT;

  Directory directory;
  const auto config = Stp::configFactory("config");
  const auto quiesce = Stp::quiesceConfigFactory("quiesce");
  const auto hw = Stp::hwFactory("hw");
  const auto counters = Stp::portCounterDirFactory("counters");
  directory.mount("/counters", counters);
  directory.mount("/hw", hw);
  directory.mount("/quiesce", quiesce);
  quiesce->overriddenByIs("me");
  quiesce->stpConfigIs(config);
  hw->mstiHwIs("Mst0");
  counters->portCountersIs("Et1", Stp::PortCounters());

  const std::map<std::string, std::function<void()>> scenes = {
      {"The host sets peerWaitTime to 2.5", [&] { quiesce->peerWaitTimeIs(2.5); }},
      {"The host makes Mst1, deletes Mst0 and makes it again",
       [&] {
         hw->mstiHwIs("Mst1");
         hw->mstiHwDel("Mst0");
         hw->mstiHwIs("Mst0");
       }},
      {"The host deletes Mst1", [&] { hw->mstiHwDel("Mst1"); }},
      {"The host unmounts /counters", [&] { directory.unmount("/counters"); }},
  };

  const Sockets sockets;
  Connection host(sockets.a, directory);
  const auto settle = [&] {
    host.flush();
    while (readable(host.readFd())) {
      host.handleReadable();
      host.flush();
    }
  };
  std::string received;
  const auto receive = [&] {
    char buffer[4096];
    for (ssize_t got = 1; readable(sockets.b) && got > 0;) {
      got = ::read(sockets.b, buffer, sizeof buffer);
      if (got > 0) received.append(buffer, static_cast<size_t>(got));
    }
  };
  // The host's greeting names every module of the process; the document shows its form.
  settle();
  receive();
  ASSERT_EQ(hex(received.substr(4, 12)), "00000000000154414c310001");
  received.clear();

  for (const Line& line : lines) {
    SCOPED_TRACE("docs/wire.md:" + std::to_string(line.number));
    if (line.who == "guest") {
      ASSERT_EQ(received, "") << "not in the document: " << hex(received);
      ASSERT_EQ(::send(sockets.b, line.bytes.data(), line.bytes.size(), MSG_NOSIGNAL),
                static_cast<ssize_t>(line.bytes.size()));
      settle();
      receive();
    } else if (line.who == "host") {
      ASSERT_EQ(hex(received.substr(0, line.bytes.size())), hex(line.bytes)) << hex(received);
      received.erase(0, line.bytes.size());
    } else if (const auto scene = scenes.find(line.who); scene != scenes.end()) {
      ASSERT_EQ(received, "") << "not in the document: " << hex(received);
      scene->second();
      settle();
      receive();
    }
  }
  EXPECT_EQ(received, "");
  EXPECT_TRUE(hw->mstiHw("Mst2"));
  EXPECT_TRUE(host.closed());
  ::close(sockets.b);
}

}  // namespace
}  // namespace Mirror
