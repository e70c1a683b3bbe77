#include "stptool/commandline/ManPage.h"

namespace stptool {

namespace {

// Text that roff leaves as it is.
std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (out.empty() && (c == '.' || c == '\'')) out += "\\&";
    if (c == '-' || c == '\\') out += '\\';
    out += c == '\\' ? 'e' : c;
  }
  return out;
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

void addOption(std::string& page, const OptionDescription& option, bool positional) {
  page += ".TP\n";
  const char* separator = "";
  for (const std::string& name : option.names) {
    page += separator + (positional ? italic(name) : bold(name));
    separator = ", ";
  }
  if (!positional && !option.argument.empty()) page += " " + italic(option.argument);
  page += "\n" + escaped(option.text) + ".\n";
}

std::string usage(const CommandDescription& command) {
  std::string line = bold("stptool " + command.name);
  if (!command.options.empty()) line += " [" + italic("OPTIONS") + "]";
  for (const OptionDescription& positional : command.positionals) {
    const std::string name = italic(positional.names.front()) + (positional.repeats ? "..." : "");
    line += positional.required ? " " + name : " [" + name + "]";
  }
  return line;
}

void addExamples(std::string& page, const std::vector<Example>& examples) {
  for (const Example& example : examples) {
    page += ".PP\n" + escaped(example.what) + ":\n.PP\n.EX\n    " + escaped(example.command) +
            "\n.EE\n";
  }
}

void addMeanings(std::string& page, const char* title, const std::vector<Meaning>& meanings) {
  page += std::string(".SH ") + title + "\n";
  for (const Meaning& meaning : meanings) {
    page += ".TP\n" + bold(meaning.name) + "\n" + escaped(meaning.text) + ".\n";
  }
}

}  // namespace

std::string manPage(const ToolDescription& tool) {
  std::string page = ".TH STPTOOL 1 \"\" \"Stp\" \"User Commands\"\n.SH NAME\nstptool \\- " +
                     escaped("looks at, changes, serves, records and draws trees of entities") +
                     "\n.SH SYNOPSIS\n" + bold("stptool") + " " + italic("COMMAND") + " [" +
                     italic("OPTIONS") + "] [" + italic("ARGUMENTS") + "]\n.SH DESCRIPTION\n" +
                     escaped(tool.summary) + "\n.SH OPTIONS\nOf every command:\n";
  for (const OptionDescription& option : tool.options) addOption(page, option, false);
  page += ".SH COMMANDS\n";
  for (const CommandDescription& command : tool.commands) {
    page += ".SS " + usage(command) + "\n" + escaped(command.summary) + ".\n";
    for (const OptionDescription& one : command.positionals) addOption(page, one, true);
    for (const OptionDescription& one : command.options) addOption(page, one, false);
    addExamples(page, command.examples);
  }
  addMeanings(page, "EXIT STATUS", exitCodes());
  addMeanings(page, "ENVIRONMENT", environment());
  page +=
      ".SH OUTPUT\nResults go to standard output, everything else to standard error: one line "
      "that\n"
      "begins with \\(dqstptool: \\(dq, or with \\-\\-json one object {\\(dqerror\\(dq: {...}} "
      "with message, exitCode and,\nwhere they apply, path, attribute, value, allowed, unit, "
      "default, didYouMean, file and byte.\n";
  return page;
}

}  // namespace stptool
