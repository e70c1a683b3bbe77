// Any file as a recording: it is played to its end, or to a place that is named; in whatever parts
// it is read; what is recorded of it again plays the same; and what is printed of it breaks off at
// the same place.
//
// An input is a byte of circumstances, a byte for the size of parts, and then messages with lengths
// that are right, or raw bytes.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "Mirror/Recording.h"
#include "Stp/StpHw.h"
#include "Stp/StpStatus.h"
#include "Tovo/AllocTrack.h"
#include "Tovo/Assert.h"
#include "fuzz/Demand.h"
#include "fuzz/Messages.h"
#include "fuzz/TreeState.h"
#include "stptool/commands/Commands.h"
#include "stptool/output/Failure.h"

namespace {

using fuzz::demand;
using Tovo::Directory;
using Tovo::NboAttrLog::RecordingException;
using Tovo::NboAttrLog::RecordingReader;
using Tovo::NboAttrLog::RecordingWriter;

enum Circumstance : uint8_t {
  noBeginning = 1,  ///< but for one that the input spells out
  overTrees = 2,    ///< where the recorded roots may be, there are others already
  asJson = 4,       ///< printed so
};

RecordingWriter::Sink appendTo(std::string& file) {
  return [&file](std::span<const uint8_t> bytes) { file.append(bytes.begin(), bytes.end()); };
}

std::string fileOf(fuzz::Input& input, bool begins) {
  std::string file;
  if (begins) RecordingWriter(appendTo(file)).flush();
  constexpr size_t longest = 64 * 1024;
  while (!input.empty() && file.size() < longest) {
    file += fuzz::bytesOf(input.byte() % fuzz::messageSteps, input);
  }
  return file;
}

void plant(Directory& directory) {
  const auto hw = Stp::hwFactory("hw");
  hw->mstiHwIs("Mst0")->mstiPortHwIs("Et1");
  const auto status = Stp::statusFactory("status");
  status->stpiStatusIs("Mstp")->mstiStatusIs("Mst1", Stp::InstanceId(1));
  directory.mount("/hw", hw);
  directory.mount("/status", status);
}

struct Played {
  fuzz::State state;
  std::string damage;  // empty: it was read to its end
  std::string farewell;
  std::string again;  // recorded of what was applied
};

Played play(const std::string& file, size_t part, bool overTrees) {
  Directory directory;
  if (overTrees) plant(directory);
  size_t at = 0;
  RecordingReader reader(
      [&](std::span<uint8_t> room) {
        const size_t count = std::min({room.size(), part, file.size() - at});
        std::copy_n(file.data() + at, count, room.data());
        at += count;
        return count;
      },
      directory);
  Played played;
  RecordingWriter recorder(appendTo(played.again));
  try {
    while (const RecordingReader::Message* message = reader.next()) {
      reader.apply();
      const std::string_view bytes = std::string_view(file).substr(message->offset, message->size);
      const std::span<const uint8_t> all(reinterpret_cast<const uint8_t*>(bytes.data()),
                                         bytes.size());
      recorder.take(all.subspan(Tovo::NboAttrLog::frameHeader));
    }
    demand(reader.offset() == file.size());
  } catch (const RecordingException& error) {
    played.damage = error.what();
    demand(error.offset() <= file.size() && !error.reason().empty());
    try {
      reader.next();
      std::abort();
    } catch (const RecordingException& again) {
      demand(again.what() == played.damage);
    }
  }
  recorder.flush();
  played.farewell = reader.farewell();
  played.state = fuzz::stateOf(directory);
  return played;
}

// What `decode` says of the file, which is all that can go wrong with it.
std::string print(const std::string& file, bool json) {
  static const bool quiet = [] {
    const int nothing = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    return ::dup2(nothing, STDOUT_FILENO) == STDOUT_FILENO && ::close(nothing) == 0;
  }();
  const int fd = ::memfd_create("recording", MFD_CLOEXEC);
  demand(quiet && ::write(fd, file.data(), file.size()) == static_cast<ssize_t>(file.size()));
  const std::string name = "/proc/self/fd/" + std::to_string(fd);
  std::string failure;
  try {
    stptool::decodeRecording({name, {}, json});
  } catch (const stptool::Failure& error) {
    demand(error.code() == stptool::ExitCode::damaged);
    failure = std::string_view(error.what()).substr(name.size() + 2);
  }
  ::close(fd);
  return failure;
}

void check(fuzz::Input input) {
  const uint8_t circumstances = input.byte();
  const size_t part = 1 + input.byte();
  const bool over = (circumstances & overTrees) != 0;
  std::string file = fileOf(input, (circumstances & noBeginning) == 0);
  const Played played = play(file, file.size() + 1, over);

  const Played inParts = play(file, part, over);
  demand(inParts.state == played.state && inParts.damage == played.damage);
  demand(inParts.farewell == played.farewell);

  const Played again = play(played.again, file.size() + 1, over);
  demand(again.damage.empty() && again.state == played.state);

  if (over) return;
  // It complains about files that end without one.
  if (played.damage.empty() && played.farewell.empty()) {
    file += fuzz::message(0, 2, fuzz::text("that is all"));
  }
  demand(print(file, (circumstances & asJson) != 0) == played.damage);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  constexpr size_t longest = 16 * 1024;
  if (size == 0 || size > longest) return 0;
  check({data, size});
  demand(Tovo::AllocTrackTypeInfo::totalLiveObjects() == 0);
  return 0;
}
