// stptool record: what a server says of its trees, to a file.
#include "Mirror/Recording.h"
#include "stptool/commands/Commands.h"
#include "stptool/commands/Deadline.h"
#include "stptool/output/Output.h"
#include "stptool/output/OutputFile.h"
#include "stptool/tree/ChangeText.h"

namespace stptool {

namespace {

class Recorder {
 public:
  explicit Recorder(const RecordOptions& options)
      : options_(options),
        session_(options.session),
        file_(options.file,
              options.force ? OutputFile::Existing::replace : OutputFile::Existing::refuse),
        writer_([this](std::span<const uint8_t> bytes) {
          file_.write({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        }) {
    session_.connection()->incoming().appliedIs(
        [this](std::span<const uint8_t> message) { take(message); });
    session_.mirrorOrAll(options.path, Access::read);
    if (failed_) std::rethrow_exception(failed_);
    file_.show();
  }

  void run() {
    const std::optional<SteadyTime> end = timeAfter(options_.seconds);
    complain("recording " + (options_.path.empty() ? "everything" : options_.path) + " on " +
             session_.socket() + " to " + options_.file);
    std::string reason;
    std::exception_ptr trouble;
    try {
      reason = reasonToEnd(end);
    } catch (const Failure& failure) {
      reason = failure.what();
      trouble = std::current_exception();
    }
    if (failed_) std::rethrow_exception(failed_);
    writer_.end(reason);
    file_.close();
    if (trouble) std::rethrow_exception(trouble);
    report();
  }

 private:
  // The connection would take what is thrown here for the peer's fault.
  void take(std::span<const uint8_t> message) {
    try {
      if (!failed_) writer_.take(message);
    } catch (...) {
      failed_ = std::current_exception();
    }
  }

  std::string reasonToEnd(const std::optional<SteadyTime>& end) {
    for (;;) {
      if (failed_ || file_.readerGone()) return "the reader has gone";
      const std::optional<SteadyTime> idle = timeAfter(options_.untilIdle);
      const std::optional<SteadyTime> next = !end || (idle && *idle < *end) ? idle : end;
      const uint64_t before = writer_.messages();
      if (!session_.work(signals_, millisecondsUntil(next))) return "stopped by a signal";
      session_.demandConnection();
      if (end && millisecondsUntil(end) == 0) return "the time was up";
      if (idle && writer_.messages() == before && millisecondsUntil(idle) == 0) {
        return "nothing more came";
      }
    }
  }

  void report() const {
    if (options_.json) {
      writeOut(lineOf({{"recorded", options_.file},
                       {"messages", writer_.messages()},
                       {"bytes", writer_.bytes()}}));
    } else {
      complain("recorded " + std::to_string(writer_.messages()) + " messages, " +
               std::to_string(writer_.bytes()) + " bytes");
    }
  }

  const RecordOptions& options_;
  const service::StopSignals signals_;
  const ErrorLog errors_;
  ClientSession session_;
  OutputFile file_;
  Tovo::NboAttrLog::RecordingWriter writer_;
  std::exception_ptr failed_;
};

}  // namespace

void runRecord(const RecordOptions& options) { Recorder(options).run(); }

}  // namespace stptool
