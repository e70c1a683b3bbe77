// Recordings: what a guest was told, played again; cut, damaged and hostile files.
#include "Mirror/Recording.h"

#include <algorithm>
#include <random>

#include "Support.h"
#include "Tovo/Path.h"

namespace Mirror {
namespace {

using Tovo::NboAttrLog::RecordingException;
using Tovo::NboAttrLog::RecordingReader;
using Tovo::NboAttrLog::RecordingWriter;
using Bytes = std::vector<uint8_t>;

RecordingReader::Source sourceOf(const Bytes& bytes, size_t chunk = 1 << 16) {
  return [&bytes, chunk, at = size_t{0}](std::span<uint8_t> room) mutable {
    const size_t count = std::min({room.size(), chunk, bytes.size() - at});
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), count, room.begin());
    at += count;
    return count;
  };
}

struct Played {
  uint64_t end = 0;     // of the last message
  uint64_t damage = 0;  // where it could not be read any more
  std::string reason;   // empty: it could be read to its end
  std::string farewell;
  std::vector<uint64_t> starts;
};

Played play(const Bytes& bytes, Directory& directory, size_t chunk = 1 << 16) {
  RecordingReader reader(sourceOf(bytes, chunk), directory);
  Played played;
  try {
    while (const RecordingReader::Message* message = reader.next()) {
      reader.apply();
      played.starts.push_back(message->offset);
      played.end = message->offset + message->size;
    }
  } catch (const RecordingException& error) {
    played.damage = error.offset();
    played.reason = error.reason();
    EXPECT_THROW(reader.next(), RecordingException) << "it stays unreadable";
  }
  played.farewell = reader.farewell();
  return played;
}

// A recording of random writes, and the tree as it was after each turn, by the length of the file.
struct Recorded {
  explicit Recorded(const char* type, uint64_t seed) {
    Pair pair;
    const Ptr<Entity> root = pair.root("/root", type);
    Writer writer(*root, seed);
    writer.fill();
    RecordingWriter recording([&](std::span<const uint8_t> more) {
      bytes.insert(bytes.end(), more.begin(), more.end());
    });
    beginning = bytes.size();
    pair.guest->incoming().appliedIs(
        [&](std::span<const uint8_t> message) { recording.take(message); });
    const Entity& mirror = pair.mirror("/root");
    for (int round = 0; round < 30; ++round) {
      recording.flush();
      states.emplace_back(bytes.size(), plainOf(mirror));
      writer.steps(10);
      pair.settle();
    }
    recording.end("the test is over");
    states.emplace_back(bytes.size(), plainOf(mirror));
  }

  Bytes bytes;
  size_t beginning = 0;
  std::vector<std::pair<size_t, Plain>> states;
};

class RecordingTest : public Test {};

TEST_F(RecordingTest, PlaysWhatTheMirrorWas) {
  for (const char* type : {"Stp::Hw", "Stp::Status", "Stp::Config"}) {
    SCOPED_TRACE(type);
    const Recorded recorded(type, 5);
    for (const auto& [length, state] : recorded.states) {
      Directory directory;
      const Bytes head(recorded.bytes.begin(),
                       recorded.bytes.begin() + static_cast<std::ptrdiff_t>(length));
      const Played played = play(head, directory, 1 + length % 77);
      EXPECT_EQ(played.reason, "");
      EXPECT_EQ(played.end, length);
      EXPECT_EQ(plainOf(*directory.mounted("/root")), state) << "after " << length << " bytes";
      EXPECT_EQ(played.farewell, length == recorded.bytes.size() ? "the test is over" : "");
    }
  }
}

// Over a tree that is something else already: what the recording does not mention goes.
// A mount that was refused is none, and its end is not recorded.
TEST_F(RecordingTest, LeavesOutWhatWasRefused) {
  Bytes bytes;
  Pair pair;
  pair.root("/hw", "Stp::Hw");
  RecordingWriter recording(
      [&](std::span<const uint8_t> more) { bytes.insert(bytes.end(), more.begin(), more.end()); });
  pair.guest->incoming().appliedIs(
      [&](std::span<const uint8_t> message) { recording.take(message); });
  pair.guest->guest().mount("/nothing", true);
  pair.mirror("/hw");
  pair.hostDirectory.unmount("/hw");
  pair.settle();
  recording.end("enough");
  Directory directory;
  const Played played = play(bytes, directory);
  EXPECT_EQ(played.reason, "");
  EXPECT_EQ(played.farewell, "enough");
  EXPECT_TRUE(directory.mounts().empty());
}

TEST_F(RecordingTest, MakesAnotherTreeTheRecordedOne) {
  const Recorded recorded("Stp::Hw", 6);
  Directory directory;
  const auto root = directory.newEntity("/root", "Stp::Hw");
  Writer(*root, 99).fill();
  EXPECT_EQ(play(recorded.bytes, directory).reason, "");
  EXPECT_EQ(directory.mounted("/root"), root.get());
  EXPECT_EQ(plainOf(*root), recorded.states.back().second);
}

TEST_F(RecordingTest, ACutFileIsReadUpToTheMessageThatIsCut) {
  const Recorded recorded("Stp::Hw", 7);
  Directory whole;
  const std::vector<uint64_t> starts = play(recorded.bytes, whole).starts;
  std::mt19937 random(3);
  for (int round = 0; round < 300; ++round) {
    const size_t length = random() % recorded.bytes.size();
    Directory directory;
    const Played played = play(
        Bytes(recorded.bytes.begin(), recorded.bytes.begin() + static_cast<std::ptrdiff_t>(length)),
        directory);
    const auto next = std::upper_bound(starts.begin(), starts.end(), length);
    const bool atStart = std::binary_search(starts.begin(), starts.end(), length);
    if (length >= recorded.beginning && atStart) {
      EXPECT_EQ(played.reason, "");
    } else {
      EXPECT_EQ(played.damage, next == starts.begin() ? 0 : *std::prev(next)) << length;
      EXPECT_NE(played.reason.find("the file"), std::string::npos) << played.reason;
    }
  }
}

TEST_F(RecordingTest, DamageIsNamedByItsPlace) {
  const Recorded recorded("Stp::Hw", 8);
  Directory whole;
  const std::vector<uint64_t> starts = play(recorded.bytes, whole).starts;
  const uint64_t some = starts[starts.size() / 2];
  struct Case {
    const char* what;
    uint64_t at;
    Bytes bytes;
    uint64_t damage;
    const char* reason;
  };
  const Case cases[] = {
      {"another file", 0, {'{'}, 0, "this is no recording"},
      {"version", 7, {9}, 6, "version 9; version 1 can be read"},
      {"greeting", 16, {0, 2}, 8, "the first message has no module records"},
      {"magic of the log", 18, {'x'}, 8, "speaks no attribute log"},
      {"short", some, {0, 0, 0, 5}, some, "a message of 5 bytes; 6 to 16777216 are allowed"},
      {"long", some, {0xff}, some, "16777216 are allowed"},
      {"a number of the reader's", some + 4, {0x80}, some, "was not given here"},
      {"a second greeting", some + 4, {0, 0, 0, 0, 0, 1}, some, "module records a second time"},
      {"a control message", some + 4, {0, 0, 0, 0, 0, 99}, some, "99', which no recording has"},
  };
  for (const Case& damaged : cases) {
    Bytes bytes = recorded.bytes;
    std::copy(damaged.bytes.begin(), damaged.bytes.end(),
              bytes.begin() + static_cast<std::ptrdiff_t>(damaged.at));
    Directory directory;
    const Played played = play(bytes, directory);
    EXPECT_EQ(played.damage, damaged.damage) << damaged.what;
    EXPECT_NE(played.reason.find(damaged.reason), std::string::npos)
        << damaged.what << ": " << played.reason;
  }
  Bytes more = recorded.bytes;
  more.insert(more.end(), {0, 0, 0, 6, 0, 0, 0, 0, 0, 9});
  Directory directory;
  EXPECT_EQ(play(more, directory).damage, recorded.bytes.size()) << "behind the farewell";

  std::mt19937 random(4);
  for (int round = 0; round < 500; ++round) {
    Bytes bytes = recorded.bytes;
    for (int flips = 0; flips < 3; ++flips) {
      bytes[random() % bytes.size()] = static_cast<uint8_t>(random());
    }
    Directory any;
    play(bytes, any);  // ends, one way or the other
  }
}

}  // namespace
}  // namespace Mirror
