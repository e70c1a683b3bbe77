#include "stptool/output/Progress.h"

#include <unistd.h>

#include "Tovo/Printable.h"
#include "stptool/output/Output.h"

namespace stptool {

namespace {

constexpr auto patience = std::chrono::milliseconds(500);
constexpr auto rhythm = std::chrono::milliseconds(100);

}  // namespace

Progress::Progress(std::string what, uint64_t total)
    : what_(std::move(what)),
      total_(total),
      next_(std::chrono::steady_clock::now() + patience),
      on_(::isatty(STDERR_FILENO) != 0) {}

void Progress::at(uint64_t bytes) {
  if (!on_) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_) return;
  next_ = now + rhythm;
  show(what_ + "  " +
       (total_ > 0 ? std::to_string(bytes * 100 / total_) + " %"
                   : std::to_string(bytes / 1'000'000) + " MB"));
}

void Progress::stage(const std::string& what) {
  what_ = what;
  if (on_ && (shown_ || std::chrono::steady_clock::now() >= next_)) show(what_ + " ...");
}

void Progress::end() {
  if (shown_) showOnTerminal("\r\033[K");
  shown_ = false;
  on_ = false;
}

void Progress::show(const std::string& text) {
  showOnTerminal("\r\033[K" + Tovo::printable(text));
  shown_ = true;
}

}  // namespace stptool
