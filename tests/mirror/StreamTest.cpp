// Connections over streams that are no descriptors.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "Mirror/wire/Stream.h"
#include "Stp/StpStatus.h"
#include "Support.h"

namespace Mirror {
namespace {

using Tovo::NboAttrLog::Ending;
using Tovo::NboAttrLog::Stream;

/// What is under way between two ends in memory, one direction after the other.
struct Wire {
  std::string bytes[2];
  size_t atOnce = 1;      // bytes that one call moves, at most
  size_t room = 4096;     // that wait in one direction, at most
  std::error_code error;  // of the next call, where there is one
  bool closed[2] = {false, false};
};

class MemoryStream final : public Stream {
 public:
  MemoryStream(std::shared_ptr<Wire> wire, int end) : wire_(std::move(wire)), end_(end) {}
  ~MemoryStream() override { close(); }

  Result read(std::span<uint8_t> room) override {
    if (wire_->error) return {Outcome::failed, 0, wire_->error};
    std::string& from = wire_->bytes[1 - end_];
    if (from.empty()) return {wire_->closed[1 - end_] ? Outcome::ended : Outcome::notNow, 0, {}};
    const size_t count = std::min({room.size(), from.size(), wire_->atOnce});
    std::copy_n(from.begin(), count, room.begin());
    from.erase(0, count);
    return {Outcome::some, count, {}};
  }
  Result write(std::span<const uint8_t> bytes) override {
    if (wire_->error) return {Outcome::failed, 0, wire_->error};
    std::string& to = wire_->bytes[end_];
    const size_t count = std::min({bytes.size(), wire_->room - to.size(), wire_->atOnce});
    if (count == 0) return {Outcome::notNow, 0, {}};
    to.append(reinterpret_cast<const char*>(bytes.data()), count);
    return {Outcome::some, count, {}};
  }
  void close() noexcept override { wire_->closed[end_] = true; }
  std::error_code wait(bool, std::chrono::milliseconds) override { return {}; }

 private:
  std::shared_ptr<Wire> wire_;
  int end_;
};

class StreamTest : public Test {};

/// A host and a guest over memory.
struct Scene {
  Scene() {
    host = std::make_unique<Connection>(std::make_unique<MemoryStream>(wire, 0), hosted);
    guest = std::make_unique<Connection>(std::make_unique<MemoryStream>(wire, 1), mirrored);
    const auto status = Stp::statusFactory("status");
    const auto instance = status->stpiStatusIs("Mst")->mstiStatusIs("Mst0", Stp::InstanceId(0));
    for (unsigned port = 0; port < 100; ++port) instance->mstiPortStatusIs(portName(port), port);
    hosted.mount("/status", status);
  }
  // Both ends in turn, until neither has anything to do or the rounds are over.
  void run(int rounds = 1000000) {
    while (rounds-- > 0 && !host->closed() && !guest->closed()) {
      host->flush();
      guest->handleReadable();
      guest->flush();
      host->handleReadable();
      if (wire->bytes[0].empty() && wire->bytes[1].empty() && !host->wantsWrite() &&
          !guest->wantsWrite()) {
        return;
      }
    }
  }

  std::shared_ptr<Wire> wire = std::make_shared<Wire>();
  Directory hosted;
  Directory mirrored;
  std::unique_ptr<Connection> host;
  std::unique_ptr<Connection> guest;
};

TEST_F(StreamTest, HoweverFewBytesGoOverAtOnceTheMirrorIsWhole) {
  Scene scene;
  scene.guest->guest().mount("/status", true);
  for (const size_t atOnce : {size_t{1}, size_t{7}, size_t{4096}}) {
    scene.wire->atOnce = atOnce;
    Writer(*scene.hosted.mounted("/status"), atOnce).steps(50);
    Writer(*scene.hosted.mounted("/status"), atOnce).clearDangling();
    scene.run();
    ASSERT_FALSE(scene.host->closed()) << scene.host->closeReason();
    ASSERT_TRUE(scene.mirrored.mounted("/status"));
    expectSame(*scene.hosted.mounted("/status"), *scene.mirrored.mounted("/status"));
  }
}

TEST_F(StreamTest, ItsEndIsSaidInItsOwnWords) {
  Scene scene;
  scene.guest->guest().mount("/status", true);
  scene.run(50);
  // In the middle of a frame.
  scene.host.reset();
  scene.wire->bytes[0].resize(1);
  while (!scene.guest->closed()) scene.guest->handleReadable();
  EXPECT_EQ(scene.guest->ending(), Ending::peerGone);
  EXPECT_EQ(scene.guest->closeReason(), "end of stream inside a message");
  EXPECT_TRUE(scene.wire->closed[1]);
}

TEST_F(StreamTest, ItsErrorsCloseOnlyTheConnection) {
  Scene scene;
  scene.run();
  scene.wire->error = std::make_error_code(std::errc::io_error);
  scene.guest->handleReadable();
  EXPECT_EQ(scene.guest->ending(), Ending::system);
  EXPECT_EQ(scene.guest->closeReason(), "read: " + scene.wire->error.message());
  scene.host->questions().ping();
  scene.host->flush();
  EXPECT_EQ(scene.host->closeReason(), "write: " + scene.wire->error.message());
  EXPECT_FALSE(scene.host->wantsWrite());
}

}  // namespace
}  // namespace Mirror
