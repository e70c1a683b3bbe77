#include "stptool/commandline/Completion.h"

#include <algorithm>
#include <cstdlib>

#include "Tovo/Printable.h"
#include "stptool/commandline/LiveNames.h"
#include "stptool/model/Describe.h"
#include "stptool/model/Explain.h"
#include "stptool/model/ModelLibrary.h"

namespace stptool {

namespace {

using Tovo::Attribute;
using Tovo::AttributeKind;
using Tovo::TovoTypeBase;
using Tovo::TypeKind;
using Words = std::vector<std::string>;

const OptionDescription* find(const std::vector<OptionDescription>& options,
                              const std::string& name) {
  for (const OptionDescription& option : options) {
    if (std::find(option.names.begin(), option.names.end(), name) != option.names.end()) {
      return &option;
    }
  }
  return nullptr;
}

// The words of a command line, told apart.
struct Line {
  const CommandDescription* command = nullptr;
  const OptionDescription* valueOf = nullptr;  // the option whose value is being typed
  Words positionals;
  Words libraries;
  std::string socket;
  std::string last;    // the part of the last word that is being typed
  std::string before;  // and what stands before it in the same word: "--socket="
};

class LineReader {
 public:
  LineReader(const ToolDescription& tool, const Words& words) : tool_(tool) {
    if (const char* socket = std::getenv("STP_SOCKET")) line.socket = socket;
    for (size_t i = 0; i + 1 < words.size(); ++i) take(words[i]);
    if (words.empty()) return;
    line.last = words.back();
    line.valueOf = open_;
    const size_t equals = line.last.find('=');
    if (line.valueOf || !line.last.starts_with("--") || equals == std::string::npos) return;
    line.valueOf = optionOf(line.last.substr(0, equals));
    line.before = line.last.substr(0, equals + 1);
    line.last.erase(0, equals + 1);
  }

  Line line;

 private:
  const OptionDescription* optionOf(const std::string& name) const {
    const OptionDescription* option = line.command ? find(line.command->options, name) : nullptr;
    return option ? option : find(tool_.options, name);
  }

  void take(const std::string& word) {
    if (open_) return value(*std::exchange(open_, nullptr), word);
    if (word.size() > 1 && word.starts_with('-')) {
      const size_t equals = std::min(word.find('='), word.size());
      const OptionDescription* option = optionOf(word.substr(0, equals));
      if (!option || option->argument.empty()) return;
      if (equals < word.size()) return value(*option, word.substr(equals + 1));
      open_ = option;
      return;
    }
    if (line.command) {
      line.positionals.push_back(word);
      return;
    }
    for (const CommandDescription& command : tool_.commands) {
      if (command.name == word) line.command = &command;
    }
  }

  void value(const OptionDescription& option, const std::string& word) {
    if (option.names.front() == "--socket") line.socket = word;
    if (option.names.front() == "--library") line.libraries.push_back(word);
  }

  const ToolDescription& tool_;
  const OptionDescription* open_ = nullptr;
};

class Completer {
 public:
  Completer(const ToolDescription& tool, Line line)
      : tool_(tool), line_(std::move(line)), live_(line_.socket) {}

  std::string text() {
    if (line_.valueOf) {
      complete(line_.valueOf->completes);
    } else if (!line_.command) {
      for (const CommandDescription& command : tool_.commands) add(command.name, command.summary);
      if (line_.last.starts_with('-')) addOptions(tool_.options);
    } else if (line_.last.starts_with('-')) {
      addOptions(line_.command->options);
      addOptions(tool_.options);
      add("--help", "Show options and examples");
    } else if (const OptionDescription* positional = currentPositional()) {
      complete(positional->completes);
    }
    return out_;
  }

 private:
  void add(const std::string& candidate, const std::string& about = {}) {
    if (!candidate.starts_with(line_.last) || !Tovo::isPrintable(candidate)) return;
    out_ += line_.before + candidate;
    if (!about.empty()) out_ += "\t" + Tovo::printable(about);
    out_ += "\n";
  }

  void addOptions(const std::vector<OptionDescription>& options) {
    for (const OptionDescription& option : options) add(option.names.front(), option.text);
  }

  const OptionDescription* currentPositional() const {
    const auto& all = line_.command->positionals;
    const size_t at = line_.positionals.size();
    if (at < all.size()) return &all[at];
    return !all.empty() && all.back().repeats ? &all.back() : nullptr;
  }

  void complete(Completes completes) {
    if (completes == Completes::nothing) return;
    if (completes == Completes::file) {
      out_ += ":file\n";
      return;
    }
    loadModelLibraries(line_.libraries);
    switch (completes) {
      case Completes::recordingType:
        out_ += ":file\n";
        return addTypes([](TovoTypeBase type) { return Tovo::valueOps(type) != nullptr; });
      case Completes::type:
        return addTypes([](TovoTypeBase) { return true; });
      case Completes::valueType:
        return addTypes([](TovoTypeBase type) { return Tovo::valueOps(type) != nullptr; });
      case Completes::entityType:
        return addTypes(&isEntity);
      case Completes::path:
        return addPaths();
      case Completes::attribute:
        return addAttributes(false);
      case Completes::assignment:
        return line_.positionals.size() % 2 == 1 ? addAttributes(true) : addValues();
      case Completes::newArgument:
        if (line_.positionals.size() == 1) addTypes(&isEntity);
        return;
      default:
        return;
    }
  }

  static bool isEntity(TovoTypeBase type) {
    return Tovo::typeDescriptor(type).kind == TypeKind::entity;
  }

  template <class Include>
  void addTypes(const Include& include) {
    for (const Tovo::TovoModule* module : Tovo::tovoModules()) {
      forEachType(*module, [&](TovoTypeBase type) {
        if (include(type)) add(Tovo::typeName(type), firstSentence(Tovo::typeDescriptor(type).doc));
      });
    }
  }

  void addPaths() {
    for (const Candidate& candidate : live_.paths(line_.last)) add(candidate.text, candidate.about);
  }

  static bool isWritable(Attribute attribute) {
    switch (attribute.kind()) {
      case AttributeKind::attribute:
      case AttributeKind::pointer:
        return !attribute.has(Tovo::AttributeDescriptor::readOnly);
      default:
        return false;
    }
  }

  void addAttributes(bool writable) {
    const TovoTypeBase type = live_.typeAt(line_.positionals.front());
    if (!type) return;
    Tovo::forEachAttribute(type, [&](Attribute attribute) {
      if (writable ? isWritable(attribute) : attribute.kind() != AttributeKind::constant) {
        add(attribute.name(), firstSentence(attribute.detail().doc));
      }
    });
  }

  void addValues() {
    const TovoTypeBase type = live_.typeAt(line_.positionals.front());
    const Attribute attribute =
        type ? Tovo::attributeByName(type, line_.positionals.back()) : Attribute();
    if (!attribute) return;
    if (attribute.kind() == AttributeKind::pointer) {
      add("None");
      return addPaths();
    }
    if (attribute.has(Tovo::AttributeDescriptor::optional)) add("None");
    if (attribute.descriptor().type == Tovo::PrimitiveCode::boolean) {
      add("true");
      add("false");
    }
    const TovoTypeBase valueType = attribute.type();
    if (!valueType) return;
    const Tovo::TypeDescriptor& descriptor = Tovo::typeDescriptor(valueType);
    for (uint32_t i = 0; i < descriptor.literalCount; ++i) {
      const char* doc = descriptor.literals[i].doc;
      add(descriptor.literals[i].name, doc ? doc : "");
    }
  }

  const ToolDescription& tool_;
  Line line_;
  LiveNames live_;
  std::string out_;
};

}  // namespace

std::string completions(const ToolDescription& tool, const Words& words) try {
  return Completer(tool, LineReader(tool, words).line).text();
} catch (const std::exception&) {
  return {};  // a shell in the middle of a line is no place for messages
}

}  // namespace stptool
