// stptool replay: a recording once more, as text or into a served tree.
#include <algorithm>

#include "Mirror/control/Messages.h"
#include "Mirror/control/Mounted.h"
#include "Tovo/AttrLog/EntityHooks.h"
#include "stptool/commands/Commands.h"
#include "stptool/commands/Deadline.h"
#include "stptool/commands/RootObservers.h"
#include "stptool/output/Output.h"
#include "stptool/output/Progress.h"
#include "stptool/recording/RecordingFile.h"
#include "stptool/text/Style.h"
#include "stptool/text/TimeText.h"
#include "stptool/tree/ChangeText.h"

namespace stptool {

namespace {

namespace Control = Tovo::NboAttrLog::Control;
using Reader = PlayedRecording::Reader;

// Makes the time between messages what it was, or a part of it.
class Pace {
 public:
  explicit Pace(const ReplayOptions& options) : fast_(options.fast), speed_(options.speed) {}

  std::optional<SteadyTime> of(TimePoint recorded) {
    if (fast_) return std::nullopt;
    if (!started_) {
      started_ = true;
      first_ = recorded;
      start_ = std::chrono::steady_clock::now();
    }
    // A damaged recording may name any times: their difference need not fit.
    const Seconds length(
        (Seconds(recorded.time_since_epoch()) - Seconds(first_.time_since_epoch())) / speed_);
    return start_ + std::chrono::duration_cast<SteadyTime::duration>(
                        std::clamp(length, Seconds(0), longest));
  }

 private:
  using Seconds = std::chrono::duration<double>;
  static constexpr Seconds longest{1e9};

  bool fast_;
  double speed_;
  bool started_ = false;
  TimePoint first_{};
  SteadyTime start_{};
};

// False when a signal came before the time.
using Wait = std::function<bool(const std::optional<SteadyTime>& until)>;

void play(PlayedRecording& recording, const ReplayOptions& options, const Wait& wait,
          const std::function<void(const Reader::Message&)>& before,
          const std::function<bool(const Reader::Message&)>& after) {
  Pace pace(options);
  const auto next = [&]() -> const Reader::Message* {
    try {
      return recording.next();
    } catch (const Interrupted&) {
      return nullptr;
    }
  };
  while (const Reader::Message* message = next()) {
    try {
      before(*message);
    } catch (const Tovo::StreamException&) {
      // Says it again, with its place, when it is applied.
    }
    recording.apply();
    const bool isTime = message->entity == 0 && message->id == Control::time.id;
    if (isTime && !wait(pace.of(recording.reader().time()))) return;
    if (!after(*message)) return;
  }
}

// --- as text -----------------------------------------------------------------------------------

class Printer {
 public:
  explicit Printer(const ReplayOptions& options)
      : options_(options),
        recording_(options.file, directory_),
        observers_([this](const Pelmo::Change& change) { show(change); }) {}

  void run() {
    const service::StopSignals signals;
    const ErrorLog errors;
    const Wait wait = [&](const std::optional<SteadyTime>& until) {
      return until && millisecondsUntil(until) > 0 ? waitUntil(signals, until) : !signals.came();
    };
    out_.flushBehind([&] {
      play(
          recording_, options_, wait, [](const Reader::Message&) {},
          [&](const Reader::Message& message) {
            if (message.entity == 0) observers_.update(directory_);
            return !out_.readerGone();
          });
    });
  }

 private:
  void show(const Pelmo::Change& change) {
    const std::optional<ChangeEvent> event = changeEvent(change, options_.json);
    if (!event) return;
    const TimePoint time = recording_.reader().time();
    if (options_.json) {
      Json json = Json::object();
      if (recording_.reader().isTimed()) json["time"] = universalTime(time);
      addChange(json, *event);
      out_.add(lineOf(json));
    } else {
      out_.add(styled(Style::number, localTime(time)) + "  " + changeText(*event) + "\n");
    }
  }

  bool waitUntil(const service::StopSignals& signals, const std::optional<SteadyTime>& until) {
    out_.flush();
    return signals.poll({}, millisecondsUntil(until));
  }

  const ReplayOptions& options_;
  Tovo::Directory directory_;
  PlayedRecording recording_;
  RootObservers observers_;
  Output out_;
};

// --- into a served tree ------------------------------------------------------------------------

class Feeder {
 public:
  explicit Feeder(const ReplayOptions& options)
      : options_(options),
        session_({options.into, options.timeout, options.connectTimeout}),
        recording_(options.file, session_.directory()),
        progress_("replaying " + options.file, recording_.size()) {
    session_.mirrorAll(Access::write);
  }

  void run() {
    uint64_t messages = 0;
    try {
      play(
          recording_, options_, [this](const auto& until) { return wait(until); },
          [this](const Reader::Message& message) { prepare(message); },
          [&](const Reader::Message& message) {
            removeUnmounted(message);
            ++messages;
            progress_.at(recording_.reader().offset());
            return true;
          });
    } catch (const Failure& failure) {
      // The server gets what the recording has.
      if (failure.code() == ExitCode::damaged) finish();
      throw;
    }
    finish();
    if (options_.json) writeOut(lineOf({{"replayed", options_.file}, {"messages", messages}}));
  }

 private:
  void finish() {
    session_.sync();
    progress_.end();
  }

  bool wait(const std::optional<SteadyTime>& until) {
    // What has come since is taken even when there is no time to lose.
    const SteadyTime now = std::chrono::steady_clock::now();
    do {
      if (!session_.work(signals_, millisecondsUntil(until ? until : now))) return false;
      session_.demandConnection();
    } while (until && millisecondsUntil(until) > 0);
    return true;
  }

  // A root that the recording mirrors has to be there to be written to.
  void prepare(const Reader::Message& message) {
    if (message.entity != 0 || message.id != Control::mounted.id) return;
    Tovo::NboAttrLog::In in = message.payload;
    const Tovo::NboAttrLog::Mounted mounted(in, "the recording");
    const std::string type = Tovo::typeName(mounted.type);
    if (!session_.isServed(mounted.path)) {
      const auto create = Tovo::entityHooks(mounted.type)->create;
      session_.createRoot(mounted.path, *create(mounted.values.arguments()));
    }
    session_.mirror(mounted.path, Access::write);
    const Tovo::Entity* root = session_.directory().mounted(mounted.path);
    if (root && mounted.match(*root)) return;
    throw Failure(mounted.path + ": the server has " +
                      (root ? "a " + std::string(Tovo::typeName(root->tovoType()))
                            : std::string("something else")) +
                      " there, or made it with other parameters; the recording has a " + type,
                  {.path = mounted.path, .file = options_.file});
  }

  // Only the server can take a root away; here it is gone already.
  void removeUnmounted(const Reader::Message& message) {
    if (message.entity != 0 || message.id != Control::unmounted.id) return;
    Tovo::NboAttrLog::In in = message.payload;
    session_.removeRoot(std::get<0>(Control::unmounted.read(in)));
  }

  const ReplayOptions& options_;
  const service::StopSignals signals_;
  const ErrorLog errors_;
  ClientSession session_;
  PlayedRecording recording_;
  Progress progress_;
};

}  // namespace

void runReplay(const ReplayOptions& options) {
  if (options.into.empty()) {
    Printer(options).run();
  } else {
    Feeder(options).run();
  }
}

}  // namespace stptool
