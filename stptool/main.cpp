// stptool: which part of it runs, and how it ends.
#include <csignal>

#include "Tovo/Assert.h"
#include "Tovo/Directory.h"
#include "agents/service/StandardStreams.h"
#include "stptool/commandline/CommandLine.h"
#include "stptool/commandline/Completion.h"
#include "stptool/commandline/ManPage.h"
#include "stptool/json/ErrorJson.h"
#include "stptool/model/Explain.h"
#include "stptool/output/Failure.h"
#include "stptool/output/Output.h"

namespace {

using namespace stptool;

void run(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  CommandLine commandLine;
  if (words.size() == 1 && words[0] == "man") {
    writeOut(manPage(commandLine.description()));
  } else if (!words.empty() && words[0] == "complete") {
    writeOut(completions(commandLine.description(), {words.begin() + 1, words.end()}));
  } else if (const std::function<void()> command = commandLine.parse(argc, argv)) {
    command();
  }
}

int end(const Failure& failure, bool json) {
  json ? writeError(errorJson(failure)) : complain(failure.what());
  return static_cast<int>(failure.code());
}

}  // namespace

int main(int argc, char** argv) {
  service::occupyClosedStreams();
  std::signal(SIGPIPE, SIG_IGN);
  // What a person types, or a peer sends, may fail an assertion; that is one more error.
  Tovo::assertionHandlerIs(&Tovo::throwAssertionError);
  const bool json = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc;
  try {
    run(argc, argv);
    return static_cast<int>(ExitCode::done);
  } catch (const Failure& failure) {
    return end(failure, json);
  } catch (const Tovo::PathException& error) {
    return end(withSuggestion(error), json);
  } catch (const std::exception& error) {
    return end(Failure(error.what()), json);
  }
}
