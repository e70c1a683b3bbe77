// What the command line takes, as data: help, man page and completion are made from it.
#pragma once

#include <string>
#include <vector>

namespace stptool {

/// What a person may type somewhere, for completion.
enum class Completes {
  nothing,
  file,
  type,       ///< any type of the model
  valueType,  ///< with values
  entityType,
  path,           ///< of a live entity, collection, attribute or entry
  attribute,      ///< of the entity whose path stands before
  assignment,     ///< attribute and value in turns
  newArgument,    ///< a type for a new root, else a parameter
  recordingType,  ///< a file or a type
};

struct OptionDescription {
  std::vector<std::string> names;  ///< "--socket"; of a positional its name in the usage
  std::string argument;            ///< "PATH"; empty for a switch
  std::string text;
  Completes completes = Completes::nothing;
  bool repeats = false;   ///< takes all that follow
  bool required = false;  ///< of positionals
};

struct Example {
  std::string what;
  std::string command;
};

struct CommandDescription {
  std::string name;
  std::string summary;
  std::vector<OptionDescription> options{};
  std::vector<OptionDescription> positionals{};
  std::vector<Example> examples{};
};

struct ToolDescription {
  std::string summary;
  std::vector<OptionDescription> options{};  ///< before or behind any command
  std::vector<CommandDescription> commands{};
};

struct Meaning {
  const char* name;
  const char* text;
};
/// The exit codes, and what the tool takes from the environment.
const std::vector<Meaning>& exitCodes();
const std::vector<Meaning>& environment();

}  // namespace stptool
