// stptool watch: each change of a live tree as it arrives, or how often things change.
#include <algorithm>

#include "Pelmo/Publisher.h"
#include "Tovo/Module.h"
#include "Tovo/Path.h"
#include "stptool/commands/Commands.h"
#include "stptool/commands/Deadline.h"
#include "stptool/commands/RateTable.h"
#include "stptool/commands/RootObservers.h"
#include "stptool/json/Dump.h"
#include "stptool/output/Output.h"
#include "stptool/output/OutputFile.h"
#include "stptool/text/PathPattern.h"
#include "stptool/text/Style.h"
#include "stptool/text/Suggest.h"
#include "stptool/text/TimeText.h"
#include "stptool/tree/ChangeText.h"

namespace stptool {

namespace {

constexpr double rateInterval = 1;  // seconds

// An attribute that no type has would be waited for in vain.
void checkAttribute(const std::string& glob) {
  std::vector<std::string> names;
  for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
    for (uint32_t i = 0; i < module->typeCount; ++i) {
      if (module->types[i].kind != Tovo::TypeKind::entity) continue;
      for (const Tovo::AttributeDescriptor& own : Tovo::ownAttributes({module, i})) {
        names.emplace_back(Tovo::Attribute(*module, own).name());
        if (matchesGlob(names.back(), glob)) return;
      }
    }
  }
  const std::string meant = nearest(glob, names);
  throw Failure("--attribute: no type has an attribute '" + glob + "'" + suggestion(glob, names),
                {.attribute = glob, .suggestion = meant});
}

// Which changes a person asked for.
class Filter {
 public:
  Filter(const std::string& path, const std::vector<std::string>& attributes)
      : pattern_(path), attributes_(attributes), all_(path.empty() || path == "/") {
    for (const std::string& attribute : attributes) checkAttribute(attribute);
  }

  bool takes(const ChangeEvent& event) const {
    if (!attributes_.empty() &&
        std::none_of(attributes_.begin(), attributes_.end(), [&](const std::string& glob) {
          return !event.attribute.empty() && matchesGlob(event.attribute, glob);
        })) {
      return false;
    }
    return all_ || pattern_.matches(wholePath(event));
  }

 private:
  PathPattern pattern_;
  const std::vector<std::string>& attributes_;
  bool all_;
};

class Watch {
 public:
  explicit Watch(const WatchOptions& options)
      : options_(options),
        filter_(options.path, options.attributes),
        session_(options.session),
        observers_([this](const Pelmo::Change& change) { handle(change); }) {
    if (!options.dumpAtEnd.empty()) OutputFile::check(options.dumpAtEnd);
    if (PathPattern::isPattern(options.path)) {
      session_.mirrorAll(Access::read);
    } else {
      session_.mirrorOrAll(options.path, Access::read);
      if (!options.path.empty() && options.path != "/") {
        Tovo::resolvePath(session_.directory(), options.path);  // says what is wrong
      }
    }
    observers_.update(session_.directory());
    session_.follow([this](Tovo::Entity& root) { handleRoot(root); });
  }

  void run() {
    const service::StopSignals signals;
    const ErrorLog errors;
    const std::optional<SteadyTime> end = timeAfter(options_.seconds);
    complain("watching " + (options_.path.empty() ? "everything" : options_.path) + " on " +
             session_.socket());
    start_ = intervalStart_ = std::chrono::steady_clock::now();
    while (!finished() && millisecondsUntil(end) != 0) {
      std::optional<SteadyTime> next = end;
      if (options_.rate) {
        const SteadyTime tick = intervalStart_ + std::chrono::seconds(1);
        if (!next || tick < *next) next = tick;
      }
      if (!session_.work(signals, millisecondsUntil(next))) break;
      if (options_.rate && secondsSince(intervalStart_) >= rateInterval) showRates();
    }
    if (options_.rate) showTotal();
    if (!options_.dumpAtEnd.empty()) dump(signals);
    if (failed_) std::rethrow_exception(failed_);
  }

 private:
  static double secondsSince(SteadyTime time) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - time).count();
  }

  // A second signal ends what the first one left to wait for.
  void dump(const service::StopSignals& signals) {
    if (!session_.catchUp(signals)) {
      complain(session_.socket() + ": is away; " + options_.dumpAtEnd +
               " gets what was mirrored last");
    }
    writeFile(options_.dumpAtEnd,
              [&](const Sink& sink) { dumpDirectory(session_.directory(), allLevels, sink); });
  }

  bool finished() const noexcept {
    return readerGone_ || failed_ || (options_.count && seen_ >= *options_.count);
  }

  void handle(const Pelmo::Change& change) {
    if (finished()) return;
    const std::optional<ChangeEvent> event = changeEvent(change, options_.json && !options_.rate);
    if (event) take(*event);
  }

  void handleRoot(Tovo::Entity& root) {
    observers_.update(session_.directory());
    if (!finished()) take({ChangeEvent::Kind::insert, Tovo::pathOf(root), {}, {}, {}, {}, {}, {}});
  }

  void take(const ChangeEvent& event) {
    if (!filter_.takes(event)) return;
    ++seen_;
    if (options_.rate) {
      interval_.add(event);
      whole_.add(event);
    } else if (options_.json) {
      Json json{{"time", universalTime(timeNow())}};
      addChange(json, event);
      write(lineOf(json));
    } else {
      write(styled(Style::number, localTime(timeNow())) + "  " + changeText(event) + "\n");
    }
  }

  void showRates() {
    showRates(interval_, secondsSince(intervalStart_), "");
    interval_.clear();
    intervalStart_ = std::chrono::steady_clock::now();
  }

  void showTotal() {
    if (!readerGone_ && !failed_) showRates(whole_, secondsSince(start_), "in all: ");
  }

  void showRates(const RateTable& rates, double seconds, const char* what) {
    const auto top = static_cast<size_t>(options_.top);
    if (options_.json) {
      Json json{{"time", universalTime(timeNow())}, {"total", *what != 0}};
      json.update(rates.json(seconds, top));
      write(lineOf(json));
    } else {
      write(styled(Style::number, localTime(timeNow())) + "  " + what + rates.text(seconds, top));
    }
  }

  // The connection would take what is thrown here for the peer's fault.
  void write(const std::string& text) {
    try {
      readerGone_ = !writeOut(text);
    } catch (...) {
      failed_ = std::current_exception();
    }
  }

  const WatchOptions& options_;
  const Filter filter_;
  ClientSession session_;
  RootObservers observers_;
  RateTable interval_;
  RateTable whole_;
  SteadyTime start_{};
  SteadyTime intervalStart_{};
  uint64_t seen_ = 0;
  std::exception_ptr failed_;
  bool readerGone_ = false;
};

}  // namespace

void runWatch(const WatchOptions& options) { Watch(options).run(); }

}  // namespace stptool
