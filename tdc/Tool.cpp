#include "tdc/Tool.h"

#include <ostream>

#include "tdc/files/Files.h"
#include "tdc/lock/Lock.h"
#include "tdc/model/ClassNames.h"
#include "tdc/model/Program.h"
#include "tdc/print/Print.h"
#include "tdc/syntax/Parser.h"

namespace tdc {

namespace {

constexpr const char* versionText = "tdc 1.0\n";

constexpr const char* helpText =
    R"(usage: tdc --out DIR [-I DIR]... [--depfile FILE] FILE.tdl
       tdc --lock FILE [-I DIR]... FILE.tdl...
       tdc --check-lock FILE [-I DIR]... FILE.tdl...
       tdc --print FILE.tdl

Compiles type descriptions.

  --out DIR          write DIR/NAME.h and DIR/NAME.cpp of module NAME, where they changed
  --lock FILE        write the id list of the modules
  --check-lock FILE  fail, with the differing lines, where the id list is out of date
  --print            print the canonical source
  -I DIR             look for imported modules in DIR as well
  --depfile FILE     write a Make rule that names every file read
  --help, --version

Exit codes: 0 done, 1 errors in the input or an out-of-date list, 2 wrong arguments or
a file that cannot be read or written.
)";

class UsageError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

struct Options {
  enum class Command { none, emit, lock, checkLock, print, help, version };

  Command command = Command::none;
  /// The folder or the list that the command is about.
  std::string target;
  std::string depfile;
  std::vector<std::string> folders;
  std::vector<std::string> files;
};

Options parseArguments(const std::vector<std::string>& arguments) {
  using Command = Options::Command;
  Options options;
  bool optionsEnded = false;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    auto value = [&]() -> const std::string& {
      if (i + 1 == arguments.size() || arguments[i + 1].empty()) {
        throw UsageError("'" + argument + "' needs a value behind it");
      }
      return arguments[++i];
    };
    auto command = [&](Command chosen) {
      if (options.command != Command::none) {
        throw UsageError("'" + argument + "' comes on top of another command; give one");
      }
      options.command = chosen;
    };
    if (optionsEnded || argument.size() < 2 || argument[0] != '-') {
      options.files.push_back(argument);
    } else if (argument == "--") {
      optionsEnded = true;
    } else if (argument == "--out") {
      command(Command::emit);
      options.target = value();
    } else if (argument == "--lock") {
      command(Command::lock);
      options.target = value();
    } else if (argument == "--check-lock") {
      command(Command::checkLock);
      options.target = value();
    } else if (argument == "--print") {
      command(Command::print);
    } else if (argument == "--help") {
      options.command = Command::help;
      return options;
    } else if (argument == "--version") {
      options.command = Command::version;
      return options;
    } else if (argument == "--depfile") {
      options.depfile = value();
    } else if (argument.compare(0, 2, "-I") == 0) {
      options.folders.push_back(argument.size() > 2 ? argument.substr(2) : value());
    } else {
      throw UsageError("unknown option '" + argument + "'" +
                       didYouMean(argument, {"--out", "--lock", "--check-lock", "--print",
                                             "--depfile", "--help", "--version", "-I"}));
    }
  }
  if (options.command == Command::none) {
    throw UsageError("give '--out', '--lock', '--check-lock' or '--print'");
  }
  if (options.files.empty()) throw UsageError("give a file to read");
  bool single = options.command == Command::emit || options.command == Command::print;
  if (single && options.files.size() > 1) {
    throw UsageError("give one file, not " + std::to_string(options.files.size()));
  }
  if (!options.depfile.empty() && options.command != Command::emit) {
    throw UsageError("'--depfile' goes with '--out' only");
  }
  return options;
}

class Run {
 public:
  Run(const Options& options, const Emitter& emitter, std::ostream& out, std::ostream& err)
      : options_(options), emitter_(emitter), out_(out), err_(err) {}

  int command() {
    switch (options_.command) {
      case Options::Command::emit:
        return emit();
      case Options::Command::lock:
      case Options::Command::checkLock:
        return lock();
      case Options::Command::print:
        return print();
      case Options::Command::help:
        out_ << helpText;
        return 0;
      case Options::Command::version:
        out_ << versionText;
        return 0;
      default:
        return 2;
    }
  }

 private:
  /// Prints the errors; true where there are any.
  bool reportErrors() {
    if (diagnostics_.empty()) return false;
    err_ << diagnostics_.render();
    return true;
  }

  int print() {
    syntax::File tree = parse(files_.read(options_.files[0]), diagnostics_);
    if (reportErrors()) return 1;
    out_ << tdc::print(tree);
    return 0;
  }

  int emit() {
    Program program(files_, diagnostics_, options_.folders);
    const Module* module = program.load(options_.files[0]);
    if (reportErrors()) return 1;
    std::string headerPath = joinPath(options_.target, headerName(*module));
    std::string sourcePath = joinPath(options_.target, sourceName(*module));
    // Both texts are made before anything is written.
    std::string header = emitter_.header(*module);
    std::string source = emitter_.source(*module);
    writeIfChanged(headerPath, header);
    writeIfChanged(sourcePath, source);
    if (!options_.depfile.empty()) {
      std::vector<std::string> read;
      for (const auto& file : files_.all()) read.push_back(file->path());
      writeIfChanged(options_.depfile, makeRule({headerPath, sourcePath}, read));
    }
    return 0;
  }

  int lock() {
    Program program(files_, diagnostics_, options_.folders);
    std::vector<const Module*> modules;
    for (const std::string& file : options_.files) modules.push_back(program.load(file));
    if (reportErrors()) return 1;
    std::string text = lockText(modules);
    if (options_.command == Options::Command::lock) {
      writeIfChanged(options_.target, text);
      return 0;
    }
    std::string old = isFile(options_.target) ? readFile(options_.target) : "";
    std::string lines = difference(old, text);
    if (lines.empty()) return 0;
    if (isOfThisForm(old)) {
      err_ << lines << "'" << options_.target
           << "' is out of date. If every line above is meant, accept them with\n    tdc --lock ";
    } else {
      err_ << "'" << options_.target
           << "' is no id list of this form, or one of an earlier tdc, which had other columns. "
              "Write it again from the descriptions that it was made of\n    tdc --lock ";
    }
    err_ << options_.target;
    for (const std::string& folder : options_.folders) err_ << " -I " << folder;
    for (const std::string& file : options_.files) err_ << " " << file;
    err_ << "\n";
    return 1;
  }

  const Options& options_;
  const Emitter& emitter_;
  std::ostream& out_;
  std::ostream& err_;
  SourceFiles files_;
  Diagnostics diagnostics_;
};

}  // namespace

int run(const std::vector<std::string>& arguments, const Emitter& emitter, std::ostream& out,
        std::ostream& err) {
  try {
    Options options = parseArguments(arguments);
    int code = Run(options, emitter, out, err).command();
    out.flush();
    if (!out) throw FileError("cannot write to the standard output");
    return code;
  } catch (const UsageError& error) {
    err << "tdc: " << error.what() << "; see 'tdc --help'\n";
  } catch (const FileError& error) {
    err << "tdc: " << error.what() << "\n";
  }
  return 2;
}

}  // namespace tdc
