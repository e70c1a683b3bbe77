// Blocks of the documents that show a console: what follows "$ " is run, and must print what stands
// below it. "..." stands for any lines, or for any part of a line. The blocks of one document are
// one session in an empty folder that has examples/ in it.
#include <gtest/gtest.h>

#include "Document.h"
#include "Session.h"

namespace {

struct Shown {
  std::string command;
  Lines expected;
  size_t firstLine;  ///< of what is expected, counted from 0
};

std::vector<Shown> commandsOf(const Document& document) {
  std::vector<Shown> commands;
  for (const Fence& fence : document.fences) {
    if (fence.language != "console") continue;
    for (size_t i = 0; i < fence.lines.size(); ++i) {
      const std::string& line = fence.lines[i];
      const size_t next = fence.firstLine + i + 1;
      if (line.starts_with("$ ")) {
        commands.push_back({line.substr(2), {}, next});
      } else if (line.starts_with("> ") && !commands.empty() && commands.back().expected.empty()) {
        commands.back().command += "\n" + line.substr(2);
        commands.back().firstLine = next;
      } else if (!commands.empty()) {
        commands.back().expected.push_back(line);
      }
    }
  }
  return commands;
}

bool lineMatches(std::string_view expected, std::string_view actual) {
  const size_t gap = expected.find("...");
  if (gap == std::string_view::npos) return expected == actual;
  if (actual.substr(0, gap) != expected.substr(0, gap)) return false;
  const std::string_view rest = expected.substr(gap + 3);
  for (size_t at = gap; at <= actual.size(); ++at) {
    if (lineMatches(rest, actual.substr(at))) return true;
  }
  return false;
}

bool matches(const Lines& expected, size_t e, const Lines& actual, size_t a) {
  if (e == expected.size()) return a == actual.size();
  if (expected[e] == "...") {
    for (; a <= actual.size(); ++a) {
      if (matches(expected, e + 1, actual, a)) return true;
    }
    return false;
  }
  return a < actual.size() && lineMatches(expected[e], actual[a]) &&
         matches(expected, e + 1, actual, a + 1);
}

std::string joined(const Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

}  // namespace

TEST(Consoles, PrintWhatTheDocumentsShow) {
  size_t commandsRun = 0;
  for (Document& document : documents()) {
    const std::vector<Shown> commands = commandsOf(document);
    if (commands.empty()) continue;
    commandsRun += commands.size();
    std::vector<Command> session;
    for (const Shown& shown : commands) session.push_back({shown.command, !shown.expected.empty()});
    const std::vector<Lines> outputs = Session().outputs(session);
    for (size_t i = commands.size(); i-- > 0;) {
      const Shown& command = commands[i];
      if (matches(trimmed(command.expected), 0, outputs[i], 0)) continue;
      if (!isUpdating()) {
        ADD_FAILURE() << document.name() << ":" << command.firstLine << "\n$ " << command.command
                      << "\n"
                      << joined(outputs[i]) << "but the document shows\n"
                      << joined(command.expected);
        continue;
      }
      const auto at = document.lines.begin() + static_cast<std::ptrdiff_t>(command.firstLine);
      const auto end = at + static_cast<std::ptrdiff_t>(trimmed(command.expected).size());
      document.lines.insert(document.lines.erase(at, end), outputs[i].begin(), outputs[i].end());
    }
    if (isUpdating()) writeLines(document.path, document.lines);
  }
  EXPECT_GT(commandsRun, 10u);
}
