// The command line: what it takes, in words that stand here only, and which command runs.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "stptool/commandline/Description.h"

namespace stptool {

class CommandLine {
 public:
  CommandLine();
  ~CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  const ToolDescription& description() const noexcept;

  /// The command that the arguments name, to be run; loads the model libraries first. Prints the
  /// help that is asked for and returns nothing to run. Throws Failure with ExitCode::usage.
  std::function<void()> parse(int argc, char** argv);

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace stptool
